#include "common/program.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <utility>

#include "common/printable.h"
#include "common/replace_file.h"
#include "velt/api/facts.h"
#include "velt/vde/instance.h"

namespace velt
{

std::vector<std::string> parse_options(const Program &program, int argc, char **argv,
                                       std::vector<Option> options, const NextWords &next,
                                       OptionsStand where)
{
    bool help = false, version = false;
    options.push_back(Option::flag('h', "help", help));
    options.push_back(Option::flag(0, "version", version));
    if (argc > 1 && std::string_view(argv[1]) == complete_option) {
        show(shell_lines(completions({argv + 2, argv + argc}, options, next)));
        std::exit(EXIT_SUCCESS);
    }
    const auto words = parse_options(argc, argv, options, where);
    if (help || version) {
        show(help ? program.help : std::string(program.name) + " " VELT_VERSION "\n");
        std::exit(EXIT_SUCCESS);
    }
    return words;
}

void show(const std::string &text)
{
    if (!(std::cout << text).flush())
        throw std::runtime_error("cannot write to standard output");
}

int run_program(const Program &program, const std::function<ExitCode()> &body)
{
    survive_file_size_limit();
    // The support library ends the process when it runs out of memory.
    static const char *name;
    name = program.name;
    VdeInstanceInit();
    VdeInstance->dsExitHandler = [] {
        NewFile::remove_unfinished();
        std::fprintf(stderr, "%s: out of memory\n", name);
        std::_Exit(EXIT_FAILURE);
    };
    try {
        return body();
    } catch (const Error &error) {
        std::cerr << program.name << ": " << printable_lines(error.what()) << "\n";
        if (error.code == misused)
            std::cerr << "Try '" << program.name << " --help'.\n";
        return error.code;
    } catch (const std::exception &error) {
        std::cerr << program.name << ": " << printable_lines(reason_of(error)) << '\n';
        return EXIT_FAILURE;
    }
}

} // namespace velt
