// The command language without clients; with clients it is tested through the program.

#include "host/files/book.h"
#include "host/script/commands.h"
#include "support/errors.h"
#include "support/folder.h"

namespace velt::host
{
namespace
{

using namespace std::literals;
using Words = std::vector<std::string>;

TEST(Parser, WordsAndLists)
{
    EXPECT_EQ(split_words("  a  \"b c\"d \"\" "), (Words{"a", "b cd", ""}));
    EXPECT_EQ(split_words(R"("a\"b" c\d)"), (Words{"a\"b", "c\\d"}));
    EXPECT_EQ(split_words(""), Words{});
    EXPECT_EQ(split_list(" A a , \"B, b\",C"), (Words{"A a", "B, b", "C"}));
    EXPECT_EQ(split_list("a,,b"), (Words{"a", "", "b"}));
    EXPECT_EQ(split_list("\" a \" , b"), (Words{" a ", "b"}));
    EXPECT_THROW(split_words("a \"b"), Error);
}

class CommandLanguage : public test::InFolder
{
protected:
    Model model;
    std::ostringstream out, errors;
    PrintingConsole console{out, errors};
    BookFile file{"own.json"};
    UIntT book = load(R"({"title": "T", "language": "japanese", "selected": "One",
        "components": [{"name": "One"}, {"name": "Two, too"}, {"name": "三"}]})");
    UIntT command = model.define_command(1, 1, "Go", "\x83\x65\x83\x58\x83\x67", "");
    Documents documents{model};
    Commands commands{{model, documents, console, nullptr, {}, book, file, out, false}};

    Checks checks{errors};

    UIntT load(const std::string &text)
    {
        test::write(file.path(), text);
        return file.load(model);
    }
    CommandLanguage()
    {
        model.add_to_menu(model.menu(book_context_menu), command);
        documents.set_book(book, file);
    }

    // The exit code and the message of a line that fails.
    std::pair<ExitCode, std::string> error(const std::string &line)
    {
        try {
            commands.run(line);
            return {done, ""};
        } catch (const Error &error) {
            return {error.code, error.what()};
        }
    }
};

// Names come from clients: none may command the terminal, nor break the window's lines.
TEST_F(CommandLanguage, WhatWouldCommandATerminalIsNotShown)
{
    model.set(book, model.components(book).at(0), PropertyKey(property::name),
              Value::string("a\033[2J\nb\x7f").get());
    commands.run("show");
    EXPECT_EQ(out.str(), "T\n>  1  a?[2J b?\n   2  Two, too\n   3  三\nContext menu:\n  テスト\n");
    EXPECT_EQ(error("select a?[2J b?").first, done);
}

TEST(Printable, WhatOthersWroteCommandsNothing)
{
    struct Case {
        const char *text, *line, *lines, *json, *xml;
    };
    const Case cases[] = {
        {"a\n<\x1b[2J>&\"", "a?<?[2J>&\"", "a\n<?[2J>&\"", "a\\u000a<\\u001b[2J>&\"",
         "a&#10;&lt;?[2J&gt;&amp;&quot;"},
        {"\u0085\u009b1m\u00a0\x7f", "??1m\u00a0?", "??1m\u00a0?", "\\u0085\\u009b1m\u00a0\\u007f",
         "??1m\u00a0?"},
        {"\u202e\u2066三\uffff\U0010f0e9", "??三?\U0010f0e9", "??三?\U0010f0e9",
         "\\u202e\\u2066三\\uffff\U0010f0e9", "??三?\U0010f0e9"},
        // Cut short, too long, a surrogate, beyond the last: byte for byte.
        {"\xe4\xb8", "??", "??", "\\ufffd\\ufffd", "??"},
        {"\xc0\x80\xed\xa0\x80", "?????", "?????", "\\ufffd\\ufffd\\ufffd\\ufffd\\ufffd", "?????"},
        {"\xf4\x90\x80\x80\x9b", "?????", "?????", "\\ufffd\\ufffd\\ufffd\\ufffd\\ufffd", "?????"},
    };
    for (const auto &[text, line, lines, json, xml] : cases) {
        EXPECT_EQ(printable(text), line);
        EXPECT_EQ(printable_lines(text), lines);
        EXPECT_EQ(printable_json(text), json);
        EXPECT_EQ(printable_xml(text), xml);
    }
}

