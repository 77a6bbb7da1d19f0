// The commands on documents.

#include "host/script/commands.h"

namespace velt::host
{
namespace
{

// Takes the option from the beginning of the rest, if it stands there.
bool take_option(std::string_view &rest, std::string_view option)
{
    if (rest.substr(0, rest.find_first_of(blanks)) != option)
        return false;
    rest = trimmed(rest.substr(option.size()));
    return true;
}

void need(const FileOutcome &outcome, const char *what, const char *advice = "")
{
    if (outcome.status != ok)
        fail(std::string("cannot ") + what + " the document: " + outcome.reason + advice);
}

} // namespace

std::string typed_text(std::string_view rest)
{
    if (!rest.starts_with('"'))
        return whole(rest);
    std::string text;
    for (std::size_t i = 0; i < rest.size(); i++) {
        const bool escaped = rest[i] == '\\' && i + 1 < rest.size();
        if (escaped && rest[i + 1] == 'n') {
            text += '\n';
            i++;
            continue;
        }
        text += rest[i];
        if (escaped)
            text += rest[++i];
    }
    return whole(text);
}

void Commands::open(std::string_view rest)
{
    const bool revert = take_option(rest, "--revert");
    const std::string name = whole(rest);
    if (name.empty())
        misuse("usage: open [--revert] FILE | COMPONENT");
    std::string path = name;
    if (const UIntT component = window_.find_component(name)) {
        path = s_.documents.component_file(component);
        if (path.empty())
            fail("the component names no file; set COMPONENT File NAME gives it one");
    }
    const FileOutcome outcome = s_.documents.open(path, revert);
    need(outcome, "open");
    s_.out << ((outcome.words & file_status::opened_already) != 0 ? "open already: "
               : (outcome.words & file_status::reverted) != 0     ? "reverted "
                                                                  : "opened ")
           << printable(path) << std::endl;
}

void Commands::close(std::string_view rest)
{
    const bool lose = take_option(rest, "--lose");
    const UIntT document = rest.empty() ? view_.active() : view_.document(whole(rest));
    const FileOutcome outcome = s_.documents.close(document, lose);
    need(outcome, "close",
         outcome.status == cancelled ? "; save --document saves them, close --lose loses them"
                                     : "");
}

void Commands::document(std::string_view rest)
{
    if (rest.empty())
        view_.list(s_.out);
    else
        s_.model.activate_document(view_.document(whole(rest)));
}

void Commands::type(std::string_view rest)
{
    const UIntT document = view_.active();
    const V_TextRangeT selection = s_.model.selection(document);
    const V_TextLocT end =
        s_.model.replace_text(document, selection, window_.sent(typed_text(rest)));
    s_.model.select_text(document, {end, end});
    s_.documents.announcer.announce(V_notification_text_changed, document, "",
                                    static_cast<IntT>(selection.beg.objId));
}

void Commands::select_text(std::string_view place)
{
    const UIntT document = view_.active();
    s_.model.select_text(document, view_.range(document, place));
}

void Commands::save(std::string_view rest)
{
    bool of_document = false, force = false;
    for (bool more = true; more;) {
        const bool document = take_option(rest, "--document"),
                   forced = take_option(rest, "--force");
        of_document |= document;
        force |= forced;
        more = document || forced;
    }
    std::string path = rest.empty() ? "" : whole(rest);
    if (of_document) {
        const FileOutcome outcome = s_.documents.save(view_.active(), path, force);
        need(outcome, "save",
             outcome.status == changed_file ? "; save --document --force replaces it" : "");
        path = outcome.file;
    } else {
        if (path.empty())
            path = s_.file.path();
        if (s_.file.save_as(path, s_.model, s_.book, force))
            saved_.reset();
    }
    s_.out << "saved " << printable(path) << std::endl;
}

std::vector<std::string> Commands::unsaved_documents() const
{
    std::vector<std::string> names;
    for (UIntT each : s_.model.members(0))
        if (s_.model.changed(each))
            names.push_back(view_.name(each));
    return names;
}

} // namespace velt::host
