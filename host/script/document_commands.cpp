// The commands on documents.

#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "host/script/commands.h"

namespace velt::host
{
namespace
{

void need(const FileOutcome &outcome, const std::string &what, const std::string &advice = "")
{
    if (outcome.status != ok)
        fail("cannot " + what + ": " + outcome.reason + advice);
}

// Returns what to do when something was not saved: `save` saves it, `lose` closes it without.
std::string advice(const FileOutcome &outcome, const std::string &save, const std::string &lose)
{
    const std::string or_lose = lose.empty() ? "" : ", " + lose + " loses the changes here";
    switch (outcome.status) {
    case changed_file:
        return "; " + save + " --force " + as_rest(outcome.file) + " replaces it, " + save +
               " FILE keeps both" + or_lose;
    case unwritable_file:
        return "; " + save + " FILE writes another" + or_lose;
    case cancelled: // what has no file yet needs a name
        return "; " + save + (outcome.file.empty() ? " FILE" : "") + " saves them, " + lose +
               " loses them";
    default:
        return "";
    }
}

// The escapes in quotes beside those that keep a character.
struct Escape {
    char letter;
    std::string_view text;
};
constexpr Escape escapes[] = {{'n', "\n"}, {'r', "\u2028"}, {'t', "\t"}};

} // namespace

std::string typed_text(std::string_view rest)
{
    if (!rest.starts_with('"'))
        return whole(rest);
    std::string text;
    for (std::size_t i = 0; i < rest.size(); i++) {
        const bool escaped = rest[i] == '\\' && i + 1 < rest.size();
        const auto *escape =
            escaped ? std::ranges::find(escapes, rest[i + 1], &Escape::letter) : std::end(escapes);
        if (escape != std::end(escapes)) {
            text += escape->text;
            i++;
            continue;
        }
        text += rest[i];
        if (escaped)
            text += rest[++i];
    }
    return whole(text);
}

std::string as_typed(const std::string &text)
{
    const bool plain = !text.empty() && !text.starts_with('"') && whole(text) == text &&
                       std::ranges::none_of(escapes, [&](const Escape &each) {
                           return text.find(each.text) != text.npos;
                       });
    if (plain)
        return text;
    std::string typed = "\"";
    for (std::string_view rest = text; !rest.empty();) {
        const auto *escape = std::ranges::find_if(
            escapes, [&](const Escape &each) { return rest.starts_with(each.text); });
        if (escape != std::end(escapes))
            typed += {'\\', escape->letter};
        else
            typed += (rest[0] == '"' || rest[0] == '\\' ? "\\" : "") + std::string(1, rest[0]);
        rest.remove_prefix(escape != std::end(escapes) ? escape->text.size() : 1);
    }
    return typed + "\"";
}

std::string Commands::typed(std::string_view bytes) const
{
    return printable(as_typed(s_.console.text->to_utf8(bytes)));
}

UIntT Commands::open_document(const std::string &name) const
{
    if (const UIntT found = view_.find(name))
        return found;
    const auto components = window_.order();
    const auto at = std::ranges::find(components, name);
    if (at == components.end())
        fail("no document \"" + name + "\" is open; there are: " + joined(view_.names()));
    const Value document =
        s_.model.get(s_.book, window_.component(name), PropertyKey(property::document));
    const auto id = static_cast<UIntT>(document.get().u.intVal);
    if (id == 0)
        fail("the document of the component is not open; open " + as_rest(name) + " opens it");
    return id;
}

void Commands::open(std::string_view rest, const GivenOptions &options)
{
    const std::string name = whole(rest);
    if (name.empty())
        misuse_of("open");
    std::string path = name;
    const UIntT component = window_.find_component(name);
    if (component != 0) {
        path = s_.documents.component_file(component);
        if (path.empty())
            fail("the component names no file; set COMPONENT File NAME gives it one");
    }
    const FileOutcome outcome = s_.documents.open(path, options.contains("--revert"));
    if (component == 0 && outcome.status == no_such_file && access(path.c_str(), F_OK) != 0)
        fail("no component or file \"" + name + "\"; components are: " + joined(window_.order()));
    need(outcome, "open the document");
    s_.out << ((outcome.words & file_status::opened_already) != 0 ? "open already: "
               : (outcome.words & file_status::reverted) != 0     ? "reverted "
                                                                  : "opened ")
           << printable(path) << std::endl;
}

void Commands::close(std::string_view rest, const GivenOptions &options)
{
    const UIntT document = rest.empty() ? view_.active() : open_document(whole(rest));
    const FileOutcome outcome = s_.documents.close(document, options.contains("--lose"));
    const std::string lose =
        "close --lose" + (rest.empty() ? "" : " " + as_rest(view_.call(document)));
    need(outcome, "close the document", advice(outcome, saving(document), lose));
}

void Commands::document(std::string_view rest)
{
    if (rest.empty())
        view_.list(s_.out);
    else
        s_.model.activate_document(open_document(whole(rest)));
}

void Commands::type(std::string_view rest)
{
    const UIntT document = view_.active();
    const V_TextRangeT selection = s_.model.selection(document);
    const V_TextLocT end =
        s_.model.replace_text(document, selection, window_.sent(typed_text(rest)));
    s_.model.select_text(document, {end, end});
}

void Commands::select_text(std::string_view place)
{
    const UIntT document = view_.active();
    const auto range = view_.range(document, place);
    if (!range)
        misuse("usage: " + usage_of("select", "--text"));
    s_.model.select_text(document, *range);
}

void Commands::save(std::string_view rest, const GivenOptions &options)
{
    const bool of_document = options.contains("--document");
    std::string more;
    // Who has changed a document alone may have meant that.
    if (const UIntT active = s_.model.active_document();
        !of_document && active != 0 && s_.model.changed(active) && !book_changed())
        more = " (the book; save --document saves " + view_.name(active) + ")";
    const FileOutcome outcome = s_.documents.save(of_document ? view_.active() : s_.book,
                                                  whole(rest), options.contains("--force"));
    need(outcome, of_document ? "save the document" : "save the book",
         advice(outcome, of_document ? "save --document" : "save",
                of_document ? "close --lose" : ""));
    s_.out << "saved " << printable(outcome.file) << more << std::endl;
}

bool Commands::book_changed() const
{
    return s_.file.differs_from(s_.model, s_.book);
}

// Returns the commands that save the document.
std::string Commands::saving(UIntT document) const
{
    const bool active = document == s_.model.active_document();
    return (active ? "" : "document " + as_rest(view_.call(document)) + " and ") +
           "save --document";
}

std::vector<Commands::Unsaved> Commands::unsaved() const
{
    std::vector<Unsaved> all;
    if (book_changed())
        all.push_back({true, "book", "save saves", s_.documents.copy_of(s_.book)});
    for (UIntT each : s_.model.members(0))
        if (s_.model.changed(each)) {
            const char *file = s_.documents.path(each).empty() ? " FILE" : "";
            const bool active = each == s_.model.active_document();
            all.push_back({false, view_.name(each),
                           saving(each) + file + (active ? " saves" : " save"),
                           s_.documents.copy_of(each)});
        }
    return all;
}

} // namespace velt::host
