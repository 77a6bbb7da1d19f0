// The reference page of the calls: what goes over the wire from the tables, the calls that use each
// procedure from the sources of the call layer, what a call does from its comment in the header.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace fs = std::filesystem;

namespace
{

struct Field {
    std::string type;
    std::string name;
    std::string when; // when it is there, if not always
};

struct Procedure {
    int number;
    std::string stub;
    std::string argument;
    std::string result;
};

const std::map<std::string, std::vector<Field>> records = {
#define V_KEEP_MACROS
#define V_RECORD(name, fields) {#name, {fields}},
#define V_FIELD(type, name) {#type, #name, ""},
#define V_FIELD_IF_ZERO(key, type, name) {#type, #name, "when `" #key "` is 0"},
#define V_OPTIONAL(type, name) {#type, #name, "or none"},
#define V_SWITCH(type, name, tag) {#type, #name, "by `" #tag "`"},
#include "velt/tables/records.def"
#include "velt/tables/values.def"
#undef V_KEEP_MACROS
#include "velt/tables/undefine.h"
};

const Procedure procedures[] = {
#define V_PROCEDURE(number, stub, argument, result) {number, #stub, #argument, #result},
#include "velt/tables/procedures.def"
};

// A call as its header declares it.
struct Call {
    std::string declaration;
    std::string comment;
};

std::string read(const fs::path &path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error(path.string() + ": cannot be read");
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

std::vector<fs::path> files(const fs::path &folder, const std::string &extension)
{
    std::vector<fs::path> found;
    for (const auto &entry : fs::recursive_directory_iterator(folder))
        if (entry.path().extension() == extension)
            found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
}

std::string one_line(const std::string &text)
{
    static const std::regex space("\\s+");
    std::string line = std::regex_replace(text, space, " ");
    line.erase(0, line.find_first_not_of(' '));
    return line.erase(line.find_last_not_of(' ') + 1);
}

const std::regex exported("\\b((?:V_|VA_|oldV_|Vapi|Vde)\\w*)\\s*\\(");

// The declarations of a header. A comment holds for what follows it, up to an empty line.
void read_header(const fs::path &path, std::map<std::string, Call> &calls)
{
    std::istringstream lines(read(path));
    std::string line, comment, declaration;
    bool in_comment = false, in_macro = false;
    while (std::getline(lines, line)) {
        if (in_macro || (!in_comment && line.starts_with('#'))) {
            in_macro = line.ends_with('\\');
        } else if (in_comment || line.starts_with("/*")) {
            if (!in_comment)
                comment.clear();
            in_comment = line.find("*/") == std::string::npos;
            static const std::regex frame("^\\s*/?\\*+/?|\\*/.*$");
            comment += std::regex_replace(line, frame, "") + ' ';
        } else if (line.empty()) {
            comment.clear();
            declaration.clear();
        } else {
            declaration += line + ' ';
            if (!line.ends_with(';'))
                continue;
            std::smatch name;
            if (std::regex_search(declaration, name, exported))
                calls[name[1]] = {one_line(declaration), one_line(comment)};
            declaration.clear();
        }
    }
}

struct Definition {
    std::string name;
    std::string body;
};

// The definitions of a source file: a name that is exported, its parameters, and what stands in the
// braces.
std::vector<Definition> definitions(const std::string &source)
{
    static const std::regex head("\n\\w[^\n;{}()]*\\b((?:V_|VA_|oldV_|Vapi|Vde)\\w*)"
                                 "\\([^;{}()]*\\)\\s*\\{");
    std::vector<Definition> found;
    for (std::sregex_iterator it(source.begin(), source.end(), head), end; it != end; ++it) {
        const auto begin = static_cast<std::size_t>(it->position() + it->length());
        std::size_t at = begin;
        for (int depth = 1; depth > 0 && at < source.size(); at++)
            depth += source[at] == '{' ? 1 : source[at] == '}' ? -1 : 0;
        found.push_back({(*it)[1], source.substr(begin, at - begin)});
    }
    return found;
}

// The calls of each stub. A call of the call layer that names neither a stub nor another call is an
// error: nobody could tell what it does on the wire.
std::multimap<std::string, std::string> users(const fs::path &root)
{
    static const std::regex word("\\b\\w+\\b");
    std::multimap<std::string, std::string> found;
    for (const fs::path &path : files(root / "apilib", ".cpp")) {
        const std::string source = read(path);
        const bool call_layer = source.find("apiclib/call.h\"") != std::string::npos;
        for (const Definition &definition : definitions(source)) {
            bool told = false;
            for (std::sregex_iterator it(definition.body.begin(), definition.body.end(), word), end;
                 it != end; ++it) {
                const std::string used = it->str();
                for (const Procedure &procedure : procedures)
                    if (used == procedure.stub) {
                        found.emplace(used, definition.name);
                        told = true;
                    }
                told = told || used.starts_with("V_Api");
            }
            if (call_layer && !told)
                throw std::runtime_error(path.string() + ": " + definition.name +
                                         " uses no procedure of the host");
        }
    }
    return found;
}

void print_record(std::ostream &out, const char *what, const std::string &type)
{
    out << "- " << what << ": ";
    auto record = records.find(type);
    if (record == records.end()) {
        out << (type == "void" ? "none" : '`' + type + '`') << '\n';
        return;
    }
    out << '`' << type << "` {";
    const char *separator = "";
    for (const Field &field : record->second) {
        out << separator << '`' << field.type << ' ' << field.name << '`';
        if (!field.when.empty())
            out << ' ' << field.when;
        separator = ", ";
    }
    out << "}\n";
}

std::string page(const fs::path &root)
{
    std::map<std::string, Call> calls;
    for (const fs::path &path : files(root / "include/velt", ".h"))
        read_header(path, calls);
    const auto used_by = users(root);

    std::ostringstream out;
    out << "# Calls of the host's program\n\n"
           "Generated by `cmake --build build/release --target docs`; do not edit.\n\n"
           "Each procedure with its argument and result records, fields in wire order, and the\n"
           "calls of the client library that use it. A procedure without a call is reached "
           "through\n"
           "its stub. Value types are in `include/velt/tables/values.def`.\n";
    for (const Procedure &procedure : procedures) {
        out << "\n## " << procedure.number << " " << procedure.stub << "\n\n";
        print_record(out, "Argument", procedure.argument);
        print_record(out, "Result", procedure.result);
        auto [first, last] = used_by.equal_range(procedure.stub);
        for (; first != last; ++first) {
            auto call = calls.find(first->second);
            if (call == calls.end())
                throw std::runtime_error(first->second + ": no header declares it");
            out << "- `" << call->second.declaration << '`';
            if (!call->second.comment.empty())
                out << "<br>" << call->second.comment;
            out << '\n';
        }
    }
    return std::move(out).str();
}

constexpr std::string_view usage =
    R"(Usage: vqcalls SOURCE-TREE [-o FILE | --check FILE]
Writes the reference page of the calls of the host's program.

  -o FILE       writes it to FILE instead of standard output
  --check FILE  only tells whether FILE is this page
  --help        shows this text
  --version     shows the version

Exit status: 0; 1 when the page cannot be made or FILE is out of date; 2 for wrong usage.
)";

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
    const bool to_file = arguments.size() == 3 && arguments[1] == "-o";
    const bool check = arguments.size() == 3 && arguments[1] == "--check";
    if (!to_file && !check && arguments.size() != 1) {
        std::cerr << usage;
        return 2;
    }
    const std::string text = page(arguments[0]);
    if (check) {
        if (read(arguments[2]) == text)
            return 0;
        std::cerr << arguments[2] << ": out of date; build the target \"docs\"\n";
        return 1;
    }
    if (!to_file) {
        std::cout << text << std::flush;
        return std::cout ? 0 : 1;
    }
    std::ofstream file(arguments[2]);
    file << text << std::flush;
    if (!file)
        throw std::runtime_error(arguments[2] + ": cannot be written");
    return 0;
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
