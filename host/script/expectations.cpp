#include "host/script/expectations.h"

#include <sys/wait.h>

#include <algorithm>
#include <deque>

#include "common/nearest.h"
#include "host/script/commands.h"

namespace velt::host
{
namespace
{

Expectation::Verdict lists(const std::vector<std::string> &is, std::string_view wanted)
{
    const auto should = trimmed(wanted) == "none" ? std::vector<std::string>{} : split_list(wanted);
    return {is == should, joined(should), joined(is)};
}

// Expects the text in one of the entries; those up to it are then done with.
Expectation::Verdict contained(std::deque<std::string> &entries, std::string_view rest)
{
    const std::string text = whole(rest);
    const auto found = std::ranges::find_if(
        entries, [&](const std::string &each) { return each.find(text) != each.npos; });
    return {found != entries.end(), text.empty() ? "any" : text,
            joined({entries.begin(), entries.end()}),
            [&entries, found] { entries.erase(entries.begin(), found + 1); }};
}

struct NamedCode {
    IntT code;
    std::string_view name;
};
constexpr NamedCode notifications[] = {
#define V_NOTIFICATION(code, name, meaning) {code, #name},
#include "velt/tables/notifications.def"
};

Expectation::Verdict notified(std::deque<IntT> &sent, std::string_view rest)
{
    const IntT wanted = notification_code(whole(rest));
    std::vector<std::string> names;
    for (const IntT each : sent) {
        const auto *row = std::ranges::find(notifications, each, &NamedCode::code);
        names.push_back(row != std::end(notifications) ? std::string(row->name)
                                                       : std::to_string(each));
    }
    const auto found = std::ranges::find(sent, wanted);
    return {found != sent.end(), std::string(rest), joined(names),
            [&sent, found] { sent.erase(sent.begin(), found + 1); }};
}

[[noreturn]] void misuse_of_expectation(std::string_view name)
{
    misuse("usage: " + Expectation::find(name)->usage());
}

std::string status_text(std::optional<int> status)
{
    if (!status)
        return "unknown";
    return WIFSIGNALED(*status) ? "signal " + std::to_string(WTERMSIG(*status))
                                : std::to_string(WEXITSTATUS(*status));
}

} // namespace

std::string Expectation::usage() const
{
    return "expect " + syntax().usage();
}

std::vector<std::string> notification_names()
{
    std::vector<std::string> names;
    for (const NamedCode &each : notifications)
        names.emplace_back(each.name);
    return names;
}

IntT notification_code(std::string_view name)
{
    if (const auto *named = std::ranges::find(notifications, name, &NamedCode::name);
        named != std::end(notifications))
        return named->code;
    if (!is_whole_number(name))
        misuse("\"" + std::string(name) +
               "\" is no code, nor the name of a notification; there are: " +
               joined(notification_names()));
    return number<IntT>(name);
}

std::span<const Expectation> Expectation::all()
{
    static constexpr Expectation rows[] = {
        {"order", "COMPONENT,...", "the components are these, in this order",
         [](Commands &c, std::string_view rest) { return lists(c.window_.order(), rest); }},
        {"selected", "COMPONENT|none", "this component is selected, or none",
         [](Commands &c, std::string_view rest) -> Verdict {
             const UIntT id = c.s_.model.selected(c.s_.book);
             const std::string is = id == 0 ? "none" : c.window_.shown(c.s_.model.at(id).name);
             return {is == printable_line(whole(rest)), whole(rest), is};
         }},
        {"menu", "LABEL,...", "the items of the menus are these",
         [](Commands &c, std::string_view rest) {
             std::vector<std::string> labels;
             for (const Object *item : c.window_.menu_items())
                 labels.push_back(c.window_.label(*item));
             return lists(labels, rest);
         }},
        {"property", "OBJECT PROPERTY [VALUE]",
         "the property of session, book or a component is there, and has the value that get prints",
         [](Commands &c, std::string_view rest) -> Verdict {
             const auto [of, key] = c.window_.take_property(rest, find("property")->usage());
             const std::optional<Value> value = c.window_.value(of, key);
             const std::string is = value ? c.window_.shown(*value) : "not there";
             if (rest.empty())
                 return {value.has_value(), "any value", is};
             return {value && is == printable_line(whole(rest)), whole(rest), is};
         }},
        {"document", "DOCUMENT|COMPONENT|none", "this document is active, or none",
         [](Commands &c, std::string_view rest) -> Verdict {
             const UIntT active = c.s_.model.active_document();
             const std::string is = active == 0 ? "none" : c.view_.name(active);
             return {(rest == "none" ? 0 : c.open_document(whole(rest))) == active, whole(rest),
                     is};
         }},
        {"documents", "DOCUMENT,...", "these documents are open, in this order",
         [](Commands &c, std::string_view rest) { return lists(c.view_.names(), rest); }},
        {"changed", "[DOCUMENT|COMPONENT]",
         "the active document, or another, has changes that are not saved",
         [](Commands &c, std::string_view rest) -> Verdict {
             const UIntT document = rest.empty() ? c.view_.active() : c.open_document(whole(rest));
             const bool changed = c.s_.model.changed(document);
             return {changed, c.view_.name(document), changed ? "changed" : "unchanged"};
         }},
        {"text", "TEXT", "a paragraph of the active document contains the text",
         [](Commands &c, std::string_view rest) -> Verdict {
             const std::string wanted = c.window_.sent(typed_text(rest));
             const auto has_it = [&](UIntT paragraph) {
                 return c.s_.model.at(paragraph).text.find(wanted) != std::string::npos;
             };
             const auto all = c.view_.paragraphs(c.view_.active());
             const auto found = std::ranges::find_if(all, has_it);
             if (found == all.end())
                 return {false, c.typed(wanted), "nowhere in the document"};
             return {true, c.typed(wanted),
                     "in paragraph " + std::to_string(found - all.begin() + 1) + ": " +
                         c.typed(c.s_.model.at(*found).text)};
         }},
        {"paragraph", "NUMBER [TEXT]",
         "this paragraph of the active document has this text; without text: is empty",
         [](Commands &c, std::string_view rest) -> Verdict {
             const std::string which = take_word(rest);
             if (!is_whole_number(which) || which[0] == '-')
                 misuse("\"" + which + "\" is not the number of a paragraph; they count from 1");
             const auto position = number<std::size_t>(which);
             const std::string wanted = c.window_.sent(typed_text(rest));
             const UIntT paragraph = c.view_.paragraph(c.view_.active(), position);
             const std::string &is = c.s_.model.at(paragraph).text;
             return {is == wanted, c.typed(wanted), c.typed(is)};
         }},
        {"selection", "[TEXT]",
         "the selected text of the active document is this; without text: is empty",
         [](Commands &c, std::string_view rest) -> Verdict {
             const UIntT document = c.view_.active();
             const std::string wanted = c.window_.sent(typed_text(rest));
             const std::string is = c.s_.model.text(document, c.s_.model.selection(document));
             return {is == wanted, c.typed(wanted), c.typed(is)};
         }},
        {"alert", "[TEXT]", "an alert that contains the text was shown since the last expected one",
         [](Commands &c, std::string_view rest) { return contained(c.s_.console.alerts, rest); }},
        {"alerts", "NUMBER", "so many alerts were shown since the last expected one",
         [](Commands &c, std::string_view rest) -> Verdict {
             auto &alerts = c.s_.console.alerts;
             return {alerts.size() == number<UIntT>(rest), std::string(rest),
                     std::to_string(alerts.size()) + ": " + joined({alerts.begin(), alerts.end()}),
                     [&alerts] { alerts.clear(); }};
         }},
        {"question", "[TEXT]",
         "a question, or an alert, that contains the text was asked since the last expected one",
         [](Commands &c, std::string_view rest) {
             return contained(c.s_.console.questions, rest);
         }},
        {"dialog", "DIALOG|none", "a client waits for this modal dialog, or none does",
         [](Commands &c, std::string_view rest) -> Verdict {
             const Client *client = c.waiting_client();
             const std::string is =
                 client ? c.dialog_name(client->turns.modal_wait()->dialog) : "none";
             return {is == whole(rest), whole(rest), is};
         }},
        {"progress", "[NUMBER]", "a client was so far, in per cent, since the last expected one",
         [](Commands &c, std::string_view rest) -> Verdict {
             auto &is = c.s_.console.progressed;
             const auto wanted = rest.empty() ? std::optional<IntT>() : number<IntT>(rest);
             return {is && (!wanted || *is >= *wanted), rest.empty() ? "any" : std::string(rest),
                     is ? std::to_string(*is) : "none", [&is] { is.reset(); }};
         }},
        {"notification", "NOTIFICATION|CODE",
         "a client was sent this notification since the last expected",
         [](Commands &c, std::string_view rest) { return notified(c.host().notified(), rest); }},
        {"running", "CLIENT,...", "these clients run",
         [](Commands &c, std::string_view rest) {
             std::vector<std::string> names;
             if (c.s_.host)
                 for (const Client &each : c.s_.host->clients())
                     if (each.running())
                         names.push_back(printable(each.name));
             return lists(names, rest);
         }},
        {"exit", "CLIENT [signal] NUMBER",
         "the client, by number or name, ended with this status or signal, which then is no "
         "failure",
         [](Commands &c, std::string_view rest) -> Verdict {
             const Words words(rest, 2, 3, find("exit")->usage());
             const std::string who = words.at(0);
             const bool signal = words.words.size() == 3;
             if (signal && words.at(1) != "signal")
                 misuse_of_expectation("exit");
             const std::string wanted =
                 (signal ? "signal " : "") + std::to_string(number<int>(words.words.back()));
             if (!c.s_.host)
                 misuse("no client can end here: give one with --client PATH");
             Client &client = c.client(who);
             // The client may be about to end. One that waits for an answer that it is not to get
             // is killed, as it would be at the end of the run.
             if (!c.host().wait_for_exit(client, c.host().options().exit_limit) &&
                 !client.unanswered.empty() && client.process)
                 c.host().kill(client);
             const std::string is =
                 client.running() ? "still running" : status_text(client.exit_status);
             return {is == wanted, who + " " + wanted, is,
                     [&c, &client] { c.expected_exits_.insert(&client); }};
         }},
        {"not", "WHAT", "it is not so",
         [](Commands &c, std::string_view rest) -> Verdict {
             if (rest.substr(0, rest.find_first_of(" \t")) == "not")
                 misuse("\"not\" stands once");
             const Verdict other = verdict(c, rest);
             return {!other.met, other.wanted, other.is};
         }},
    };
    return rows;
}

const Expectation *Expectation::find(std::string_view name)
{
    const auto rows = all();
    const auto found = std::ranges::find(rows, name, &Expectation::name);
    return found == rows.end() ? nullptr : &*found;
}

const Expectation &Expectation::of(std::string_view rest)
{
    const std::string_view name = rest.substr(0, rest.find_first_of(blanks));
    if (const Expectation *expectation = find(name))
        return *expectation;
    Nearest nearest(name);
    std::vector<std::string> names;
    for (const Expectation &each : all()) {
        names.emplace_back(each.name);
        nearest.consider(each.name);
    }
    const std::string hint = nearest.hint();
    misuse("nothing called " + in_quotes(name) + " can be expected" +
           (hint.empty() ? "; there are: " + joined(names) : hint));
}

Expectation::Verdict Expectation::verdict(Commands &commands, std::string_view rest)
{
    const std::string_view name = rest.substr(0, rest.find_first_of(blanks));
    const std::string_view wanted = trimmed(rest.substr(name.size()));
    const Expectation *expectation = &of(rest);
    if (wanted.empty() && !expectation->arguments.starts_with('['))
        misuse_of_expectation(name);
    Verdict found;
    try {
        found = expectation->check(commands, wanted);
    } catch (const Interrupted &) {
        throw;
    } catch (const StatusError &) {
        throw;
    } catch (const Error &error) {
        // An expectation about something that does not exist is not met.
        if (error.code != failed)
            throw;
        found = {false, std::string(wanted), error.what()};
    }
    found.wanted = std::string(name) + ": " + found.wanted;
    return found;
}

void expect(Commands &commands, std::string_view rest)
{
    const Expectation::Verdict found = Expectation::verdict(commands, rest);
    if (!found.met)
        throw Unmet("expected " + found.wanted + "\n  but it is: " + found.is);
    if (found.done)
        found.done();
}

} // namespace velt::host
