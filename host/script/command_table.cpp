#include "host/script/command_table.h"

#include <algorithm>
#include <type_traits>

#include "common/nearest.h"
#include "host/script/commands.h"
#include "host/script/expectations.h"

namespace velt::host
{

std::string Syntax::usage() const
{
    return std::string(name) + (arguments.empty() ? "" : " ") + std::string(arguments);
}

std::vector<std::string_view> Syntax::forms() const
{
    constexpr std::string_view separator = " | ";
    std::vector<std::string_view> forms;
    for (std::string_view rest = arguments; !rest.empty();) {
        const auto end = std::min(rest.find(separator), rest.size());
        forms.push_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + separator.size(), rest.size()));
    }
    return forms;
}

std::vector<std::string_view> Syntax::options(std::string_view form)
{
    std::vector<std::string_view> options;
    for (auto at = form.find("--"); at != form.npos; at = form.find("--", at + 2))
        options.push_back(form.substr(at, form.find_first_of("] ", at) - at));
    return options;
}

namespace
{

// Calls a function of Commands with as many of the arguments as it takes.
template <auto function>
void call(Commands &commands, std::string_view rest, const GivenOptions &options)
{
    using Function = decltype(function);
    if constexpr (std::is_invocable_v<Function, Commands &, std::string_view, const GivenOptions &>)
        (commands.*function)(rest, options);
    else if constexpr (std::is_invocable_v<Function, Commands &, std::string_view>)
        (commands.*function)(rest);
    else
        (commands.*function)();
}

} // namespace

std::span<const CommandTable> CommandTable::rows()
{
    static constexpr CommandTable rows[] = {
        {"show", "[document]", "print the book window, or the active document",
         call<&Commands::show>},
        {"select", "COMPONENT|none | --text PARAGRAPH[:FROM[-[PARAGRAPH:]TO]]",
         "select a component by name or number, none selects nothing; or text of the active "
         "document, paragraphs counted from 1, characters from 0",
         call<&Commands::select>},
        {"choose", "LABEL", "choose a menu item by its label or its command's name",
         call<&Commands::choose>},
        {"start", "[--init CODE]", "start the client that is not running, with code 2 or CODE",
         call<&Commands::start_next>},
        {"notify", "NOTIFICATION|CODE [ID [TEXT [NUMBER]]]",
         "notify the clients that asked for this notification, by name or code",
         call<&Commands::notify>},
        {"message", "TEXT [ID [ID]]", "send a message to the client", call<&Commands::message>},
        {"dialog", "DIALOG ITEM [DETAIL] | end [RESULT]",
         "tell a client of an event in its dialog, by name or number, or of the end of the modal "
         "dialog",
         call<&Commands::dialog>},
        {"answer", "WORD|cancel...",
         "answers for the next questions; cancel, without quotes, cancels one",
         call<&Commands::answer>},
        {"cancel", "", "tell the next client that asks that the person has cancelled",
         call<&Commands::cancel>},
        {"open", "[--revert] COMPONENT|FILE",
         "open a document, or the file of a component; --revert reads one that is open again",
         call<&Commands::open>},
        {"close", "[--lose] [DOCUMENT|COMPONENT]",
         "close the active document, or another; --lose also loses changes that are not saved",
         call<&Commands::close>},
        {"document", "[DOCUMENT|COMPONENT]",
         "make a document active by name or number, or list the open ones",
         call<&Commands::document>},
        {"type", "TEXT",
         "put text in place of the selection in the active document; blanks at the end need "
         "quotes, in which \\n begins a paragraph and \\t is a tab",
         call<&Commands::type>},
        {"get", "OBJECT PROPERTY",
         "print a property, by number or name, of session, book or a component",
         call<&Commands::get>},
        {"set", "OBJECT PROPERTY VALUE", "write a number or a text into a property",
         call<&Commands::set>},
        {"props", "OBJECT", "list the properties", call<&Commands::props>},
        {"expect", "WHAT", "fail at the end unless it is so",
         [](Commands &c, std::string_view rest, const GivenOptions &) {
             velt::host::expect(c, rest);
         }},
        {"wait", "SECONDS|exit", "serve clients for so long, or until they have ended",
         call<&Commands::wait>},
        {"stop", "[--kill] [CLIENT]",
         "tell a client, by number or name, to quit, and wait for its end; --kill kills it",
         call<&Commands::stop>},
        {"clients", "", "list the clients, with what those are busy with that hold control",
         call<&Commands::list_clients>},
        {"session", "", "print how vqcall, or another process, joins the session",
         call<&Commands::print_session>},
        {"save", "[--document] [--force] [FILE]",
         "save the book or the active document, in its own file or another; --force replaces one "
         "that somebody else has made or changed",
         call<&Commands::save>},
        {"help", "[COMMAND]", "list the commands, or tell of one", call<&Commands::print_help>},
        {"quit", "", "leave out the rest; clients are told to quit", nullptr},
    };
    return rows;
}

const CommandTable *CommandTable::find(std::string_view name)
{
    const auto found = std::ranges::find(rows(), name, &CommandTable::name);
    return found == rows().end() ? nullptr : &*found;
}

const CommandTable &CommandTable::of(std::string_view name)
{
    if (const CommandTable *row = find(name))
        return *row;
    Nearest nearest(name);
    for (const CommandTable &each : rows())
        nearest.consider(each.name);
    const std::string hint = nearest.hint();
    misuse("unknown command \"" + std::string(name) + "\"" +
           (hint.empty() ? "; help lists them" : hint));
}

std::string usage_of(std::string_view name)
{
    return CommandTable::find(name)->syntax().usage();
}

std::string usage_of(std::string_view name, std::string_view option)
{
    const auto forms = CommandTable::find(name)->syntax().forms();
    const auto has_it = [&](std::string_view form) { return form.find(option) != form.npos; };
    return Syntax{name, *std::ranges::find_if(forms, has_it)}.usage();
}

void misuse_of(std::string_view name)
{
    misuse("usage: " + usage_of(name));
}

} // namespace velt::host
