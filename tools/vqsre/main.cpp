// vqsre: compiles, prints and checks string resource files.

#include "file.h"
#include "sre.h"

#include "velt/vde/language.h"

#include <filesystem>
#include <getopt.h>
#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>

namespace
{

namespace fs = std::filesystem;

constexpr int exit_errors = 1;
constexpr int exit_usage = 2;

constexpr const char *help = R"(usage: vqsre compile SOURCE.txt -o OUT.sre [--language NAME]
       vqsre print FILE.sre [--language NAME]
       vqsre check SOURCE.txt...

Compiles a source of string resources, prints a compiled file as source, or checks
sources of several languages against the first of them. A source is UTF-8 text:

  # a comment
  ID: text

The language is the last name in the file's path that is one, as in deutsch.txt or
deutsch/APIArea/resources/shelfwise.sre. See vqsre(1) for the languages, their
encodings, and the escapes in a text.

  -o FILE          where to write the compiled file
  --language NAME  the language, whatever the file's name
  --help           show this text
  --version        show the version

Exit status: 0 all went well, 1 errors in a file, 2 wrong usage.
)";

struct UsageError : std::runtime_error {
    using runtime_error::runtime_error;
};

struct Options {
    std::string output;
    std::string language;
    std::vector<std::string> words; // the command and its files
};

Options parse_options(int argc, char **argv)
{
    enum { opt_language = 256, opt_help, opt_version };
    static constexpr option long_options[] = {
        {"language", required_argument, nullptr, opt_language},
        {"help", no_argument, nullptr, opt_help},
        {"version", no_argument, nullptr, opt_version},
        {nullptr, 0, nullptr, 0},
    };
    Options options;
    int c;
    while ((c = getopt_long(argc, argv, ":o:h", long_options, nullptr)) != -1) {
        switch (c) {
        case 'o':
            options.output = optarg;
            break;
        case opt_language:
            options.language = optarg;
            break;
        case opt_help:
        case 'h':
            std::cout << help;
            std::exit(EXIT_SUCCESS);
        case opt_version:
            std::cout << "vqsre " VELT_VERSION "\n";
            std::exit(EXIT_SUCCESS);
        case ':':
            throw UsageError(std::string(argv[optind - 1]) + ": its value is missing");
        default:
            throw UsageError(std::string(argv[optind - 1]) + ": unknown option");
        }
    }
    options.words.assign(argv + optind, argv + argc);
    return options;
}

// The language given, or the last of the path's names that is one.
IntT language_of(const Options &options, const std::string &path)
{
    if (!options.language.empty()) {
        if (const IntT language = V_LanguageNumber(options.language.c_str()))
            return language;
        throw UsageError("there is no language '" + options.language + "'");
    }
    for (fs::path part = fs::absolute(path); part.has_relative_path(); part = part.parent_path())
        if (const IntT language = V_LanguageNumber(part.stem().c_str()))
            return language;
    throw UsageError(path + " has no language in its path; give --language");
}

void flush_output()
{
    if (!std::cout.flush())
        throw std::runtime_error("cannot write to standard output");
}

void run_compile(const Options &options, Errors &errors)
{
    if (options.words.size() != 2 || options.output.empty())
        throw UsageError("compile takes one source, and -o with the file to write");
    const std::string &path = options.words[1];
    std::error_code neither_exists;
    if (std::filesystem::equivalent(path, options.output, neither_exists))
        throw UsageError("-o names the source itself");
    const Charset charset(language_of(options, path));
    const Source source = read_source(path, charset, errors);
    if (!errors.any())
        write_file(options.output, compile(source));
}

void run_print(const Options &options, Errors &)
{
    if (options.words.size() != 2 || !options.output.empty())
        throw UsageError("print takes one compiled file");
    const std::string &path = options.words[1];
    const Charset charset(language_of(options, path));
    for (const auto &[id, bytes] : read_sre(path))
        std::cout << id << ": " << source_text(bytes, charset) << '\n';
    flush_output();
}

void run_check(const Options &options, Errors &errors)
{
    if (options.words.size() < 2 || !options.output.empty() || !options.language.empty())
        throw UsageError("check takes sources, and their languages from their names");
    std::vector<IntT> languages;
    for (auto path = options.words.begin() + 1; path != options.words.end(); ++path)
        languages.push_back(language_of(options, *path));

    std::optional<Source> first;
    for (std::size_t i = 0; i < languages.size(); ++i) {
        Source source = read_source(options.words[i + 1], Charset(languages[i]), errors);
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
        throw UsageError("no command is given");
    const auto command = commands.find(options.words.front());
    if (command == commands.end())
        throw UsageError("there is no command '" + options.words.front() + "'");
    command->second(options, errors);
}

} // namespace

int main(int argc, char **argv)
{
    try {
        Errors errors;
        run(parse_options(argc, argv), errors);
        return errors.any() ? exit_errors : EXIT_SUCCESS;
    } catch (const UsageError &error) {
        if (*error.what() != '\0')
            std::cerr << "vqsre: " << error.what() << '\n';
        std::cerr << "Try 'vqsre --help'.\n";
        return exit_usage;
    } catch (const std::exception &error) {
        std::cerr << "vqsre: " << error.what() << '\n';
        return exit_errors;
    }
}
