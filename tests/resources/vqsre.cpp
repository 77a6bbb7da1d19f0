// The tool vqsre, as its users call it.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iterator>

#include "support/resource_files.h"
#include "velt/api/facts.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/language.h"

// The tool's main, renamed as it is compiled for this test.
int vqsre_main(int argc, char **argv);

namespace
{

struct Vqsre : Resources {
    std::string out, errors;

    // Runs the tool in a process of its own, which is this program: starting another takes valgrind
    // more than a second. Its exit status.
    int run(const std::string &arguments, const char *output = "out")
    {
        const pid_t child = fork();
        if (child == 0) {
            for (const auto &[fd, path] :
                 {std::pair(STDOUT_FILENO, output), {STDERR_FILENO, "errors"}})
                dup2(open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666), fd);
            std::istringstream split("vqsre " + arguments);
            std::vector<std::string> words(std::istream_iterator<std::string>(split), {});
            std::vector<char *> argv;
            for (std::string &word : words)
                argv.push_back(word.data());
            argv.push_back(nullptr);
            std::exit(vqsre_main(static_cast<int>(words.size()), argv.data()));
        }
        int status;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        out = read("out");
        errors = read("errors");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string complaint(const std::string &language, const std::string &source)
    {
        write(language + ".txt", source);
        const int status = run("compile " + language + ".txt -o out.sre");
        EXPECT_EQ(status, errors.empty() ? 0 : 1);
        EXPECT_EQ(fs::exists("out.sre"), errors.empty());
        fs::remove("out.sre");
        return errors;
    }
};

// A line that reads as these bytes, in a form of its own: every byte an escape.
std::string escaped(const std::string &bytes)
{
    std::string line;
    const char *const digits = "0123456789abcdef";
    for (const char byte : bytes)
        line += {'\\', 'x', digits[byte >> 4 & 15], digits[byte & 15]};
    return line;
}

} // namespace

TEST_F(Vqsre, CompilesTheWorkedExample)
{
    write("usenglish.txt", "# two strings, in any order\r\n 7 : Bye %0 \r\n\n1:Hello!");
    ASSERT_EQ(run("compile usenglish.txt -o x.sre"), 0) << errors;
    EXPECT_EQ(out + errors, "");
    EXPECT_EQ(read("x.sre"), sre({{1, "Hello!"}, {7, "Bye %0"}}));
    ASSERT_EQ(run("print x.sre --language usenglish"), 0);
    EXPECT_EQ(out, "1: Hello!\n7: Bye %0\n");
}

// The language's encoding, and that bytes which mean something to the reader survive it.
TEST_F(Vqsre, Encodings)
{
    const struct {
        const char *language, *text, *bytes;
    } cases[] = {
        {"deutsch", "Grüß „x“ ¤†•ı", "Gr\x9F\xA7 \xE3x\xD2 \xDB\xA0\xA5\xF5"},
        {"japanese", "ソ表能ｱx~", "\x83\x5C\x95\x5C\x94\x5C\xB1x~"},
        {"traditionalchinese", "功許", "\xA5\x5C\xB3\x5C"},
        {"simplifiedchinese", "从书", "\xB4\xD3\xCA\xE9"},
        {"korean", "책에서", "\xC3\xA5\xBF\xA1\xBC\xAD"},
        {"francais", R"(\s a\\b\tx\p\r\ \#\i\N\M\+\-\_\x0D\s)",
         "  a\\b\x08x\x0A\x09\x11\x10\x12\x13\x14\x15\x04\x05\x0D "},
    };
    for (const auto &[language, text, bytes] : cases) {
        const std::string file = std::string(language) + ".txt";
        write(file, std::string("\xEF\xBB\xBF") + "-5: " + text + "\n");
        ASSERT_EQ(run("compile " + file + " -o x.sre"), 0) << errors;
        ASSERT_EQ(init("x"), 0);
        EXPECT_EQ(get(-5), bytes) << language;
    }
}

// Every byte and every two-byte character of every encoding comes through print and compile,
// whether it has a character or not.
using VqsreSweep = Vqsre;
TEST_F(VqsreSweep, EveryByteSurvives)
{
    V_FdeInitFontEncs(nullptr);
    UIntT encoding = 0;
    for (const std::string language :
         {"usenglish", "japanese", "korean", "traditionalchinese", "simplifiedchinese"}) {
        const VdeFontEncT &font = *vdeFontEncs[encoding++];
        std::vector<std::pair<int, std::string>> strings, lines;
        for (int first = 1; first < 256; ++first) {
            std::string bytes(1, static_cast<char>(first));
            for (int second = 1; second < 256; ++second)
                if (font.firstByte[first] != 0 && font.secondByte[second] != 0)
                    bytes += {static_cast<char>(first), static_cast<char>(second)};
            strings.emplace_back(first, bytes + ' ');
            lines.emplace_back(first, escaped(bytes + ' '));
        }
        write("x.sre", sre(lines));
        ASSERT_EQ(run("print x.sre --language " + language), 0) << errors;
        write(language + ".txt", out);
        ASSERT_EQ(run("compile " + language + ".txt -o x.sre"), 0) << errors;
        ASSERT_EQ(init("x"), 0);
        for (const auto &[id, bytes] : strings)
            EXPECT_EQ(get(id), bytes) << language << id;
    }
}

