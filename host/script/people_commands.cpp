// The commands that stand in for the person: answers, events in dialogs, the wish to cancel.

#include "host/script/commands.h"

namespace velt::host
{

using std::chrono::milliseconds;

void Commands::answer(std::string_view rest)
{
    const Words words(rest, 1, 1000, "answer WORD...");
    s_.console.answers.insert(s_.console.answers.end(), words.words.begin(), words.words.end());
}

void Commands::cancel()
{
    host().cancel();
}

void Commands::dialog(std::string_view rest)
{
    constexpr std::string_view usage = "dialog DIALOG ITEM [DETAIL] | end [RESULT]";
    const Words words(rest, 1, 3, usage);
    const bool end = words.at(0) == "end";
    if (words.words.size() == (end ? 3 : 1))
        misuse("usage: " + std::string(usage));
    const auto dialog = end ? 0 : number<IntT>(words.at(0));
    const auto item = end ? 0 : number<IntT>(words.at(1));
    const auto detail = number<IntT>(words.at(end ? 1 : 2));
    host();
    Client *waiting = waiting_client();
    if (end && !waiting)
        fail("no client waits for a modal dialog");
    Client &client = waiting ? *waiting : running_client();
    check(dialog == 0 ? host().end_dialog(client, item, detail)
                      : host().dialog_event(client, dialog, item, detail),
          client);
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

// Returns the name of the dialog that a client waits for; empty when that has been deleted.
std::string Commands::awaited_dialog(const Client &client) const
{
    try {
        return window_.shown(s_.model.object(0, client.turns.modal_wait()->dialog).name);
    } catch (const StatusError &) {
        return {};
    }
}

std::string Commands::modal_wait(const Client &client) const
{
    return client.title() + " waits in modal dialog " +
           std::to_string(client.turns.modal_wait()->number) + " (" + awaited_dialog(client) + ")";
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
        fail(modal_wait(client) + ", and nobody has ended it; \"dialog end\" does");
}

void Commands::finish()
{
    s_.console.check();
    if (s_.host)
        for (Client &each : s_.host->clients())
            await_dialog(each);
}

} // namespace velt::host
