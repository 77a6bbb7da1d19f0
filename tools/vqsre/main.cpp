// vqsre: compiles, prints and checks string resource files.

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "common/program.h"
#include "common/replace_file.h"
#include "tools/vqsre/sre.h"
#include "velt/vde/language.h"

using namespace velt;

namespace
{

namespace fs = std::filesystem;

constexpr Program program = {"vqsre",
                             R"(usage: vqsre compile SOURCE.txt -o OUT.sre [--language NAME]
       vqsre print FILE.sre [--language NAME]
       vqsre check SOURCE.txt...

Compiles a source of string resources, prints a compiled file as source, or checks
sources of several languages against the first of them. A source is UTF-8 text:

  # a comment
  ID: text

A source or file named - is the standard input.
The language is the last name in the file's path that is one, as in deutsch.txt or
deutsch/APIArea/resources/shelfwise.sre. See vqsre(1) for the languages, their
encodings, and the escapes in a text.

  -o FILE          where to write the compiled file
  --language NAME  the language, whatever the file's name
  --help           show this text
  --version        show the version

Exit status: 0 all went well, 1 errors in a file, 2 wrong usage.
)"};

struct Options {
    std::string output;
    std::string language;
    std::vector<std::string> words; // the command and its files
};

// Returns the language given, or the last component of the path that is a language.
IntT language_of(const Options &options, const std::string &path)
{
    if (!options.language.empty()) {
        if (const IntT language = V_LanguageNumber(options.language.c_str()))
            return language;
        misuse("there is no language '" + options.language + "'");
    }
    for (fs::path part = fs::absolute(path); part.has_relative_path(); part = part.parent_path())
        if (const IntT language = V_LanguageNumber(part.stem().c_str()))
            return language;
    const std::string name = path == "-" ? "standard input" : path;
    if (path != "-" && !fs::exists(path))
        throw std::system_error(ENOENT, std::generic_category(), path);
    misuse(name + " has no language in its path" +
           (options.words[0] == "check" ? "" : "; give --language"));
}

void run_compile(const Options &options, Errors &errors)
{
    if (options.words.size() != 2 || options.output.empty())
        misuse("compile takes one source, and -o with the file to write");
    const std::string &path = options.words[1];
    std::error_code neither_exists;
    if (std::filesystem::equivalent(path, options.output, neither_exists))
        misuse("-o names the source itself");
    const Charset charset(V_LanguageEncoding(language_of(options, path)));
    const Source source = read_source(path, charset, errors);
    if (!errors.any())
        velt::replace_file(options.output, compile(source), velt::NewFile::Others::written);
}

void run_print(const Options &options, Errors &)
{
    if (options.words.size() != 2 || !options.output.empty())
        misuse("print takes one compiled file");
    const std::string &path = options.words[1];
    const Charset charset(V_LanguageEncoding(language_of(options, path)));
    std::string text;
    for (const auto &[id, bytes] : read_sre(path))
        text += std::to_string(id) + ": " + source_text(bytes, charset) + '\n';
    show(text);
}

void run_check(const Options &options, Errors &errors)
{
    if (options.words.size() < 2 || !options.output.empty() || !options.language.empty())
        misuse("check takes sources, and their languages from their names");
    std::vector<IntT> languages;
    for (auto path = options.words.begin() + 1; path != options.words.end(); ++path)
        languages.push_back(language_of(options, *path));

    std::optional<Source> first;
    for (std::size_t i = 0; i < languages.size(); ++i) {
        Source source =
            read_source(options.words[i + 1], Charset(V_LanguageEncoding(languages[i])), errors);
        if (first)
            compare_sources(*first, source, errors);
        else
            first = std::move(source);
    }
}

void run(const Options &options, Errors &errors)
{
    static const std::map<std::string, void (*)(const Options &, Errors &)> commands = {
        {"compile", run_compile}, {"print", run_print}, {"check", run_check}};
    if (options.words.empty())
        misuse("no command is given");
    const auto command = commands.find(options.words.front());
    if (command == commands.end())
        misuse("there is no command '" + options.words.front() + "'");
    command->second(options, errors);
}

} // namespace

int main(int argc, char **argv)
{
    return run_program(program, [=] {
        Options options;
        options.words =
            parse_options(program, argc, argv,
                          {Option::into('o', nullptr, options.output),
                           Option::into(0, "language", options.language, language_names())},
                          first_word({"compile", "print", "check"}));
        Errors errors;
        run(options, errors);
        return errors.any() ? failed : done;
    });
}
