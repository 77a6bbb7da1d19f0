#include "tools/common/program.h"

#include "common/printable.h"
#include "common/replace_file.h"

#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <iostream>
#include <new>

#include "velt/api/facts.h"
#include "velt/vde/instance.h"

namespace
{

// Of options without a letter, by their place in the list.
constexpr int first_number = 256;

int number_of(const std::vector<Option> &options, std::size_t place)
{
    return options[place].letter ? options[place].letter : first_number + static_cast<int>(place);
}

} // namespace

std::vector<std::string> parse_options(const Program &program, int argc, char **argv,
                                       const std::vector<Option> &given)
{
    bool help = false, version = false;
    std::vector<Option> options = given;
    options.push_back({'h', "help", nullptr, &help});
    options.push_back({0, "version", nullptr, &version});

    std::string letters = ":";
    std::vector<option> names;
    for (std::size_t i = 0; i < options.size(); ++i) {
        const int takes = options[i].value ? required_argument : no_argument;
        if (options[i].letter)
            letters += options[i].letter;
        if (options[i].letter && options[i].value)
            letters += ':';
        if (options[i].name)
            names.push_back({options[i].name, takes, nullptr, number_of(options, i)});
    }
    names.push_back({});

    opterr = 0;
    for (int found;
         (found = getopt_long(argc, argv, letters.c_str(), names.data(), nullptr)) != -1;) {
        if (found == ':' || found == '?')
            throw UsageError(std::string(argv[optind - 1]) +
                             (found == ':' ? ": its value is missing" : ": unknown option"));
        for (std::size_t i = 0; i < options.size(); ++i) {
            if (number_of(options, i) != found)
                continue;
            if (options[i].value && *optarg == '\0')
                throw UsageError((options[i].name ? std::string("--") + options[i].name
                                                  : std::string("-") + options[i].letter) +
                                 ": its value is empty");
            if (options[i].value)
                *options[i].value = optarg;
            else
                *options[i].given = true;
        }
    }
    if (help || version) {
        show(help ? program.help : std::string(program.name) + " " VELT_VERSION "\n");
        std::exit(EXIT_SUCCESS);
    }
    return {argv + optind, argv + argc};
}

void show(const std::string &text)
{
    if (!(std::cout << text).flush())
        throw std::runtime_error("cannot write to standard output");
}

int run_program(const Program &program, const std::function<bool()> &body)
{
    constexpr int usage = 2;
    velt::survive_file_size_limit();
    // The library ends the process when it lacks the memory to go on.
    static const char *name;
    name = program.name;
    VdeInstanceInit();
    VdeInstance->dsExitHandler = [] {
        velt::NewFile::remove_unfinished();
        std::fprintf(stderr, "%s: out of memory\n", name);
        std::_Exit(EXIT_FAILURE);
    };
    try {
        return body() ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const UsageError &error) {
        std::cerr << program.name << ": " << velt::printable_lines(error.what()) << "\nTry '"
                  << program.name << " --help'.\n";
        return usage;
    } catch (const std::bad_alloc &) {
        std::cerr << program.name << ": out of memory\n";
        return EXIT_FAILURE;
    } catch (const std::exception &error) {
        std::cerr << program.name << ": " << velt::printable_lines(error.what()) << '\n';
        return EXIT_FAILURE;
    }
}
