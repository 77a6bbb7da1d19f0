#include "tools/vqcalls/calls.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace velt::calls
{
namespace
{

struct Field {
    std::string_view type;
    std::string_view name;
    std::string_view when; // the condition under which the field is sent; empty for always
};

struct Structure {
    std::string_view name;
    std::initializer_list<Field> fields;
};

const Structure structures[] = {
#define V_KEEP_MACROS
#define V_RECORD(name, fields) {#name, {fields}},
#define V_FIELD(type, name) {#type, #name, ""},
#define V_FIELD_IF_ZERO(key, type, name) {#type, #name, " when " #key " is 0"},
#define V_OPTIONAL(type, name) {#type, #name, " or none"},
#define V_SWITCH(type, name, tag) {#type, #name, " by " #tag},
#include "velt/tables/records.def"
#include "velt/tables/values.def"
#undef V_KEEP_MACROS
#include "velt/tables/undefine.h"
};

struct List {
    std::string name;
    std::string plural;
};

const List lists[] = {
#define V_LIST(name, element, plural) {#name, #plural},
#include "velt/tables/values.def"
};

std::string structure_text(const std::string &type)
{
    const auto *found = std::ranges::find(structures, type, &Structure::name);
    if (found == std::end(structures))
        return type == "void" ? "none" : type;
    std::string text = type + " {";
    for (const Field &field : found->fields) {
        text += text.back() == '{' ? "" : ", ";
        text.append(field.type).append(" ").append(field.name).append(field.when);
    }
    return text + "}";
}

// The stubs of the procedures of which the reference host has a model.
constexpr std::string_view modelled[] = {
#define V_ANSWER(stub) #stub,
#include "velt/tables/answers.def"
};

std::vector<Procedure> procedure_table()
{
    static constexpr struct {
        int number;
        const char *stub, *argument, *result;
        bool has_call;
    } rows[] = {
#define V_PROCEDURE(number, stub, argument, result) {number, #stub, #argument, #result, true},
#define V_STUB_ONLY(number, stub, argument, result) {number, #stub, #argument, #result, false},
#include "velt/tables/procedures.def"
    };
    std::vector<Procedure> table;
    for (const auto &row : rows)
        table.push_back({row.number,
                         row.stub,
                         structure_text(row.argument),
                         structure_text(row.result),
                         row.has_call,
                         std::ranges::find(modelled, row.stub) != std::end(modelled),
                         {}});
    return table;
}

std::string one_line(const std::string &text)
{
    static const std::regex space("\\s+");
    std::string line = std::regex_replace(text, space, " ");
    line.erase(0, line.find_first_not_of(' '));
    return line.erase(line.find_last_not_of(' ') + 1);
}

// Splits at commas outside brackets.
std::vector<std::string> parts(const std::string &text)
{
    std::vector<std::string> found{""};
    int depth = 0;
    for (char c : text) {
        depth += std::string_view("([{").find(c) != std::string_view::npos;
        depth -= std::string_view(")]}").find(c) != std::string_view::npos;
        if (c == ',' && depth == 0)
            found.emplace_back();
        else
            found.back() += c;
    }
    for (std::string &part : found)
        part = one_line(part);
    return found;
}

std::string release_of(const std::string &type)
{
    if (type == "StringT")
        return "V_ApiDeallocateString";
    if (type == "V_TypedValT")
        return "V_ApiDeallocateVal";
    if (type == "V_PropValT")
        return "V_ApiDeallocatePropVal";
    for (const List &list : lists)
        if (list.name == type)
            return "V_ApiDeallocate" + list.plural;
    return "";
}

std::optional<Call> parse(const std::string &declaration, const std::string &comment)
{
    static const std::regex function("((?:const )?\\w+ \\**)(\\w+)\\((.*)\\);");
    static const std::regex variable("extern ((?:struct )?\\w+ \\**)(\\w+);");
    static const std::regex parameter("(.*[ *])(\\w+)");
    std::smatch match;
    Call call{};
    call.comment = comment;
    if (std::regex_match(declaration, match, function)) {
        call.is_function = true;
        for (const std::string &part : parts(match[3])) {
            std::smatch named;
            if (std::regex_match(part, named, parameter))
                call.parameters.push_back({named[1], named[2]});
        }
    } else if (!std::regex_match(declaration, match, variable)) {
        return std::nullopt;
    }
    call.type = one_line(match[1]);
    call.name = match[2];
    return call;
}

// Makes a declaration of a row of V_LIST.
std::string expanded(std::string text, const List &list)
{
    text = std::regex_replace(text, std::regex("##plural"), list.plural);
    return std::regex_replace(text, std::regex("\\bname\\b"), list.name);
}

// A comment describes the declarations after it, up to an empty line; the first comment describes
// the header.
Family read_header(const fs::path &path)
{
    Family family;
    family.name = path.stem().string();
    std::istringstream lines(read_file(path));
    std::string line, comment, declaration;
    bool in_comment = false, in_macro = false, in_list = false;
    while (std::getline(lines, line)) {
        if (in_macro || (!in_comment && line.starts_with('#'))) {
            if (!in_macro)
                in_list = line.starts_with("#define V_LIST(");
            if (in_list)
                declaration += std::regex_replace(line, std::regex("#define[^)]*\\)|\\\\$"), "");
            in_macro = line.ends_with('\\');
            if (in_list && line.find(';') != std::string::npos) {
                for (const List &list : lists)
                    if (auto call = parse(one_line(expanded(declaration, list)), one_line(comment)))
                        family.calls.push_back(*call);
                declaration.clear();
            }
        } else if (in_comment || line.starts_with("/*")) {
            if (!in_comment)
                comment.clear();
            in_comment = line.find("*/") == std::string::npos;
            static const std::regex frame("^\\s*/?\\*+/?|\\*/.*$");
            comment += std::regex_replace(line, frame, "") + ' ';
            if (!in_comment && family.about.empty()) {
                comment = one_line(comment);
                const std::size_t end = comment.find(". ");
                family.about = comment.substr(0, std::min(end, comment.size() - 1));
                family.common = end == std::string::npos ? "" : comment.substr(end + 2);
            }
        } else if (line.empty()) {
            comment.clear();
            declaration.clear();
        } else {
            declaration += line + ' ';
            if (!line.ends_with(';'))
                continue;
            if (auto call = parse(one_line(declaration), one_line(comment)))
                family.calls.push_back(*call);
            declaration.clear();
        }
    }
    return family;
}

// Sets what a call of this shape returns for each outcome; `failure` is the value that the call
// gives for a failure.
void tell_outcomes(Call &call, const std::string &shape, const std::string &failure)
{
    const auto set = [&](const std::string &answered, const std::string &refused,
                         const std::string &unanswered) {
        call.answered = answered;
        call.refused = refused;
        call.unanswered = unanswered;
    };
    const auto or_else = [&](const char *usual) { return failure.empty() ? usual : failure; };
    if (shape == "status")
        set("0", "the host's status", or_else("-1"));
    else if (shape == "set" || call.type == "void")
        set("nothing", shape == "set" ? "nothing" : "", "nothing");
    else if (shape == "plain")
        set("the host's answer", "", or_else("-1"));
    else if (shape == "scalar")
        set(call.type == "V_ObjHandleT" ? "the id" : "the value", or_else("0"), or_else("0"));
    else if (shape == "prompt")
        set("0, and the answer stored", "-1, and VA_errno as it was", "-1");
    else if (shape == "bare_string")
        set("a copy", "", "null");
    else if (shape == "aggregate" && call.type == "StringT")
        set("a copy", "null", "null");
    else if (shape == "aggregate")
        set(call.release.empty() ? "the structure" : "a copy", "all zero", "all zero");
    else if (shape == "return_list" && failure == ".id")
        set("the id", "0, and the list all the same", "0, and the pointer as it was");
    else if (shape == "return_list")
        set("0", "the host's status, and the list all the same", "0, and the pointer as it was");
}

struct Definition {
    std::string name;
    std::string body;
};

// Finds the definitions of exported functions in a source file: name, parameters and body.
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
        found.push_back({(*it)[1], one_line(source.substr(begin, at - begin - 1))});
    }
    return found;
}