TEST_F(CommandLanguage, SelectAndExpect)
{
    EXPECT_THROW(model.remove(0, book), StatusError);
    EXPECT_TRUE(commands.unsaved().empty());
    for (const char *line :
         {"expect selected One", "select 三", "expect selected \"三\"", "select 2",
          "expect selected Two, too", "select none", "expect selected none",
          "expect order One, \"Two, too\", 三", "expect menu テスト", "", "  # a remark"})
        EXPECT_EQ(error(line).first, done) << line;
    EXPECT_EQ(error("expect order One, Two, too, 三").first, failed) << "a comma in a name";
    EXPECT_EQ(error("expect order One").second,
              "expected order: One\n  but it is: One, \"Two, too\", 三");
    EXPECT_EQ(error("expect menu none").first, failed);
    EXPECT_EQ(error("expect selected One").first, failed);
    EXPECT_EQ(error("select Four").first, failed);
    EXPECT_EQ(error("select 4").first, failed);
    EXPECT_TRUE(commands.unsaved().empty()) << "a selection is no change";
    commands.run("set 1 name Four");
    EXPECT_EQ(commands.unsaved().size(), 1U);
    commands.run("save");
    commands.run("select 1");
    EXPECT_TRUE(commands.unsaved().empty());
}

TEST_F(CommandLanguage, Mistakes)
{
    const std::pair<ExitCode, std::vector<const char *>> mistakes[] = {
        {misused, {"fly", "show me", "select", "choose", "message", "wait", "wait \"1", "help me"}},
        {misused, {"expect", "expect order", "expect weather fine", "start --init", "start 3"}},
        {misused,
         {"expect not order", "expect not not text x", "expect not selected", "expect property 1"}},
        {misused,
         {"expect not", "expect exit 1 0", "expect not exit 1 0", "expect alerts x", "get 1",
          "set 1 529 x"}},
        {failed, {"expect property nobody name", "expect running x"}},
        {done, {"expect not property nobody name", "expect running none"}},
        {failed, {"get 1 none", "get nobody name", "set session language 3", "set 1 name 三"}},
        {misused, {"notify", "notify x", "notify 99999999999", "notify 1 2 3 4 5", "dialog 1"}},
        {misused, {"answer", "answer \"x", "dialog end 1 2", "cancel 1", "expect progress x"}},
        {failed, {"start", "notify 1", "message hello", "dialog 1 2", "dialog end"}},
        {failed, {"expect progress", "expect question", "expect notification 7"}},
        {done, {"expect dialog none", "wait 0.001", "wait exit", "clients", "cancel"}},
        {failed, {"stop", "choose Nothing", "choose Go"}},
        {misused,
         {"save --documnt", "save x --documnt", "open --rever b", "save --document --forc"}},
        {misused, {"select --tex 1", "close --loose", "help fly", "set 1 name"}},
    };
    for (const auto &[code, lines] : mistakes)
        for (const char *line : lines)
            EXPECT_EQ(error(line).first, code) << line;
    EXPECT_NE(error("choose Nothing").second.find("there are: テスト"), std::string::npos);
    EXPECT_EQ(error("save --documnt").second, "unknown option --documnt; there are --document, "
                                              "--force; quotes make it a name");
    EXPECT_EQ(error("open \"--rever\"").second,
              "no component or file \"--rever\"; components are: One, \"Two, too\", 三");
    const std::pair<const char *, const char *> hints[] = {
        {"notify after_opn", "\"after_opn\" is no code, nor the name of a notification; there are: "
                             "filter, before_open"},
        {"set 3 name One", "component 1 has the name \"One\" already"},
        {"get \"Two, too\" Nope",
         "\"Two, too\" has no property Nope; props \"Two, too\" lists them"},
        {"dialog One end 3", "a modal dialog, the one opened last, is ended without its name: "
                             "dialog end 3"},
    };
    for (const auto &[line, hint] : hints)
        EXPECT_TRUE(error(line).second.starts_with(hint)) << error(line).second;
}

