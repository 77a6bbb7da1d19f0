#include "host/script/completion.h"

#include <algorithm>
#include <cctype>

#include "host/script/commands.h"
#include "host/script/expectations.h"

namespace velt::host
{
namespace
{

// Splits an argument of a usage at '|'.
std::vector<std::string_view> alternatives(std::string_view argument)
{
    std::vector<std::string_view> all;
    for (std::size_t end = 0; end != argument.npos;) {
        end = argument.find('|');
        all.push_back(argument.substr(0, end));
        argument.remove_prefix(end == argument.npos ? 0 : end + 1);
    }
    return all;
}

// Returns the arguments in a form of a usage, without brackets, and without options.
std::vector<std::string> arguments_of(std::string_view form)
{
    std::string text(form);
    std::erase_if(text, [](char c) { return c == '[' || c == ']'; });
    auto words = split_words(text);
    std::erase_if(words, [](const std::string &word) { return is_option(word); });
    return words;
}

bool take_suffix(std::string_view &text, std::string_view suffix)
{
    const bool ends = text.ends_with(suffix);
    text.remove_suffix(ends ? suffix.size() : 0);
    return ends;
}

template <class Rows>
std::vector<std::string> names_of(const Rows &rows)
{
    std::vector<std::string> names;
    for (const auto &row : rows)
        names.emplace_back(row.name);
    return names;
}

} // namespace

std::vector<std::string> file_names(const std::filesystem::path &folder,
                                    const std::string &beginning)
{
    std::vector<std::string> names;
    const std::string in = beginning.substr(0, beginning.rfind('/') + 1);
    std::error_code none;
    for (const auto &each : std::filesystem::directory_iterator(folder / in / ".", none)) {
        const std::string name = in + each.path().filename().string();
        const bool hidden = name[in.size()] == '.' && beginning.size() == in.size();
        if (!hidden && name.starts_with(beginning))
            names.push_back(name + (each.is_directory(none) ? "/" : ""));
    }
    return names;
}

const Completion::Argument Completion::arguments[] = {
    {"COMMAND", [](const Commands &, const Names &,
                   std::string_view) { return names_of(CommandTable::rows()); }},
    {"COMPONENT",
     [](const Commands &c, const Names &, std::string_view) { return c.window_.order(); }},
    {"DOCUMENT",
     [](const Commands &c, const Names &, std::string_view) { return c.view_.names(); }},
    {"FILE",
     [](const Commands &, const Names &, std::string_view typed) {
         return file_names("", std::string(typed.substr(typed.starts_with('"'))));
     }},
    {"LABEL",
     [](const Commands &c, const Names &, std::string_view) {
         Names labels;
         for (const Object *item : c.window_.menu_items())
             labels.push_back(c.window_.label(*item));
         return labels;
     }},
    {"OBJECT",
     [](const Commands &c, const Names &, std::string_view) {
         Names names = c.window_.order();
         names.insert(names.end(), {"session", "book"});
         return names;
     }},
    {"PROPERTY",
     [](const Commands &c, const Names &before, std::string_view) {
         return c.window_.property_names(c.window_.object(before.back()));
     }},
    {"CLIENT",
     [](const Commands &c, const Names &, std::string_view) {
         Names names;
         if (c.s_.host)
             for (const Client &each : c.s_.host->clients())
                 names.push_back(printable(each.name));
         return names;
     }},
    {"DIALOG",
     [](const Commands &c, const Names &, std::string_view) {
         Names names;
         for (const auto &each : c.open_dialogs())
             names.push_back(each.name);
         return names;
     }},
    {"NOTIFICATION",
     [](const Commands &, const Names &, std::string_view) { return notification_names(); }},
    {"WHAT", [](const Commands &, const Names &,
                std::string_view) { return names_of(Expectation::all()); }},
};

Completion::Completion(const Commands &commands, std::string_view line)
    : commands_(commands), line_(line)
{
    std::string_view rest = line;
    const std::string_view first = take_raw_word(rest);
    if (trimmed(first).size() == first.size()) {
        for (const CommandTable &row : CommandTable::rows())
            offer(0, std::string(row.name));
    } else if (const CommandTable *command = CommandTable::find(trimmed(first))) {
        complete(command->syntax(), first.size());
    }
}

// Offers the word in place of what stands in the line from there on.
void Completion::offer(std::size_t at, const std::string &word)
{
    found_.push_back(std::string(line_.substr(0, at)) + word);
}

// Completes the arguments, which begin there.
void Completion::complete(const Syntax &syntax, std::size_t begin)
{
    // The words that are not options, where each begins, and the end, where another may begin.
    Names words;
    std::vector<std::size_t> begins;
    GivenOptions given;
    std::size_t last = begin; // where the word begins that is being typed
    const auto options = Syntax::options(syntax.arguments);
    for (std::string_view rest = line_.substr(begin); !rest.empty();) {
        const std::size_t at = line_.size() - rest.size();
        const std::string_view raw = take_raw_word(rest), word = trimmed(raw);
        const bool ended = word.size() < raw.size();
        last = ended ? line_.size() : at;
        if (!options.empty() && word.starts_with("--")) {
            if (ended)
                given.emplace(word);
            continue;
        }
        begins.push_back(at);
        if (ended) {
            std::string_view one = word;
            words.push_back(take_word(one));
        }
    }
    if (last == line_.size())
        begins.push_back(last);

    if (syntax.arguments == "WHAT" && !words.empty()) {
        if (const Expectation *expectation = Expectation::find(words[0]))
            complete(expectation->syntax(), begins[1]);
        return;
    }
    for (const std::string_view each : options)
        if (!given.contains(each))
            offer(last, std::string(each));
    for (const std::string_view form : syntax.forms()) {
        const auto of_form = Syntax::options(form);
        const auto has_it = [&](std::string_view each) {
            return std::ranges::find(of_form, each) != of_form.end();
        };
        if (!std::ranges::all_of(given, has_it))
            continue;
        const auto expected = arguments_of(form);
        if (expected.empty())
            continue;
        const bool repeats = expected.back().ends_with("...") && !expected.back().ends_with(",...");
        const auto most = repeats ? begins.size() : std::min(begins.size(), expected.size());
        // A name that is not in quotes may have several words.
        for (std::size_t i = 0; i < most; i++) {
            std::string_view argument = expected[std::min(i, expected.size() - 1)];
            const bool list = take_suffix(argument, ",...");
            take_suffix(argument, "...");
            const Names before(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(i));
            for (const std::string_view each : alternatives(argument)) {
                if (std::islower(static_cast<unsigned char>(each[0])))
                    offer(begins[i], std::string(each));
                const auto *row = std::ranges::find(arguments, each, &Argument::name);
                if (row == std::end(arguments))
                    continue;
                const std::string_view typed = line_.substr(begins[i]);
                for (const std::string &name : row->names(commands_, before, typed)) {
                    std::string full = list ? joined({name})
                                       : expected.size() > 1 || typed.starts_with('"')
                                           ? as_word(name)
                                           : as_rest(name);
                    // The name of a file in the folder is to follow, in the same quotes.
                    if (name.ends_with('/') && full.ends_with('"'))
                        full.pop_back();
                    offer(begins[i], full);
                }
            }
        }
    }
}

std::vector<std::string> Completion::lines() const
{
    Names lines = found_;
    std::erase_if(lines, [&](const std::string &each) {
        return !each.starts_with(line_) || printable(each) != each;
    });
    std::ranges::sort(lines);
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    return lines;
}

std::vector<std::string> Commands::completions(std::string_view line) const
{
    return Completion(*this, line).lines();
}

} // namespace velt::host
