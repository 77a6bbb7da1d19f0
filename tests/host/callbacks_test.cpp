// What the host calls its clients for by itself: modal dialogs and notifications.

#include "host/hosted_clients.h"
#include "support/host_in_process.h"

namespace velt::host
{
namespace
{

TEST_F(HostedClients, ModalWaitNests)
{
    Client &client = start("modal");
    responder.on<procedure::api_vq_modal_dialog_1>(
        [this](Client &caller, const ApiVqDoDialogArgT &dialog, IntT &answer) {
            told.push_back("dialog " + std::to_string(dialog.int1));
            answer = 0;
            // The client waits for this very answer.
            EXPECT_EQ(host.dialog_event(caller, 5, 1, 2).kind, Outcome::queued);
            if (told.size() < 4)
                host.command(caller, 2);
            host.dialog_event(caller, 0, 0, told.size() < 4 ? 41 : 42);
        });
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_TRUE(client.turns.empty());
    EXPECT_EQ(told, (Lines{"command 1", "dialog 5", "dialog event 5 1 2", "command 2", "dialog 5",
                           "result 41", "dialog event 5 1 2", "result 42"}));
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];
}

TEST_F(HostedClients, AModalDialogThatIsRefusedEndsItsWait)
{
    Client &client = start("modal");
    EXPECT_TRUE(host.command(client, 1));
    EXPECT_EQ(last_told(), "result " + std::to_string(no_such_object));
}

TEST_F(HostedClients, ModalDialogsWaitForTheirEndsAndNest)
{
    Client &client = start("dialogs");
    EXPECT_EQ(host.command(client, 1).kind, Outcome::modal);
    EXPECT_TRUE(host.dialog_event(client, 5, 1, 9));
    EXPECT_EQ(host.dialog_event(client, 5, 2, 0).kind, Outcome::modal);
    EXPECT_EQ(host.dialog_event(client, 6, 2, 0).kind, Outcome::modal);
    EXPECT_TRUE(host.message(client, "hello", 0, 0)) << "others reach it meanwhile";
    EXPECT_TRUE(host.end_dialog(client, 0, 70));
    EXPECT_EQ(client.turns.modal_wait()->number, 6);
    EXPECT_TRUE(host.end_dialog(client, 0, 60));
    EXPECT_TRUE(host.end_dialog(client, 0, 50));
    EXPECT_TRUE(client.turns.empty());
    EXPECT_EQ(told,
              (Lines{"command 1", "dialog event 5 1 9", "dialog event 5 2 0", "dialog event 6 2 0",
                     "message hello 0 0", "result 70 of 7", "result 60 of 7", "result 50 of 5"}));
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];

    EXPECT_EQ(host.command(client, 1).kind, Outcome::modal);
    EXPECT_EQ(host.dialog_event(client, 5, 2, 0).kind, Outcome::modal);
    EXPECT_TRUE(host.quit(client)) << "which ends both dialogs";
    EXPECT_EQ(last_told(), "result " + std::to_string(cancelled) + " of 5");
}

TEST_F(HostedClients, ScriptsEndModalDialogsOrRunIntoTheLimit)
{
    std::ostringstream out;
    PrintingConsole printing(out, out);
    BookFile file("book");
    const UIntT book = read_book(R"({"title": "T", "components": []})", "book", model);
    Commands commands({model, documents, printing, &host, {}, book, file, out, false});
    Client &client = start("dialogs", false);
    model.subscribe(client.number, 7, true);
    host.command(client, 1);
    for (const char *line :
         {"expect dialog Outer", "dialog 5 2", "expect dialog Inner", "dialog end 1", "notify 7",
          "expect dialog Outer", "expect notification 7", "expect not notification after_open"})
        EXPECT_EQ(error_of([&] { commands.run(line); }), "") << line;
    EXPECT_PART(out.str(), "waits in modal dialog 6 (Inner); \"dialog end\" ends it");

    host.options().turn_limit = 50ms;
    for (const auto &action : {std::function<void()>([&] { commands.finish(); }),
                               std::function<void()>([&] { commands.run("wait exit"); })})
        EXPECT_EQ(error_of(action),
                  "client 3 (tester) waits in modal dialog 5 (Outer), and nobody has "
                  "ended it; \"dialog end\" does");
    host.options().turn_limit = hang;
    commands.run("dialog 0 0 2");
    EXPECT_EQ(last_told(), "result 2 of 5");
    EXPECT_EQ(error_of([&] { commands.run("dialog end"); }), "no client waits for a modal dialog");
    EXPECT_EQ(error_of([&] { commands.finish(); }), "");
}