TEST_F(CommandLanguage, MistakesInADocument)
{
    test::write("d.json", R"({"flows": [{"paragraphs": [{"text": "x"}]},
                                        {"paragraphs": [{"text": "y"}]}]})");
    commands.run("open d.json");
    EXPECT_EQ(error("select --text 1:0-2:1").second,
              "a selection lies within one flow, and paragraphs 1 and 2 are in two");
    EXPECT_EQ(error("expect paragraph x").second,
              "\"x\" is not the number of a paragraph; they count from 1");
}

TEST_F(CommandLanguage, AlertsAreAnsweredInOrder)
{
    const auto ask = [this](const char *text) {
        return console.ask({.kind = Question::alert, .client = 1, .text = text, .detail = 2});
    };
    commands.run("answer 5 -6");
    EXPECT_EQ(std::get<IntT>(ask("\x83\x65?")), 5);
    EXPECT_EQ(std::get<IntT>(ask("second")), -6);
    EXPECT_EQ(ask("third").index(), 0U) << "cancelled";
    EXPECT_EQ(error("expect alert テ").first, done);
    EXPECT_EQ(error("expect alert テ").first, failed) << "expected once only";
    EXPECT_EQ(error("expect alert third").first, done);
    EXPECT_EQ(error("expect alert").first, failed) << "no more alerts";
    ask("fourth");
    for (const char *line : {"expect not alert x", "expect not alerts 0", "expect alerts 1",
                             "expect alerts 0", "expect not alert"})
        EXPECT_EQ(error(line).first, done) << line;
}

TEST_F(CommandLanguage, AnswersAreOfTheirQuestionsKind)
{
    const struct {
        Question::Kind kind;
        const char *answer, *told; // empty for one that does not fit
    } cases[] = {
        {Question::integer, "-7", "-7"},
        {Question::integer, "1.5", ""},
        {Question::integer, "99999999999", ""},
        {Question::length, "\"1.5 in\"", "108 pt"},
        {Question::length, "\"-2\\\"\"", "-144 pt"},
        {Question::length, "25.4mm", "72 pt"},
        {Question::length, "2", "24 pt"}, // of the unit that the question names
        {Question::length, "600in", ""},
        {Question::length, "\"3 miles\"", ""},
        {Question::length, "inf", ""},
        {Question::string, "\"テ スト\"", "テ スト"},
        {Question::string, "ü", ""}, // which the encoding lacks
        {Question::file, "a/b", "a/b"},
        {Question::scroll_box, "2", "2, テ"},
        {Question::quick_select, "テ", "2, テ"},
        {Question::scroll_box, "0", ""},
        {Question::scroll_box, "3", ""},
        {Question::point, "1pt,1cm", "1 pt,28.3464508 pt"},
        {Question::point, "1pt", ""},
        {Question::rectangle, "\"0, 1 pt, 1 pc, 2 pc\"", "0 pt,1 pt,12 pt,24 pt"},
        {Question::unsaved, "cancel", "cancel"},
        {Question::string, "\"cancel\"", "cancel"},
    };
    for (const auto &[kind, answer, told] : cases) {
        out.str("");
        commands.run(std::string("answer ") + answer);
        const Reply reply = console.ask({.kind = kind,
                                         .client = 1,
                                         .text = "How?",
                                         .items = {"one", "\x83\x65"},
                                         .detail = 12 << 16});
        const bool cancelled = std::string(answer) == "cancel" || !*told;
        EXPECT_EQ(reply.index() == 0, cancelled) << answer;
        const std::string line = cancelled ? "  cancelled\n"s : "  answered with "s + told + "\n";
        EXPECT_TRUE(out.str().ends_with(line)) << answer << ": " << out.str();
        const std::string text = error("show").second;
        EXPECT_EQ(text.empty(), *told != '\0') << answer;
        EXPECT_TRUE(*told || text.find(" of client 1: How?") != text.npos) << text;
        EXPECT_EQ(error("expect question How").first, done);
        console.answers.clear();
    }
    EXPECT_NE(out.str().find("   1  one\n"), std::string::npos) << out.str();
}

