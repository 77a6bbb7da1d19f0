// The commands that stand in for the person: answers, events in dialogs, the wish to cancel.

#include <algorithm>
#include <map>

#include "host/script/commands.h"

namespace velt::host
{

using std::chrono::milliseconds;

void Commands::answer(std::string_view rest)
{
    std::vector<Prepared> answers = read_answers(rest, here_.number);
    if (answers.empty())
        misuse_of("answer");
    s_.console.prepare(std::move(answers));
}

void Commands::expect_all_asked_for(Checks &checks) const
{
    const auto unmet = [&](int position, std::string_view command, const std::string &why) {
        checks.unmet({here_.source, position}, command, why);
    };
    std::map<int, std::vector<std::string>> left;
    for (const Prepared &each : s_.console.answers)
        left[each.position].push_back(each.words);
    for (const auto &[position, words] : left)
        unmet(position, "answer",
              std::to_string(words.size()) + (words.size() == 1 ? " answer was" : " answers were") +
                  " not asked for: " + joined(words));
    // Without a host nobody asks.
    if (cancelled_at_ != 0 && (!s_.host || s_.host->cancel_is_pending()))
        unmet(cancelled_at_, "cancel", "no client has asked whether the person has cancelled");
}

void Commands::cancel()
{
    cancelled_at_ = here_.number;
    if (s_.host)
        s_.host->cancel();
}

void Commands::dialog(std::string_view rest)
{
    const Words words(rest, 1, 3, usage_of("dialog"));
    const std::string which = words.at(0);
    // 0 is the number of no dialog.
    const bool by_word = which == "end", end = by_word || which == "0";
    if (words.words.size() == (by_word ? 3 : 1))
        misuse_of("dialog");
    if (!by_word && words.at(1) == "end")
        misuse("a modal dialog, the one opened last, is ended without its name: dialog end" +
               (words.words.size() > 2 ? " " + words.at(2) : ""));
    const auto item = by_word ? 0 : number<IntT>(words.at(1));
    const auto detail = number<IntT>(words.at(by_word ? 1 : 2));
    host();
    if (end) {
        Client *waiting = waiting_client();
        if (!waiting)
            fail("no client waits for a modal dialog");
        return check(host().end_dialog(*waiting, item, detail), *waiting);
    }
    const auto all = open_dialogs();
    const auto is_it = [&](const OpenDialog &each) {
        return std::to_string(each.number) == which || each.name == which;
    };
    const auto found = std::ranges::find_if(all, is_it);
    if (found == all.end()) {
        std::vector<std::string> names;
        for (const OpenDialog &each : all)
            names.push_back(std::to_string(each.number) + " " + each.name);
        fail("no dialog \"" + which + "\" is open; there are: " + joined(names));
    }
    check(host().dialog_event(*found->client, found->number, item, detail), *found->client);
}

// Returns the client whose modal wait has begun last, or null.
Client *Commands::waiting_client() const
{
    Client *latest = nullptr;
    if (s_.host)
        for (Client &each : s_.host->clients())
            if (const ModalWait *wait = each.turns.modal_wait();
                wait && (!latest || wait->since > latest->turns.modal_wait()->since))
                latest = &each;
    return latest;
}

// Returns the open dialogs, the one first for which a client has begun to wait last.
std::vector<Commands::OpenDialog> Commands::open_dialogs() const
{
    std::vector<OpenDialog> all;
    const auto add = [&](Client &client) {
        for (const ModalWait &wait : client.turns.modal_waits())
            all.push_back({&client, wait.number, dialog_name(wait.dialog)});
        for (const auto &[number, dialog] : client.modeless)
            all.push_back({&client, number, dialog_name(dialog)});
    };
    Client *waiting = waiting_client();
    if (waiting)
        add(*waiting);
    if (s_.host)
        for (Client &each : s_.host->clients())
            if (each.running() && &each != waiting)
                add(each);
    return all;
}

std::string Commands::dialog_name(UIntT dialog) const
{
    try {
        return window_.shown(s_.model.object(0, dialog).name);
    } catch (const StatusError &) {
        return "deleted by its client";
    }
}

std::string Commands::modal_wait(const Client &client) const
{
    const ModalWait &wait = *client.turns.modal_wait();
    return "waits in modal dialog " + std::to_string(wait.number) + " (" +
           dialog_name(wait.dialog) + ")";
}

// Nobody but the script can end a modal wait.
void Commands::await_dialog(Client &client)
{
    const auto waits = [&] { return client.turns.modal_wait() != nullptr; };
    if (!waits())
        return;
    const auto since = EventLoop::Clock::now() - client.turns.modal_wait()->since;
    const auto left = host().options().turn_limit - std::chrono::ceil<milliseconds>(since);
    if (!host().serve_until([&] { return !waits(); }, left))
        fail(client.title() + " " + modal_wait(client) +
             ", and nobody has ended it; \"dialog end\" does");
}

void Commands::finish()
{
    s_.console.check();
    if (s_.host)
        for (Client &each : s_.host->clients())
            await_dialog(each);
    check_clients();
}

} // namespace velt::host
