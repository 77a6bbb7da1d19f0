// The prompt through a terminal of its own: what is typed follows what was read.

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "support/folder.h"

namespace
{

struct Step {
    const char *shown, *typed;
};

class PromptLines : public velt::test::InFolder
{
protected:
    PromptLines()
    {
        velt::test::write("book", R"({"title": "T", "components": [{"name": "Größe"},
            {"name": "Grün"}, {"name": "b"}]})");
        setenv("XDG_STATE_HOME", (folder / "state").c_str(), 1);
        for (const auto &[name, value] :
             {std::pair("TERM", "xterm"), {"LC_ALL", "C"}, {"NO_COLOR", "1"}})
            setenv(name, value, 1);
    }

    void SetUp() override
    {
        int ours = -1, its = -1;
        if (openpty(&ours, &its, nullptr, nullptr, nullptr) != 0)
            GTEST_SKIP() << "the machine gives no terminals";
        close(ours);
        close(its);
    }

    // With a client that follows the script, if any. The exit code; each step waits for its text
    // behind that of the step before.
    int run(const std::string &script, const std::vector<Step> &steps,
            std::vector<std::string> options = {})
    {
        options.insert(options.begin(), {VQHOST, "run", "book"});
        if (!script.empty())
            options.insert(options.end(), {"--port-mapper", "own", "--client", TEST_CLIENT,
                                           "--client-env", "VQTEST=" + script});
        std::vector<char *> words;
        for (std::string &option : options)
            words.push_back(option.data());
        words.push_back(nullptr);
        const winsize size{24, 80, 0, 0};
        int terminal = -1;
        const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
        if (pid == 0) {
            execv(words[0], words.data());
            _exit(127);
        }
        std::string output;
        for (const auto &[shown, typed] : steps) {
            EXPECT_TRUE(read_until(terminal, output, shown)) << shown << " is not in " << output;
            output.erase(0, output.find(shown) + std::string_view(shown).size());
            const std::string_view keys = typed;
            EXPECT_EQ(write(terminal, keys.data(), keys.size()), std::ssize(keys));
        }
        read_until(terminal, output, "what the host never says");
        close(terminal); // which ends what has not ended
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    static bool read_until(int terminal, std::string &output, const char *text)
    {
        char buffer[4096];
        pollfd ready{terminal, POLLIN, 0};
        while (output.find(text) == output.npos) {
            const ssize_t got =
                poll(&ready, 1, 60'000) > 0 ? read(terminal, buffer, sizeof buffer) : 0;
            if (got <= 0)
                return false;
            output.append(buffer, static_cast<std::size_t>(got));
        }
        return true;
    }
};

TEST_F(PromptLines, LinesAreEditedCompletedAndKept)
{
    const char *prompt = "vqhost> ";
    // Only the editor completes a word; what the terminal echoes is no line yet that can be taken
    // back.
    EXPECT_EQ(run("", {{prompt, "select G\t"},
                       {"r", "\t"},
                       {"select Größe\r\nselect Grün\r\n", "ü\t"},
                       {"n ", "\n"},
                       {prompt, "set book Author L\n"},
                       {prompt, "hel\t"},
                       {"p ", "\x03"},
                       {prompt, "\x03"},
                       {"again to end and lose the changes of book", ""},
                       {prompt, "hel\t"},
                       {"p ", "\x03"},
                       {prompt, "expect selected Grün\n"},
                       {prompt, "quit\n"},
                       {"save saves it, quit again loses the changes", "quit\n"}}),
              0);
    EXPECT_EQ(run("", {{prompt, "\x10\x10"},
                       {"expect selected Grün", "\x03"},
                       {"again to end", ""},
                       {prompt, "\x03"}}),
              1);
}

TEST_F(PromptLines, AlertsAreAskedForAlsoWhileALineIsEdited)
{
    const char *question = "answer with a whole number (Enter: 0, Ctrl-D: cancel)";
    EXPECT_EQ(run("call after done",
                  {{"init 1", ""},
                   {question, "x\n"},
                   {"not a number", ""},
                   {question, "\n"},
                   {"= 0 ", ""},
                   {"without control", ""},
                   {question, "\x04"},
                   {"= -1 ", ""},
                   {question, "-7\n"},
                   {"= -7 ", "quit\n"}},
                  {"--trace"}),
              0);
    // Not of who ends the program.
    EXPECT_EQ(run("alert for ever", {{question, "\x03"}}), 1);
}

TEST_F(PromptLines, QuestionsAreAnsweredWithUnitsNamesAndNumbers)
{
    const char *alert = "answer with a whole number", *answer = "answer> ";
    EXPECT_EQ(run("questions", {{alert, ""},
                                {answer, "\"1\n"},
                                {"not closed", ""},
                                {answer, "\n"},
                                {"answer with a length, such as 12 pt or 5 mm (Enter: 12 pt,", ""},
                                {answer, "1 mile\n"},
                                {"not a length", ""},
                                {answer, "1 in\n"},
                                {"Which file?", ""},
                                {answer, "bo\t"},
                                {"ok", "\n"},
                                {"   2  second", ""},
                                {answer, "2\n"},
                                {"0 4718592 book 1", ""},
                                {answer, "\n"},
                                {"vqhost> ", "quit\n"}}),
              0);
}

TEST_F(PromptLines, TheFirstInterruptCancelsWhatAClientDoes)
{
    EXPECT_EQ(run("wait for cancel", {{"answer> ", "\n"},
                                      {"vqhost> ", "message hello\n"},
                                      {"answer> ", "\n"},
                                      {"progress of client 1: [", "\x03"},
                                      {"cancels what the client does", ""},
                                      {"cancelled", ""},
                                      {"answer> ", "\n"},
                                      {"vqhost> ", "quit\n"}}),
              0);
}

} // namespace
