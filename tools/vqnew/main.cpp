// vqnew: makes a folder with the beginning of a client.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>

#include "common/interrupts.h"
#include "common/program.h"
#include "common/replace_file.h"

using namespace velt;

namespace
{

constexpr Program program = {"vqnew", R"(usage: vqnew NAME [--cpp]

Makes a folder NAME with the beginning of a client: its source, resources in two
languages, a unit test, a scenario, and what builds and tests it. A name begins
with a letter; letters, digits, _ and - follow, 64 at most.

  --cpp      write the client in C++, not in C
  --help     show this text
  --version  show the version

Exit status: 0 the folder is made, 1 it cannot be made, or is there, 2 wrong usage.
)"};

// The files of the folder, for a client that is called newclient. Of the sources with its name, one
// is that of the language.
struct Template {
    const char *path, *text;
};
constexpr Template templates[] = {
#define V_TEMPLATE(path, text) {path, text},
#include "templates.def"
};

// What CMake or the build folder needs these names for.
constexpr std::string_view taken[] = {"ALL_BUILD",
                                      "CMakeFiles",
                                      "INSTALL",
                                      "PACKAGE",
                                      "RUN_TESTS",
                                      "Testing",
                                      "ZERO_CHECK",
                                      "all",
                                      "clean",
                                      "edit_cache",
                                      "help",
                                      "install",
                                      "list_install_components",
                                      "package",
                                      "package_source",
                                      "preinstall",
                                      "rebuild_cache",
                                      "test",
                                      "vqinit"};

void check_name(const std::string &name)
{
    constexpr std::size_t longest = 64, letters = 52;
    constexpr std::string_view characters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
    if (name.empty() || name.size() > longest || characters.find(name[0]) >= letters ||
        name.find_first_not_of(characters) != name.npos)
        misuse("no client can be named '" + name +
               "': a letter, and then up to 63 letters, digits, _ and -");
    if (std::ranges::count(taken, name) > 0)
        misuse("no client can be named '" + name + "', which means something to CMake");
}

// A new folder, which is removed with what is in it unless it is kept.
class NewFolder
{
public:
    explicit NewFolder(const std::string &path) : path_(path)
    {
        if (mkdir(path.c_str(), 0777) == 0)
            return;
        if (errno == EEXIST)
            fail(path + " is there already: choose another name, or another folder");
        throw std::system_error(errno, std::generic_category(), "cannot make the folder " + path);
    }
    NewFolder(const NewFolder &) = delete;
    NewFolder &operator=(const NewFolder &) = delete;
    ~NewFolder()
    {
        std::error_code failed;
        if (!kept_ && std::filesystem::remove_all(path_, failed) == static_cast<std::uintmax_t>(-1))
            std::cerr << "vqnew: " << path_ << " stays half-made: " << failed.message() << '\n';
    }

    void write(const std::string &path, const std::string &text) const
    {
        const std::filesystem::path whole = path_ / path;
        std::filesystem::create_directories(whole.parent_path());
        NewFile file(whole, NewFile::Others::refused, text.starts_with("#!") ? 0777 : 0666);
        file.write(text);
        file.commit();
        if (interrupts.count > 0)
            throw Interrupted();
    }
    void keep() { kept_ = true; }

private:
    std::filesystem::path path_;
    bool kept_ = false;
};

void replace_all(std::string &text, std::string_view from, const std::string &to)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size())
        text.replace(at, from.size(), to);
}

void make(const std::string &name, bool cpp)
{
    NewFolder folder(name);
    const auto named = [&](std::string text) {
        if (cpp && !text.ends_with(".cpp"))
            for (const char *source : {"newclient.c", "newclient_test.c"})
                replace_all(text, source, source + std::string("pp"));
        replace_all(text, "newclient", name);
        return text;
    };
    for (const Template &each : templates)
        if (each.path != std::string(cpp ? "newclient.c" : "newclient.cpp"))
            folder.write(named(each.path), named(each.text));
    try {
        show(name + " is made. It is built and tested with\n\n    cd " + name +
             "\n    cmake -S . -B build\n    cmake --build build\n"
             "    ctest --test-dir build --output-on-failure\n\nor by ci.sh in it, all at once.\n");
    } catch (const std::runtime_error &) {
        if (interrupts.count > 0)
            throw Interrupted();
        throw;
    }
    folder.keep();
}

} // namespace

int main(int argc, char **argv)
{
    return run_program(program, [=] {
        bool cpp = false;
        const auto words = parse_options(program, argc, argv, {Option::flag(0, "cpp", cpp)});
        if (words.size() != 1)
            misuse("one name is needed");
        check_name(words[0]);
        watch_interrupts();
        make(words[0], cpp);
        return done;
    });
}