TEST_F(HostedClients, AClientInAModalDialogIsCalledAndOneThatCannotAnswerIsReported)
{
    const auto callee = [this](const char *script) -> Client & {
        setenv("VQTEST", script, 1);
        return host.start(TEST_CLIENT, next++, "callee");
    };
    Client &waits = callee("dialogs");
    host.command(waits, 1);
    EXPECT_TRUE(host.command(start("call client"), 1));
    EXPECT_EQ(told[3], "answer 5");
    EXPECT_TRUE(host.quit(waits));
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];

    Client &opens = callee("dialog in message");
    EXPECT_TRUE(host.command(start("call client"), 1));
    EXPECT_TRUE(
        console.reported("has not answered client 6 (tester): it waits for a modal dialog"));
    EXPECT_TRUE(host.quit(opens));

    Client &busy = callee("hang");
    host.options().turn_limit = 50ms;
    host.command(busy, 1);
    host.options().turn_limit = hang;
    EXPECT_TRUE(host.command(start("call client"), 1));
    EXPECT_TRUE(console.reported("is not called: the client holds control"));
    kill(busy.pid, SIGKILL);
}

TEST_F(HostedClients, ACommandFailsWithAClientThatAnotherOneCalls)
{
    std::ostringstream out;
    PrintingConsole printing(out, out);
    BookFile file("book");
    const UIntT book = read_book(R"({"title": "T", "components": []})", "book", model);
    Commands commands(
        {model, documents, printing, &host, {{1, TEST_CLIENT}}, book, file, out, false});
    Client &callee = host.start(TEST_CLIENT, 20, "callee");
    kill(callee.pid, SIGSTOP);
    // Of the two only the callee has this limit.
    responder.on<procedure::api_vq_alert_1>(
        [this](Client &, const ApiVqAlertArgT &, IntT &) { host.options().turn_limit = 50ms; });
    setenv("VQTEST", "call client", 1);
    EXPECT_EQ(error_of([&] { commands.run("start"); }), "client 20 (callee) failed");
    EXPECT_TRUE(console.reported("client 20 (callee): has not handed control back"));
    EXPECT_EQ(error_of([&] { commands.run("clients"); }), "") << "it fails one command";
    EXPECT_PART(out.str(), "client 20 (callee): running, process " + std::to_string(callee.pid) +
                               ", late in vq_api_message_1 for ");
    host.options().exit_limit = 50ms;
    EXPECT_EQ(error_of([&] { commands.run("stop callee"); }),
              "client 20 (callee) has not ended; stop --kill 20 kills it");
    host.options().exit_limit = hang;
    EXPECT_EQ(error_of([&] { commands.run("stop --kill 20"); }), "");
    EXPECT_FALSE(callee.running());
    EXPECT_FALSE(callee.ended_well());
    EXPECT_TRUE(commands.ended_well(callee));
}

TEST_F(HostedClients, WhoCancelsWhatClientsDoCancelsNothingElse)
{
    Client &client = start("wait for cancel"), &other = start("");
    EXPECT_FALSE(host.cancel_work());
    host.options().turn_limit = 50ms;
    EXPECT_EQ(host.message(client, "hello", 0, 0).kind, Outcome::late);
    EXPECT_TRUE(host.cancel_work());
    EXPECT_FALSE(host.take_cancel(other));
    serve_until([&] { return last_told() == "cancelled" && client.turns.empty(); });
    // What is cancelled and does not ask is over with the turn.
    client.turns.begin("a call", 0);
    EXPECT_TRUE(host.cancel_work());
    client.turns.hand_back();
    EXPECT_FALSE(host.take_cancel(client));
}

TEST_F(HostedClients, AClientThatHoldsControlIsNotifiedAfterwardsUnlessItIsTheCause)
{
    documents.announcer.set_host(&host);
    const UIntT doc = model.create_document("");
    const V_TextLocT place{model.at(model.at(doc).first).first, 0};
    Client &callee = host.start(TEST_CLIENT, next++, "callee");
    Client &caller = start("call client");
    for (const Client &each : host.clients())
        model.subscribe(each.number, V_notification_text_changed, true);
    responder.on<procedure::api_vq_return_value_1>([&](Client &cause, const IntT &, IntT &) {
        model.add_text(doc, place, "x");
        documents.announcer.announce_changes(&cause);
        told.emplace_back("changed");
    });
    EXPECT_TRUE(host.command(caller, 1));
    const std::string notified =
        "notify 1000000007 " + std::to_string(doc) + "  " + std::to_string(place.objId);
    serve_until([&] { return last_told() == notified; });
    EXPECT_EQ(told, (Lines{"command 1", "message hello 0 0", "changed", "answer 0", "errno -3",
                           notified}));
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];
    callee.turns.begin("a call", 0);
    for (int i = 0; i < 1100; i++)
        documents.announcer.announce(V_notification_text_changed, doc, {}, 0, &caller);
    EXPECT_EQ(callee.held_back, 1000);
}

