#include "host/program/check.h"

#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "common/completion.h"
#include "common/interrupts.h"
#include "common/memory_reserve.h"
#include "common/options.h"
#include "host/check/check.h"
#include "host/program/arguments.h"
#include "host/program/session_setup.h"
#include "host/script/commands.h"

namespace velt::host
{
namespace
{

struct CheckArguments {
    std::vector<std::string> only, commands, arguments, environment;
    std::string book;
    double limit = 30;
    bool allow_no_commands = false, list = false, help = false, version = false;
};

std::vector<Option> options_into(CheckArguments &a)
{
    const auto repeated = [](const char *name, std::vector<std::string> &where,
                             std::vector<std::string> values = {}) {
        return Option{0,
                      name,
                      Option::value,
                      [&where](const std::string &text) { where.push_back(text); },
                      true,
                      std::move(values)};
    };
    Option argument = repeated("client-arg", a.arguments);
    argument.takes = Option::value_or_empty;
    Option environment = repeated("client-env", a.environment);
    environment.take = [&a](const std::string &text) {
        a.environment.push_back(variable_of(text));
    };
    return {repeated("only", a.only, names_of_points()),
            Option::flag(0, "list", a.list),
            repeated("command", a.commands),
            Option::flag(0, "allow-no-commands", a.allow_no_commands),
            Option::into(0, "book", a.book),
            {0, "limit", Option::value,
             [&a](const std::string &text) { a.limit = number_of("--limit", text, 0.1, 3600); }},
            argument,
            environment,
            Option::flag('h', "help", a.help),
            Option::flag(0, "version", a.version)};
}

constexpr const char *about =
    R"(usage: vqhost check CLIENT [OPTIONS]

Examines a client, point by point: how it starts, takes turns, bears what a host may do, and
ends. Each point has a session of its own, on a small book, and what it comes to is printed in
the format of TAP 14, with what was seen, what was expected, and what to do.

  --only POINT         examine this point, or those that match a pattern; once more for others
  --list               list the points, and what each checks
  --command COMMAND    try this command, by its label, name or number; once more for another
                       (all that the client has in menus)
  --allow-no-commands  skip what is about commands when it has none; it fails otherwise
  --book FILE          work on a copy of this book
  --limit SECONDS      how long the client may take for each thing: 0.1 to 3600 (30)
  --client-arg ARG     hand an argument to the client; once more for another
  --client-env NAME=VALUE  set a variable for the client; once more for another
  -h, --help, --version

Exit status: 0 no point failed, 1 a point failed, 2 usage or a file to read.
)";

Subject subject_of(const std::string &client, const CheckArguments &a)
{
    std::error_code unknown;
    const std::string path = std::filesystem::absolute(find_program(client), unknown);
    if (access(path.c_str(), F_OK) != 0)
        misuse_of_program(client + ": " +
                          (errno == ENOENT ? "there is no such program"
                                           : std::generic_category().message(errno)));
    if (access(path.c_str(), X_OK) != 0 || std::filesystem::is_directory(path, unknown))
        misuse_of_program(client + ": is no program that can be started");
    Subject subject{.client = path, .name = Startable{1, path}.name()};
    subject.client.arguments = a.arguments;
    subject.client.environment = a.environment;
    subject.commands = a.commands;
    subject.allow_no_commands = a.allow_no_commands;
    subject.limit = std::chrono::milliseconds(std::lround(1000 * a.limit));
    if (!a.book.empty())
        try {
            subject.book = read_sample(a.book);
        } catch (const std::exception &error) {
            misuse(reason_of(error));
        }
    return subject;
}

} // namespace

int check_client(int argc, char **argv)
{
    CheckArguments a;
    std::vector<std::string> words;
    try {
        words = parse_options(argc, argv, options_into(a));
    } catch (const Error &error) {
        misuse(error.what() + std::string("; vqhost check --help tells more"));
    }
    if (a.help || a.version || a.list) {
        const std::string text = a.help      ? about
                                 : a.version ? "vqhost " VELT_VERSION "\n"
                                             : list_of_points();
        if (!(std::cout << text << std::flush))
            fail("what it printed could not be written");
        return done;
    }
    if (words.size() != 1 || words[0].empty())
        misuse_of_program("check needs one client");
    keep_memory_back();
    std::signal(SIGPIPE, SIG_IGN);
    watch_interrupts();
    default_home();
    unsetenv("VQPMAP"); // it may belong to another session
    return check_up(subject_of(words[0], a), a.only, std::cout) ? done : failed;
}

std::vector<std::string> complete_check(const std::vector<std::string> &words)
{
    CheckArguments none;
    return completions(words, options_into(none));
}

} // namespace velt::host
