// The reference of the calls: one page in the sources, and the manual of section 3.

#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string_view>

#include "tools/vqcalls/calls.h"
#include "velt/api/facts.h"

namespace fs = std::filesystem;

namespace
{

constexpr std::string_view usage =
    R"(Usage: vqcalls SOURCE-TREE [-o FILE | --check FILE | --man FOLDER]
Writes the reference of the calls of the client library.

  -o FILE       writes the page to FILE instead of standard output
  --check FILE  only tells whether FILE is this page
  --man FOLDER  writes the manual pages instead
  --help        shows this text
  --version     shows the version

Exit status: 0; 1 when it cannot be made or FILE is out of date; 2 for wrong usage.
)";

void write(const fs::path &path, const std::string &text)
{
    std::ofstream file(path);
    file << text << std::flush;
    if (!file)
        throw std::runtime_error(path.string() + ": cannot be written");
}

int run(const std::vector<std::string> &arguments)
{
    if (arguments.size() == 1 && arguments[0] == "--help") {
        std::cout << usage;
        return 0;
    }
    if (arguments.size() == 1 && arguments[0] == "--version") {
        std::cout << "vqcalls " VELT_VERSION "\n";
        return 0;
    }
    const std::string option = arguments.size() == 3 ? arguments[1] : "";
    if (arguments.size() != 1 && option != "-o" && option != "--check" && option != "--man") {
        std::cerr << usage;
        return 2;
    }
    const velt::calls::Interface interface = velt::calls::read_interface(arguments[0]);
    if (option == "--man") {
        // Pages of calls that no longer exist are removed.
        fs::create_directories(arguments[2]);
        for (const auto &entry : fs::directory_iterator(arguments[2]))
            if (entry.path().extension() == ".3")
                fs::remove(entry.path());
        for (const auto &[name, page] : velt::calls::man_pages(interface))
            write(fs::path(arguments[2]) / name, page);
        for (const auto &[name, page] : velt::calls::man_aliases(interface))
            fs::create_symlink(page, fs::path(arguments[2]) / name);
        return 0;
    }
    const std::string page = velt::calls::markdown(interface);
    if (option == "-o") {
        write(arguments[2], page);
        return 0;
    }
    if (option == "--check") {
        if (velt::calls::read_file(arguments[2]) == page)
            return 0;
        std::cerr << arguments[2] << ": out of date; build the target \"docs\"\n";
        return 1;
    }
    std::cout << page << std::flush;
    return std::cout ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception &error) {
        std::cerr << "vqcalls: " << error.what() << '\n';
        return 1;
    }
}