TEST_F(Vqsre, TellsWhatIsWrongWithASource)
{
    const struct {
        const char *language, *line, *reason;
    } cases[] = {
        {"dutch", "hello", "not of the form 'ID: text'"},
        {"dutch", "1 hello", "not of the form 'ID: text'"},
        {"dutch", "32768: x", "the id does not lie between -32768 and 32767"},
        {"dutch", "99999999999: x", "the id does not lie between -32768 and 32767"},
        {"dutch", "0: again", "string 0 is already in line 2"},
        {"dutch", "0: \\q", "string 0 is already in line 2"},
        {"dutch", "1: a\tb", "a control character (U+0009); it is written as an escape"},
        {"dutch", "2: \\q", "'\\q' is no escape"},
        {"dutch", "3: \\é", "'\\é' is no escape"},
        {"dutch", "4: \\x4", "\\x needs two hexadecimal digits"},
        {"dutch", "5: \\xg0", "\\x needs two hexadecimal digits"},
        {"dutch", "6: \\x00", "\\x00 would end the string"},
        {"dutch", "7: a\\", "a backslash at the end of the line"},
        {"dutch", "8: \xFF", "the line is not UTF-8"},
        {"dutch", "9: Ω", "Quire has no 'Ω' (U+03A9)"},
        {"japanese", "1: é", "Shift-JIS has no 'é' (U+00E9)"},
        {"japanese", "2: ¥", "Shift-JIS has no '¥' (U+00A5)"},
        {"korean", "1: é", "KS C 5601 has no 'é' (U+00E9)"},
        {"simplifiedchinese", "1: 從", "GB 2312 has no '從' (U+5F9E)"},
        {"traditionalchinese", "1: 从", "Big5 has no '从' (U+4ECE)"},
        {"dutch", "10: %{x}", "'%{x}' is no reference"},
        {"dutch", "11: %{0", "a '%{' without its '}'"},
    };
    struct Lines {
        int count = 2;
        std::string source = "# comment\n0: fine\n", complaints;
    };
    std::map<std::string, Lines> languages;
    for (const auto &[language, line, reason] : cases) {
        Lines &lines = languages[language];
        lines.source += std::string(line) + "\n";
        lines.complaints +=
            std::string(language) + ".txt:" + std::to_string(++lines.count) + ": " + reason + "\n";
    }
    for (const auto &[language, lines] : languages)
        EXPECT_EQ(complaint(language, lines.source), lines.complaints);

    EXPECT_EQ(complaint("dutch", "1: " + std::string(1023, 'x')), "");
    EXPECT_EQ(complaint("dutch", "1: " + std::string(1024, 'x')),
              "dutch.txt:1: the string has 1024 bytes in Quire; at most 1023 are read\n");
    // It is the encoded form that counts: two bytes a character, not the three of UTF-8.
    std::string kana;
    for (int i = 0; i < 511; ++i)
        kana += "あ";
    EXPECT_EQ(complaint("japanese", "1: " + kana), "");
    EXPECT_EQ(complaint("japanese", "1: " + kana + "あ"),
              "japanese.txt:1: the string has 1024 bytes in Shift-JIS; at most 1023 are read\n");

    std::string many;
    for (int id = -1; id < 32767; ++id)
        many += std::to_string(id) + ":\n";
    EXPECT_EQ(complaint("dutch", many),
              "dutch.txt:32768: the file has 32768 strings; at most 32767 are read\n");
}