Call *find(Interface &interface, const std::string &name)
{
    for (Family &family : interface.families)
        for (Call &call : family.calls)
            if (call.name == name)
                return &call;
    return nullptr;
}

// Finds which calls use a stub, and how.
void read_source(const fs::path &path, Interface &interface)
{
    // Matches a body that is a single use of a template: the shape, the stub, other arguments, and
    // a member of the result.
    static const std::regex one_use("(?:return )?(\\w+)\\((\\w+)(.*)\\)(\\.\\w+)?;");
    static const std::regex word("\\b\\w+\\b");
    for (const Definition &definition : definitions(read_file(path))) {
        Call *const call = find(interface, definition.name);
        const std::string &body = definition.body;
        for (std::sregex_iterator it(body.begin(), body.end(), word), end; it != end; ++it)
            for (Procedure &procedure : interface.procedures)
                if (it->str() == procedure.stub) {
                    procedure.users.push_back(definition.name);
                    if (call)
                        call->stub = procedure.stub;
                }
        std::smatch use;
        if (!call || call->stub.empty() || !std::regex_match(body, use, one_use))
            continue;
        const std::vector<std::string> arguments = parts(use[3]);
        const std::size_t failure = use[1] == "scalar" ? 3 : 2;
        tell_outcomes(*call, use[1],
                      use[4].matched                                          ? use[4].str()
                      : use[1] != "return_list" && arguments.size() > failure ? arguments[failure]
                                                                              : "");
    }
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

} // namespace

std::string read_file(const fs::path &path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error(path.string() + ": cannot be read");
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

const Procedure &Interface::procedure(const std::string &stub) const
{
    return *std::ranges::find(procedures, stub, &Procedure::stub);
}

Interface read_interface(const fs::path &root)
{
    Interface interface;
    interface.procedures = procedure_table();
    for (const fs::path &path : files(root / "include/velt/api", ".h"))
        interface.families.push_back(read_header(path));
    for (Family &family : interface.families)
        for (Call &call : family.calls) {
            if (call.is_function)
                call.release = release_of(call.type);
            if (call.comment.empty())
                throw std::runtime_error(call.name + ": no comment says what it does");
        }
    for (const fs::path &path : files(root / "apilib", ".cpp"))
        read_source(path, interface);
    for (const Procedure &procedure : interface.procedures)
        if (procedure.has_call == procedure.users.empty())
            throw std::runtime_error("procedures.def: " + procedure.stub +
                                     (procedure.has_call ? " has no call" : " has a call"));
    return interface;
}

std::string signature(const Call &call)
{
    std::string text = call.type + (call.type.ends_with('*') ? "" : " ") + call.name;
    if (!call.is_function)
        return "extern " + text;
    text += '(';
    for (const Parameter &parameter : call.parameters)
        text += (text.back() == '(' ? "" : ", ") + parameter.type + parameter.name;
    return text + (call.parameters.empty() ? "void)" : ")");
}

} // namespace velt::calls
