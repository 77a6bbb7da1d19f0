#include "tools/vqpages/calls.h"

#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "common/file.h"
#include "tools/layout/layout.h"
#include "tools/vqpages/pattern.h"

namespace fs = std::filesystem;

namespace velt::calls
{
namespace
{

// Returns the fields as text, each with what says when it is there; nothing for what is no
// structure.
std::string fields_of(const std::string &type)
{
    const StructureRow *structure = find_structure(type);
    if (!structure)
        return {};
    std::string text;
    for (const FieldRow &each : structure->fields) {
        text += (text.empty() ? "" : ", ") + std::string(each.type);
        text += (text.ends_with('*') ? "" : " ") + std::string(each.name);
        const std::string key(each.key);
        switch (each.kind) {
        case FieldRow::plain:
            break;
        case FieldRow::if_zero:
            text += " when " + key + " is 0";
            break;
        case FieldRow::optional:
            text += " or none";
            break;
        case FieldRow::by_tag:
            text += " by " + key;
            break;
        case FieldRow::for_tag:
            text += " for " + key;
            break;
        case FieldRow::otherwise:
            text += " otherwise";
            break;
        }
    }
    return text;
}

std::string structure_text(const std::string &type)
{
    const std::string fields = fields_of(type);
    return !fields.empty() ? type + " {" + fields + '}' : type == "void" ? "none" : type;
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
    std::istringstream words(text);
    std::string line, word;
    while (words >> word)
        line += (line.empty() ? "" : " ") + word;
    return line;
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
    const ListRow *list = find_list(type);
    return list ? "V_ApiDeallocate" + std::string(list->plural) : "";
}

std::optional<Call> parse(const std::string &declaration, const std::string &comment)
{
    static const Pattern function("^(__attribute__[^ ]* )?((const |struct )?\\w+ \\**)(\\w+)"
                                  "\\(([^();/]*)\\);$");
    static const Pattern variable("^(extern )((const |struct )?\\w+ \\**)(\\w+)(\\[[0-9]+\\])?;$");
    static const Pattern parameter("^(.*[ *])(\\w+)$");
    Call call{};
    std::string declared;
    call.comment = comment;
    auto match = function.search(declaration);
    call.is_function = match.has_value();
    if (!match)
        match = variable.search(declaration);
    if (!match)
        return std::nullopt;
    (call.is_function ? declared : call.extent) = match->groups[5];
    for (const std::string &part : parts(declared))
        if (const auto named = parameter.search(part))
            call.parameters.push_back({named->groups[1], named->groups[2]});
        else if (part == "...")
            call.parameters.push_back({part, ""});
        else if (call.is_function && declared != "void")
            return std::nullopt;
    call.type = one_line(match->groups[2]);
    call.name = match->groups[4];
    return call;
}

// Makes a declaration of a row of V_LIST.
std::string expanded(const std::string &text, const ListRow &list)
{
    static const Pattern plural("##plural"), name("\\bname\\b");
    return name.replace(plural.replace(text, std::string(list.plural)), std::string(list.name));
}

// Finds the structures of a header or of values.def, with the comment of a line that stands before
// each.
std::vector<Structure> structures_in(const std::string &source)
{
    static const Pattern row("(/\\* ([^*]*) \\*/)?\nV_(RECORD|UNION)\\((\\w+),");
    static const Pattern definition("(/\\* (([^*]|\\*[^/])*) \\*/)?\n"
                                    "typedef struct (\\w+) \\{([^}]*)\\}");
    static const Pattern comment("; */\\* ([^*]*) \\*/"), end(";\n"), frame("\n \\*");
    std::vector<Structure> found;
    for (auto it = row.search(source); it; it = row.search(source, it->end))
        found.push_back({it->groups[4], fields_of(it->groups[4]), it->groups[2]});
    for (auto it = definition.search(source); it; it = definition.search(source, it->end)) {
        std::string fields =
            one_line(end.replace(comment.replace(it->groups[5], " (\\1);"), ",\n"));
        fields.pop_back(); // the last comma
        found.push_back({it->groups[4], fields, one_line(frame.replace(it->groups[2], " "))});
    }
    for (const Structure &each : found)
        if (each.comment.empty())
            throw std::runtime_error(each.name + ": no comment says what it is");
    return found;
}

[[noreturn]] void refuse(const fs::path &path, std::ptrdiff_t line, const std::string &what)
{
    throw std::runtime_error(path.string() + ':' + std::to_string(line) +
                             ": this would stand on no page: " + what);
}

// Finds the scalar types of a header.
std::vector<Structure> scalars_in(const fs::path &path)
{
    static const Pattern row("^(typedef [^;]*\\b(\\w+);) */\\* ([^*]*) \\*/$");
    std::vector<Structure> found;
    std::istringstream lines(read_file(path));
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        number++;
        if (const auto it = row.search(line))
            found.push_back({it->groups[2], "", it->groups[3] + ": " + it->groups[1]});
        else if (line.starts_with("typedef"))
            refuse(path, number, line);
    }
    return found;
}

// Whether a row `NAME = number` is among the named numbers of the tables.
bool is_fact(const std::string &row)
{
    static const std::vector<Facts> all = facts();
    return std::ranges::any_of(all, [&](const Facts &kind) {
        return std::ranges::any_of(kind.rows, [&](const Facts::Fact &fact) {
            return row == fact.name + " = " + fact.number;
        });
    });
}

// Finds the numbers of a header by the comments before them.
std::vector<Facts> numbers_in(const fs::path &path, const std::string &source)
{
    static const Pattern comment(" */\\*[^*]*\\*/"), directive("#[^\n]*\n");
    static const Pattern definition("(/\\* ([^*]*)\\. \\*/\n)?enum \\{([^}]*)\\}");
    static const Pattern row("/\\* ([^*]*)\\. \\*/\n|(\\w+) = (-?\\w+),? *(/\\* ([^*]*) \\*/)?");
    std::vector<Facts> found;
    for (auto each = definition.search(source); each; each = definition.search(source, each->end)) {
        const std::string before = source.substr(0, source.find("enum {", each->begin));
        const std::ptrdiff_t line = std::ranges::count(before, '\n') + 1;
        // The numbers of tables are facts(), with those of this header that belong to them.
        if (each->groups[3].find("#include") != std::string::npos) {
            for (const std::string &name :
                 parts(comment.replace(directive.replace(each->groups[3], ""), "")))
                if (!name.empty() && !is_fact(name))
                    refuse(path, line, name);
            continue;
        }
        if (found.empty() || !each->groups[2].empty())
            found.push_back({each->groups[2].empty() ? "Numbers" : each->groups[2], {}});
        const std::string &rows = each->groups[3];
        std::vector<std::string> names = parts(comment.replace(rows, ""));
        std::erase(names, "");
        for (auto it = row.search(rows); it; it = row.search(rows, it->end)) {
            if (it->groups[2].empty()) {
                found.push_back({it->groups[1], {}});
                continue;
            }
            found.back().rows.push_back({it->groups[2], it->groups[3], it->groups[5]});
            std::erase(names, it->groups[2] + " = " + it->groups[3]);
        }
        if (!names.empty())
            refuse(path, line, names.front());
    }
    return found;
}

// Whether a declaration without its comments needs no page, or structures_in or numbers_in find it.
bool is_other_declaration(const std::string &declaration)
{
    static const Pattern other(
        "^(typedef struct \\w+ \\{[^{}]*\\} \\w+|enum \\{[^{}]*\\}|struct \\w+);$");
    return other.search(declaration).has_value();
}

// A comment describes the declarations after it, up to an empty line, or all that follow when that
// line comes at once; the first comment describes the header. Throws for what is none of the known
// forms, so that no declaration is left out.
Family read_header(const fs::path &path, bool is_api)
{
    Family family{};
    family.is_api = is_api;
    family.name = path.stem().string();
    const std::string source = read_file(path);
    family.structures = structures_in(source);
    family.numbers = numbers_in(path, source);
    std::istringstream lines(source);
    std::string line, comment, note, declaration;
    bool in_comment = false, in_macro = false, in_list = false, describes = false;
    static const Pattern macro("#define[^)]*\\)|\\\\$"), frame("^\\s*/?\\*+/?|\\*/.*$");
    static const Pattern remark("; */\\* ([^*]*) \\*/$"), remarks("/\\*([^*]|\\*[^/])*\\*/");
    static const Pattern function_type("^typedef [^(]*\\(\\*(\\w+)\\)\\([^();/]*\\);$");
    static const Pattern constant("^#define (\\w+) +(.*[^\\\\])$"), bare("^#define \\w+$");
    static const Pattern with_arguments("^#define \\w+\\("), table("^#include \"velt/tables/");
    std::ptrdiff_t number = 0, begin = 0;
    bool in_braces = false;
    bool for_table = false; // a macro that a table is to follow
    const auto add = [&](const std::string &text, const std::string &behind) {
        auto call = parse(text, one_line(comment));
        if (!call)
            return false;
        call->note = std::exchange(note, "");
        call->remark = behind;
        family.calls.push_back(std::move(*call));
        return true;
    };
    while (std::getline(lines, line)) {
        number++;
        if (declaration.empty() && !for_table)
            begin = number;
        const bool is_directive = in_macro || (!in_comment && line.starts_with('#'));
        const bool begins_comment = !in_comment && line.starts_with("/*");
        if (for_table && !is_directive)
            refuse(path, begin, "a macro that no table follows");
        if (in_braces && line.empty())
            continue;
        if (!declaration.empty() && (line.empty() || begins_comment))
            refuse(path, begin, declaration);
        if (is_directive) {
            describes = true;
            if (table.search(line))
                for_table = false;
            if (!in_macro)
                in_list = line.starts_with("#define V_LIST(");
            if (!in_macro && line.starts_with("#define")) {
                if (with_arguments.search(line))
                    for_table = true;
                else if (const auto found = constant.search(line))
                    family.numbers.push_back(
                        {"Macros", {{found->groups[1], found->groups[2], one_line(comment)}}});
                else if (!bare.search(line))
                    refuse(path, number, line);
            }
            if (in_list)
                declaration += macro.replace(line, "");
            in_macro = line.ends_with('\\');
            if (in_list && line.find(';') != std::string::npos) {
                for (const ListRow &list : list_types())
                    if (!add(one_line(expanded(declaration, list)), ""))
                        refuse(path, begin, declaration);
                declaration.clear();
            }
        } else if (in_comment || begins_comment) {
            if (!in_comment)
                comment.clear();
            const std::size_t closed = line.find("*/");
            in_comment = closed == std::string::npos;
            if (!in_comment && closed + 2 != line.size())
                refuse(path, begin, line);
            comment += frame.replace(line, "") + ' ';
            if (!in_comment && family.about.empty()) {
                comment = one_line(comment);
                const std::size_t end = comment.find(". ");
                family.about = comment.substr(0, std::min(end, comment.size() - 1));
                family.common = end == std::string::npos ? "" : comment.substr(end + 2);
            }
            describes = false;
        } else if (line.empty()) {
            if (!describes)
                note = one_line(comment);
            comment.clear();
        } else {
            describes = true;
            if (line == "VELT_BEGIN_DECLS" || line == "VELT_END_DECLS")
                continue;
            std::string behind;
            if (const auto found = remark.search(line)) {
                behind = found->groups[1];
                line.resize(found->begin + 1);
            }
            declaration += line + ' ';
            const std::string code = one_line(remarks.replace(declaration, ""));
            in_braces = std::ranges::count(code, '{') != std::ranges::count(code, '}');
            if (in_braces || !code.ends_with(';'))
                continue;
            declaration = one_line(declaration);
            if (const auto type = function_type.search(declaration))
                family.structures.push_back(
                    {type->groups[1], "", one_line(comment + ' ' + declaration)});
            else if (!add(declaration, behind) && !is_other_declaration(code))
                refuse(path, begin, declaration);
            declaration.clear();
        }
    }
    if (for_table || !declaration.empty())
        refuse(path, begin, declaration);
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
    static const Pattern head("\n\\w[^\n;{}()]*\\b((V_|VA_|oldV_|Vapi|Vde)\\w*)"
                              "\\([^;{}()]*\\)\\s*\\{");
    std::vector<Definition> found;
    std::size_t at = 0;
    while (const auto match = head.search(source, at)) {
        at = match->end;
        for (int depth = 1; depth > 0 && at < source.size(); at++)
            depth += source[at] == '{' ? 1 : source[at] == '}' ? -1 : 0;
        found.push_back(
            {match->groups[1], one_line(source.substr(match->end, at - match->end - 1))});
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
    static const Pattern one_use("^(return )?(\\w+)\\((\\w+)(.*)\\)(\\.\\w+)?;$");
    static const Pattern word("\\w+");
    for (const Definition &definition : definitions(read_file(path))) {
        Call *const call = find(interface, definition.name);
        const std::string &body = definition.body;
        for (auto it = word.search(body); it; it = word.search(body, it->end))
            for (Procedure &procedure : interface.procedures)
                if (it->groups[0] == procedure.stub) {
                    procedure.users.push_back(definition.name);
                    if (call)
                        call->stub = procedure.stub;
                }
        const auto use = one_use.search(body);
        if (!call || call->stub.empty() || !use)
            continue;
        const std::string &shape = use->groups[2], &member = use->groups[5];
        const std::vector<std::string> arguments = parts(use->groups[4]);
        const std::size_t failure = shape == "scalar" ? 3 : 2;
        tell_outcomes(*call, shape,
                      !member.empty()                                        ? member
                      : shape != "return_list" && arguments.size() > failure ? arguments[failure]
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

const Procedure &Interface::procedure(const std::string &stub) const
{
    return *std::ranges::find(procedures, stub, &Procedure::stub);
}

Interface read_interface(const fs::path &root)
{
    constexpr const char *values = "include/velt/tables/values.def";
    Interface interface;
    interface.procedures = procedure_table();
    for (const fs::path &path : files(root / "include/velt/api", ".h"))
        interface.families.push_back(read_header(path, true));
    for (const fs::path &path : files(root / "include/velt/vde", ".h"))
        interface.families.push_back(read_header(path, false));
    for (Family &family : interface.families) {
        if (family.name == "values") {
            for (const Structure &each : scalars_in(root / "include/velt/scalars.h"))
                family.structures.push_back(each);
            for (const Structure &each : structures_in(read_file(root / values)))
                family.structures.push_back(each);
            for (const ListRow &list : list_types())
                family.structures.push_back({std::string(list.name),
                                             "UIntT len, " + std::string(list.element) + " *val",
                                             "A list."});
        }
        for (Call &call : family.calls) {
            if (call.is_function && family.is_api)
                call.release = release_of(call.type);
            if (call.comment.empty())
                throw std::runtime_error(call.name + ": no comment says what it does");
        }
    }
    for (const fs::path &path : files(root / "apilib", ".cpp"))
        read_source(path, interface);
    for (const fs::path &path : files(root / "docs/man", ".3"))
        interface.pages[path.filename()] = read_file(path);
    const std::string mock = read_file(root / "include/velt/mock.h");
    static const Pattern function("#define (V_Mock\\w+)\\(");
    for (auto it = function.search(mock); it; it = function.search(mock, it->end))
        interface.functions[it->groups[1] + ".3"] = "velt-mock.3";
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
        return "extern " + text + call.extent;
    text += '(';
    for (const Parameter &parameter : call.parameters)
        text += (text.back() == '(' ? "" : ", ") + parameter.type + parameter.name;
    return text + (call.parameters.empty() ? "void)" : ")");
}

} // namespace velt::calls