TEST_F(Vqsre, ChecksLanguagesAgainstEachOther)
{
    write("usenglish.txt", "0: Delete %0 of %1\n1: %u %%0\n2: %{3} x\n3: plain\n");
    write("deutsch.txt", "0: %1: %{0 the file} löschen\n1: %%0 %u\n2: %3 %3\n3: 100 %\n");
    EXPECT_EQ(run("check usenglish.txt deutsch.txt"), 0);
    EXPECT_EQ(out + errors, "");

    write("dutch.txt", "0: \\q %0\n1: x %0\n# no string 2\n9: more\n3: x %0\n");
    write("danish.txt", "");
    EXPECT_EQ(run("check usenglish.txt deutsch.txt dutch.txt danish.txt"), 1);
    EXPECT_EQ(errors, "dutch.txt:1: '\\q' is no escape\n"
                      "dutch.txt:2: string 1 refers to %0, but to %u in usenglish.txt:2\n"
                      "dutch.txt:5: string 2 is missing; it is in usenglish.txt:3\n"
                      "dutch.txt:5: string 3 refers to %0, but to nothing in usenglish.txt:4\n"
                      "dutch.txt:4: string 9 is missing in usenglish.txt\n"
                      "danish.txt:1: string 0 is missing; it is in usenglish.txt:1\n"
                      "danish.txt:1: string 1 is missing; it is in usenglish.txt:2\n"
                      "danish.txt:1: string 2 is missing; it is in usenglish.txt:3\n"
                      "danish.txt:1: string 3 is missing; it is in usenglish.txt:4\n");
}

TEST_F(Vqsre, TheLanguageComesFromThePath)
{
    write("korean/APIArea/resources/x.sre", sre({{0, "\xC3\xA5"}}));
    EXPECT_EQ(run("print korean/APIArea/resources/x.sre"), 0);
    EXPECT_EQ(out, "0: 책\n");
    EXPECT_EQ(run("print korean/APIArea/resources/x.sre --language usenglish"), 0);
    EXPECT_EQ(out, "0: \\xC3•\n"); // the host's set has no character there
    write("labels.txt", "0: 책\n");
    EXPECT_EQ(run("compile --language korean -o x.sre labels.txt"), 0);
    EXPECT_EQ(read("x.sre"), sre({{0, "\xC3\xA5"}}));
    EXPECT_EQ(run("compile labels.txt -o x.sre"), 2);
    EXPECT_EQ(errors, "vqsre: labels.txt has no language in its path; give --language\n"
                      "Try 'vqsre --help'.\n");
}

TEST_F(Vqsre, DamagedFilesAndWrongUsage)
{
    write("dutch.txt", "0: x\n");
    const struct {
        std::string content, reason;
    } files[] = {
        {"", "the file ends inside its header"},
        {sre({{0, "x"}}).substr(0, 29), "the file ends inside its index"},
        {std::string(20, '\0') + "\xFF\xFF\xFF\xFF", "the header tells of more than 32767 strings"},
        {sre({{1, "x"}, {0, "y"}}), "the index is not sorted"},
        {sre({{1, "x"}}).substr(0, 29) + '\xFF', "the index points behind the end of the file"},
        {sre({{3, "x\\xg"}}), "string 3 does not end properly"},
        {sre({{3, "x"}}).substr(0, 31), "string 3 does not end properly"},
    };
    for (const auto &[content, reason] : files) {
        write("dutch.sre", content);
        EXPECT_EQ(run("print dutch.sre"), 1);
        EXPECT_EQ(errors, "vqsre: dutch.sre: " + reason + "\n");
    }

    for (const char *arguments :
         {"", "melt dutch.txt", "compile dutch.txt", "compile -o x",
          "compile dutch.txt dutch.txt -o x", "compile dutch.txt -o", "print",
          "print dutch.sre -o x", "check", "--bad", "check --language dutch dutch.txt", "check out",
          "compile dutch.txt -o x --language Dutch"}) {
        EXPECT_EQ(run(arguments), 2) << arguments;
        EXPECT_TRUE(errors.ends_with("Try 'vqsre --help'.\n")) << errors;
    }

    for (const char *missing : {"missing", "missing/dutch.txt"}) {
        EXPECT_EQ(run(std::string("compile -o x ") + missing), 1);
        EXPECT_EQ(errors, std::string("vqsre: ") + missing + ": No such file or directory\n");
    }
    EXPECT_EQ(run("compile dutch.txt -o missing/x"), 1);
    EXPECT_EQ(run("compile dutch.txt -o /dev/full"), 1);
    EXPECT_EQ(errors, "vqsre: /dev/full: No space left on device\n");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    ASSERT_EQ(run("compile dutch.txt -o dutch.sre"), 0);
    EXPECT_EQ(run("print dutch.sre", "/dev/full"), 1);
    EXPECT_EQ(errors, "vqsre: cannot write to standard output\n");
    write("dutch.txt", "0: \\q\n");
    EXPECT_EQ(run("compile dutch.txt -o dutch.sre"), 1);
    EXPECT_EQ(read("dutch.sre"), sre({{0, "x"}})); // it was left alone

    EXPECT_EQ(run("--help"), 0);
    EXPECT_TRUE(out.starts_with("usage: vqsre compile"));
    EXPECT_EQ(run("--version"), 0);
    EXPECT_EQ(out, "vqsre " VELT_VERSION "\n");
}