TEST_F(CommandLanguage, AnswersThatDoNotFitAreToldAndTheRestIsDropped)
{
    documents.ask = [&](const Question &question) { return console.ask(question); };
    documents.create();
    commands.run("type x");
    commands.run("answer yes no");
    commands.run("answer lose");
    EXPECT_EQ(error("close").second,
              "the answer \"yes\" does not fit the question what to do with unsaved changes: "
              "untitled\n  \"yes\" is not save or lose, nor the number of one (an answer with a "
              "blank needs quotes)\n  cannot close the document: the document has changes that are "
              "not saved; save --document FILE saves them, close --lose loses them");
    EXPECT_EQ(error("close").second, "");
    commands.run_arguments({"answer 1 \"b c\"", "show", "answer 2", "cancel"}, checks);
    commands.expect_all_asked_for(checks);
    EXPECT_FALSE(checks.summarise());
    EXPECT_EQ(errors.str(),
              "vqhost: argument 1: 2 answers were not asked for: 1, b c\n"
              "vqhost: argument 3: 1 answer was not asked for: 2\n"
              "vqhost: argument 4: no client has asked whether the person has cancelled\n"
              "vqhost: 3 expectations, 3 not met\n");
}

TEST_F(CommandLanguage, ProgressIsToldOnceAndExpected)
{
    for (const IntT percent : {10, 50, 50, 20})
        console.progress(1, percent);
    EXPECT_EQ(out.str(), "progress of client 1: 10 %\nprogress of client 1: 50 %\n"
                         "progress of client 1: 20 %\n");
    EXPECT_EQ(error("expect progress 51").first, failed);
    EXPECT_EQ(error("expect progress 50").first, done);
    EXPECT_EQ(error("expect progress").first, failed);
    out.str("");
    console.bar = true;
    console.progress(1, 50);
    commands.run("select 1");
    EXPECT_EQ(out.str(), "\rprogress of client 1: [" + std::string(20, '#') + std::string(20, ' ') +
                             "]  50 %\n");
}

TEST_F(CommandLanguage, PropertiesAreWrittenAndRead)
{
    for (const char *line :
         {"set One name Four", "expect order Four, \"Two, too\", 三", "set book first_component 4",
          "set 1 moved 1", "expect property 1 529 1", "expect not property 1 moved 0",
          "set \"Two, too\" \"my own\" \"12\"", "expect property 2 \"my own\" 12",
          "set 2 \"my own\" テスト", "set session 4711 -5", "expect not property session 4712"})
        EXPECT_EQ(error(line).first, done) << line;
    out.str("");
    commands.run("props 2");
    commands.run("get session 4711");
    const std::string shown = out.str();
    EXPECT_TRUE(shown.starts_with("\"my own\", string: テスト\n526 previous_component, id: "));
    EXPECT_TRUE(shown.ends_with("1000000003 document, id: 0\n-5\n")) << shown;
}

TEST_F(CommandLanguage, ExpectationsAreCountedAndReported)
{
    std::istringstream script("expect order a\n\nexpect selected One\nexpect alert \x1b<&\"\n");
    commands.run_script(script, "s", checks);
    commands.run_arguments({"show", "expect not menu none", "expect alerts 3"}, checks);
    EXPECT_FALSE(checks.summarise());
    EXPECT_EQ(errors.str(), "vqhost: s:1: expected order: a\n  but it is: One, \"Two, too\", 三\n"
                            "vqhost: s:4: expected alert: ?<&\"\n  but it is: none\n"
                            "vqhost: argument 3: expected alerts: 3\n  but it is: 0: none\n"
                            "vqhost: 5 expectations, 3 not met\n");
}

