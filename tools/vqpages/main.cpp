// The reference of the calls, one page in the sources, and the manual of section 3, which has the
// support library as well.

#include <iostream>

#include "common/file.h"
#include "common/program.h"
#include "common/replace_file.h"
#include "tools/vqpages/calls.h"

namespace fs = std::filesystem;

using namespace velt;

namespace
{

constexpr Program program = {
    "vqpages",
    R"(usage: vqpages SOURCE-TREE [-o FILE | --check FILE | --man FOLDER | --table FILE]

Writes the reference of the calls of the client library, and the manual of both libraries.

  -o FILE       write the page to FILE instead of standard output
  --check FILE  only tell whether FILE is this page
  --man FOLDER  write the manual pages instead
  --table FILE  write which calls use each procedure, as a table for programs, instead
  --help        show this text
  --version     show the version

Exit status: 0 done, 1 it cannot be made or FILE is out of date, 2 wrong usage.
)"};

// All pages are named so, and each alias is a link to one.
bool is_page(const fs::path &path)
{
    return path.filename().string().starts_with("velt-") && path.extension() == ".3";
}

void write_manual(const calls::Interface &interface, const fs::path &folder)
{
    // Pages of calls that no longer exist are removed, and nothing else.
    fs::create_directories(folder);
    for (const auto &entry : fs::directory_iterator(folder))
        if (entry.is_symlink() ? is_page(fs::read_symlink(entry)) : is_page(entry))
            fs::remove(entry.path());
    for (const auto &[name, page] : calls::man_pages(interface))
        replace_file(folder / name, page);
    for (const auto &[name, page] : calls::man_aliases(interface))
        fs::create_symlink(page, folder / name);
}

ExitCode run(int argc, char **argv)
{
    std::string output, checked, folder, table;
    const auto words =
        parse_options(program, argc, argv,
                      {Option::into('o', nullptr, output), Option::into(0, "check", checked),
                       Option::into(0, "man", folder), Option::into(0, "table", table)});
    if (words.size() != 1)
        misuse("name the source tree");
    if (!output.empty() + !checked.empty() + !folder.empty() + !table.empty() > 1)
        misuse("--check, --man, --table and -o exclude one another");
    const calls::Interface interface = calls::read_interface(words[0]);
    if (!folder.empty()) {
        write_manual(interface, folder);
        return done;
    }
    if (!table.empty()) {
        replace_file(table, calls::table(interface), NewFile::Others::written);
        return done;
    }
    const std::string page = calls::markdown(interface);
    if (!checked.empty()) {
        if (read_file(checked) == page)
            return done;
        std::cerr << checked << ": out of date; build the target \"docs\"\n";
        return failed;
    }
    if (output.empty())
        show(page);
    else
        replace_file(output, page, NewFile::Others::written);
    return done;
}

} // namespace

int main(int argc, char **argv)
{
    return run_program(program, [=] { return run(argc, argv); });
}