// What happens to documents and components, with what a client is notified of.
TEST_F(HostedClients, NotificationsComeToThoseWhoHaveAskedForThem)
{
    LibraryCalls calls(host, answers); // of a client that causes it all, and is not notified
    documents.announcer.set_host(&host);
    test::write("a", R"({"flows": [{"paragraphs": [{}]}]})");
    const UIntT book = V_ApiNewNamedObject(0, V_type_book, "");
    const UIntT first = V_ApiNewNamedObject(book, V_type_component, "first");
    const UIntT second = V_ApiNewNamedObject(book, V_type_component, "second");
    Client &client = start("subscribe");
    const auto work = [&] {
        const V_PropValsT none{};
        V_PropValsT *returned = nullptr;
        const UIntT document = V_ApiOpen("a", &none, &returned);
        const UIntT flow = V_ApiGetId(0, document, V_prop_first_flow);
        const V_TextLocT begin{V_ApiGetId(document, flow, V_prop_first_paragraph), 0};
        V_ApiAddText(document, &begin, "x");
        V_ApiSave(document, "a", &none, &returned);
        V_ApiClose(document, V_close_asking);
        V_ApiSetId(book, first, V_prop_next_component, second);
        V_ApiSetId(book, second, V_prop_next_component, first);
        V_ApiDeallocatePropVals(returned);
        const std::string of = " " + std::to_string(document) + " ";
        return Lines{"1000000001 0 a 0",
                     "1000000002" + of + "a 0",
                     "1000000007" + of + " " + std::to_string(begin.objId),
                     "1000000003" + of + "a 0",
                     "1000000004" + of + "a 0",
                     "1000000005" + of + "a 0",
                     "1000000006" + of + "a 0",
                     "1000000008 " + std::to_string(first) + "  0",
                     "1000000008 " + std::to_string(second) + "  0"};
    };
    for (IntT wanted = V_notification_before_open; wanted <= V_notification_component_moved;
         wanted++) {
        host.command(client, wanted);
        told.clear();
        Lines expected = work();
        std::erase_if(expected, [&](const std::string &line) {
            return !line.starts_with(std::to_string(wanted));
        });
        std::ranges::for_each(expected, [](std::string &line) { line.insert(0, "notify "); });
        EXPECT_FALSE(expected.empty());
        EXPECT_EQ(told, expected);
        host.command(client, -wanted);
    }
    told.clear();
    work();
    EXPECT_EQ(told, Lines{}) << "it has asked for none any more";
    host.command(client, V_notification_after_open);
    EXPECT_TRUE(host.command(client, 0)); // by which it creates a document
    EXPECT_EQ(last_told(), "command 0");
    EXPECT_TRUE(console.reports.empty()) << console.reports[0];
}

// A client edits a document when it is told that this is about to be closed, or was saved.
TEST_F(HostedClients, ChangesOfThoseWhoAreNotifiedAreAskedFor)
{
    Client &client = start("");
    documents.announcer.set_host(&host);
    for (IntT each : {V_notification_before_close, V_notification_after_save})
        model.subscribe(client.number, each, true);
    const UIntT document = documents.create();
    responder.on<procedure::api_vq_alert_1>([&](Client &, const auto &, auto &result) {
        const UIntT paragraph = model.at(model.at(document).first).first;
        model.add_text(document, {paragraph, 0}, "x");
        result = 0;
    });
    Lines asked;
    std::vector<Reply> replies;
    documents.ask = [&](const Question &question) {
        asked.push_back(question.text);
        return asked.size() <= replies.size() ? replies[asked.size() - 1] : Reply();
    };
    EXPECT_EQ(documents.close(document, false).status, cancelled);
    EXPECT_EQ(asked, Lines{"untitled"});
    EXPECT_TRUE(model.changed(document));

    asked.clear();
    replies = {IntT{0}, "new.json", IntT{1}};
    EXPECT_EQ(documents.close(document, false).status, ok);
    EXPECT_EQ(asked, (Lines{"untitled", "the file of the document", "new.json"}));
    EXPECT_TRUE(model.members(0).empty());
    model.subscribe(client.number, V_notification_after_open, true);
    responder.on<procedure::api_vq_alert_1>([&](Client &, const auto &, auto &result) {
        result = documents.close(model.active_document(), true).status;
    });
    EXPECT_THROW(documents.create(), StatusError) << "it is closed again";
}

} // namespace
} // namespace velt::host