// Help, completion and manual know the same commands.
TEST_F(CommandLanguage, StandInTheManual)
{
    // Without the macros, brackets and capitals of either; '+' begins an option.
    const auto bare = [](std::string text) {
        for (const char *mark :
             {"Cm ", "Ar ", "Op ", "Oo ", "Oc ", "Fl -", "Ns ", "[", "]", "--", " "})
            for (std::size_t at; (at = text.find(mark)) != text.npos;)
                text.replace(at, std::string_view(mark).size(),
                             std::string_view(mark).ends_with('-') ? "+" : "");
        std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
        return text;
    };
    std::ifstream manual(MANUAL);
    std::vector<std::string> told, known;
    for (std::string line; std::getline(manual, line) && line != ".Sh BOOK FILES";)
        if (line.starts_with(".It Cm "))
            told.push_back(bare(line.substr(4)));
    for (const auto &[usage, summary] : Commands::entries()) {
        known.push_back(bare(usage));
        const std::string words = usage.substr(0, usage.find_first_of("[A"
                                                                      "BCDEFGHIJKLMNOPQRSTUVWXYZ"));
        EXPECT_FALSE(commands.completions(std::string(trimmed(words))).empty()) << usage;
        for (const std::string_view option : Syntax::options(usage)) {
            const std::string line = usage.substr(0, usage.find(' ') + 1) + std::string(option);
            EXPECT_EQ(commands.completions(line), Words{line}) << usage;
            EXPECT_EQ(error(line).second.find("unknown option"), std::string::npos) << usage;
        }
    }
    EXPECT_EQ(told, known);
}

TEST_F(CommandLanguage, Scripts)
{
    std::istringstream good("select 2\n# remark\nquit\nfly\n");
    commands.run_script(good, "good", checks);
    EXPECT_EQ(error("expect selected Two, too").first, done);
    std::istringstream bad("show\nfly\nselect 1\n");
    EXPECT_TRUE(test::error_of([&] {
                    commands.run_script(bad, "bad", checks);
                }).starts_with("bad:2: unknown command"));
    std::istringstream latin("ty\xff"
                             "pe\n");
    EXPECT_EQ(test::error_of([&] { commands.run_script(latin, "latin", checks); }),
              "latin:1: unknown command \"ty\xff"
              "pe\"; do you mean \"type\"?; the line is not UTF-8");
    EXPECT_EQ(error("expect selected Two, too").first, done) << "the rest is left out";
}

TEST_F(CommandLanguage, Completions)
{
    EXPECT_EQ(commands.completions("se"), (Words{"select", "session", "set"}));
    EXPECT_EQ(commands.completions("select T"), (Words{"select Two, too"}));
    EXPECT_EQ(commands.completions("choose "), (Words{"choose テスト"}));
    EXPECT_EQ(commands.completions("expect not selected"), (Words{"expect not selected"}));
    EXPECT_EQ(commands.completions("get \"T"), (Words{"get \"Two, too\""}));
    EXPECT_EQ(commands.completions("expect not property 三"), (Words{"expect not property 三"}));
    EXPECT_EQ(commands.completions("x"), Words{});
    EXPECT_EQ(commands.completions("show "), (Words{"show document"}));
    EXPECT_EQ(commands.completions("answer 1 ca"), (Words{"answer 1 cancel"}));
    EXPECT_EQ(commands.completions("get session language"), (Words{"get session language"}));
    EXPECT_EQ(commands.completions("expect notification after_s"),
              (Words{"expect notification after_save"}));
    EXPECT_EQ(commands.completions("notify after_s"), (Words{"notify after_save"}));
    test::write("b c.json", "");
    EXPECT_EQ(commands.completions("save --document b"), (Words{"save --document b c.json"}));
    EXPECT_EQ(commands.completions("open --revert \"b"), (Words{"open --revert \"b c.json\""}));
}

} // namespace
} // namespace velt::host
