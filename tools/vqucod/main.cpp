// vqucod: makes, prints and checks the Unicode tables of the East Asian encodings.

#include <filesystem>
#include <iostream>
#include <map>

#include "common/file.h"
#include "common/printable.h"
#include "common/program.h"
#include "common/replace_file.h"
#include "tools/vqucod/ucod.h"

using namespace velt;

namespace
{

constexpr Program program = {"vqucod", R"(usage: vqucod make DIRECTORY
       vqucod print FILE.UCOD
       vqucod check FILE.UCOD...

Makes the tables of the East Asian encodings from the system's iconv, prints one as
text, or checks some. A line of text is a code, its code point and the character:

  0x8140  0x3000  # (the character)

The library finds the tables in the directory unicode/ of the one that it is given.

  --help     show this text
  --version  show the version

Exit status: 0 all went well, 1 errors in a file, 2 wrong usage.
)"};

using Files = std::vector<std::string>;

Ucod read_ucod(const std::string &path)
{
    const std::string file = read_file(path);
    try {
        return unpack_ucod(file);
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(path + ": no table: " + error.what());
    }
}

bool make(const Files &files)
{
    if (files.size() != 1)
        misuse("make takes one directory");
    std::filesystem::create_directories(files[0]);
    for (const UIntT encoding : ucod_encodings())
        velt::replace_file(files[0] + "/" + ucod_name(encoding), pack_ucod(make_ucod(encoding)),
                           velt::NewFile::Others::written);
    return true;
}

bool print(const Files &files)
{
    if (files.size() != 1)
        misuse("print takes one file");
    show(ucod_text(read_ucod(files[0])));
    return true;
}

bool check(const Files &files)
{
    if (files.empty())
        misuse("check takes files");
    bool sound = true;
    for (const std::string &path : files) {
        try {
            const std::string name = std::filesystem::path(path).filename();
            for (const std::string &fault : ucod_faults(read_ucod(path), name)) {
                std::cerr << velt::printable(path + ": " + fault) << '\n';
                sound = false;
            }
        } catch (const std::runtime_error &error) {
            std::cerr << "vqucod: " << velt::printable(error.what()) << '\n';
            sound = false;
        }
    }
    return sound;
}

bool run(std::vector<std::string> words)
{
    static const std::map<std::string, bool (*)(const Files &)> commands = {
        {"make", make}, {"print", print}, {"check", check}};
    if (words.empty())
        misuse("no command is given");
    const auto command = commands.find(words.front());
    if (command == commands.end())
        misuse("there is no command '" + words.front() + "'");
    words.erase(words.begin());
    return command->second(words);
}

} // namespace

int main(int argc, char **argv)
{
    return run_program(program, [=] {
        return run(parse_options(program, argc, argv, {}, first_word({"make", "print", "check"})))
                   ? done
                   : failed;
    });
}
