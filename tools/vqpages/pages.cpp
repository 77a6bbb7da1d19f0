// The reference as one page of Markdown, and as manual pages.

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

#include "tools/vqpages/calls.h"
#include "tools/vqpages/pattern.h"

namespace velt::calls
{
namespace
{

// Says in one sentence what a call returns for each outcome, as far as its shape determines it.
std::string outcomes(const Call &call)
{
    if (call.answered.empty())
        return "";
    if (call.answered == "nothing")
        return "Returns nothing; a failure is in VA_errno.";
    std::string text = "Returns " + call.answered + " when answered";
    if (!call.refused.empty())
        text += "; " + call.refused + " when refused";
    return text + "; " + call.unanswered + " when not answered.";
}

std::string release(const Call &call)
{
    return call.release.empty() ? "" : "The caller releases it with " + call.release + ".";
}

std::string about(const Call &call)
{
    return call.comment + ' ' + outcomes(call) + ' ' + release(call);
}

const char *model(const Procedure &procedure)
{
    return procedure.is_modelled ? "modelled" : "not supported";
}

// Formats text for a manual page: each sentence begins a line, and no line is longer than 80 bytes.
std::string flowed(const std::string &text)
{
    std::istringstream words(text);
    std::string out, line, word;
    const auto flush = [&] {
        if (!line.empty())
            out += line + '\n';
        line.clear();
    };
    while (words >> word) {
        if (line.size() + 1 + word.size() > 78)
            flush();
        if (line.empty() && (word[0] == '.' || word[0] == '\''))
            line = "\\&";
        else if (!line.empty())
            line += ' ';
        // Names are not hyphenated.
        if (word.find('_') != std::string::npos)
            line += "\\%";
        for (char c : word)
            line += c == '\\' ? std::string("\\e") : std::string(1, c);
        if (word.ends_with('.') || word.ends_with(".)"))
            flush();
    }
    flush();
    return out;
}

// Replaces names of the headers that have a manual page by its name; others stand with their
// folder.
std::string referring(const Interface &interface, std::string text)
{
    for (const Family &family : interface.families) {
        const std::string folder = family.is_api ? "api/" : "vde/";
        const Pattern header(
            ("(^|[ (\"])(velt/)?(" + folder + ")?" + family.name + "\\.h\\b").c_str());
        text = header.replace(text, "\\1velt-" + family.name + "(3)");
    }
    return text;
}

// One argument of a macro.
std::string one_argument(const std::string &text)
{
    static const Pattern quote("\"");
    return '"' + quote.replace(text, "\"\"") + '"';
}

std::string uncapitalised(std::string text)
{
    if (text.size() > 1 && std::islower(static_cast<unsigned char>(text[1])))
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return text;
}

std::string upper(std::string text)
{
    std::ranges::transform(text, text.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

std::vector<Facts> numbers(const Family &family)
{
    std::vector<Facts> all = family.name == "facts" ? facts() : std::vector<Facts>();
    std::ranges::copy(family.numbers, std::back_inserter(all));
    return all;
}

std::string man_page(const Interface &interface, const Family &family)
{
    const std::string page = "velt-" + family.name;
    std::ostringstream out;
    out << ".Dd November 25, 2026\n.Dt " << upper(page) << " 3\n.Os\n.Sh NAME\n.Nm " << page;
    for (const Call &call : family.calls)
        out << " ,\n.Nm " << call.name;
    for (const Structure &each : family.structures)
        out << " ,\n.Nm " << each.name;
    const std::string library = family.is_api ? "api" : "vde";
    out << "\n.Nd " << uncapitalised(family.about) << "\n.Sh LIBRARY\n"
        << "Programs are linked with what\n.Ql pkg-config --libs velt-" << library
        << "\nprints, or by CMake with\n.Ql Velt::" << library << " .\n.Sh SYNOPSIS\n.In velt/"
        << library << ".h\n";
    for (const Call &call : family.calls) {
        if (!call.is_function) {
            out << ".Vt extern " << call.type << ' ' << call.name << call.extent << " ;\n";
            continue;
        }
        out << ".Ft " << call.type << "\n.Fo " << call.name << '\n';
        for (const Parameter &parameter : call.parameters)
            out << ".Fa \"" << parameter.type << parameter.name << "\"\n";
        out << (call.parameters.empty() ? ".Fa void\n.Fc\n" : ".Fc\n");
    }
    out << ".Sh DESCRIPTION\n" << flowed(referring(interface, family.about + ". " + family.common));
    bool in_list = false;
    for (const Call &call : family.calls) {
        if (!call.note.empty())
            out << (in_list ? ".El\n" : "") << ".Pp\n" << flowed(call.note);
        if (!in_list || !call.note.empty())
            out << ".Bl -tag -width Ds\n";
        in_list = true;
        out << (call.is_function ? ".It Fn " : ".It Va ") << call.name
            << (call.remark.empty() ? "" : " Pq " + one_argument(call.remark)) << '\n';
        // What is said of several calls is said once, after the last.
        const bool is_last = &call == &family.calls.back();
        if (is_last || !call.stub.empty() || about(call) != about(*(&call + 1)))
            out << flowed(referring(interface, about(call)));
        if (call.stub.empty())
            continue;
        const Procedure &procedure = interface.procedure(call.stub);
        out << ".Pp\n"
            << flowed("Procedure " + std::to_string(procedure.number) + ", " + procedure.stub +
                      ". Argument: " + procedure.argument + ". Result: " + procedure.result +
                      ". Reference host: " + model(procedure) + ".");
    }
    out << ".El\n";
    if (!family.structures.empty()) {
        out << ".Ss Types\n.Bl -tag -width Ds\n";
        for (const Structure &each : family.structures)
            out << ".It Vt " << each.name << '\n'
                << flowed(each.comment +
                          (each.fields.empty() ? "" : " Fields: " + each.fields + '.'));
        out << ".El\n";
    }
    for (const Facts &each : numbers(family)) {
        out << ".Ss " << each.about << "\n.Bl -tag -width Ds\n";
        for (const auto &[name, number, meaning] : each.rows)
            out << ".It Dv " << name << " Pq " << number << '\n' << flowed(meaning);
        out << ".El\n";
    }
    std::string others;
    for (const Family &other : interface.families)
        if (&other != &family && other.is_api == family.is_api)
            others += (others.empty() ? "velt-" : ", velt-") + other.name + "(3)";
    // The names are plain text rather than cross-references, which checkers would look for among
    // the installed pages.
    out << ".Sh SEE ALSO\n" << flowed(others);
    return std::move(out).str();
}

std::string quoted(const std::string &text)
{
    return '`' + text + '`';
}

} // namespace

std::string markdown(const Interface &interface)
{
    std::ostringstream out;
    out << "# The calls\n\n"
           "Generated by `cmake --build build/release --target docs`; do not edit.\n\n"
           "Every call of the client library, by the header of `include/velt/api/` that declares\n"
           "it, with the procedure of the host behind it: argument and result structs, fields in\n"
           "wire order. The same stands in the manual, `man V_ApiOpen`, say.\n";
    for (const Family &family : interface.families) {
        if (!family.is_api)
            continue;
        out << "\n## " << family.name << "\n\n" << family.about << ".";
        if (!family.common.empty())
            out << "\n\n" << family.common;
        out << '\n';
        if (!family.structures.empty())
            out << "\n| Type | Fields | Meaning |\n|---|---|---|\n";
        for (const Structure &each : family.structures)
            out << "| " << quoted(each.name) << " | "
                << (each.fields.empty() ? "" : quoted(each.fields)) << " | " << each.comment
                << " |\n";
        for (const Call &call : family.calls) {
            out << "\n### " << call.name << "\n\n"
                << quoted(signature(call)) << "\n\n"
                << call.comment << '\n';
            if (!call.answered.empty())
                out << outcomes(call) << '\n';
            if (!call.release.empty())
                out << release(call) << '\n';
            if (call.stub.empty())
                continue;
            const Procedure &procedure = interface.procedure(call.stub);
            out << "\nProcedure " << procedure.number << ' ' << quoted(procedure.stub)
                << ", argument " << quoted(procedure.argument) << ", result "
                << quoted(procedure.result) << ".\nReference host: " << model(procedure) << ".\n";
        }
    }
    for (const Facts &each : facts()) {
        out << "\n## " << each.about << "\n\n| Name | Number | Meaning |\n|---|---|---|\n";
        for (const auto &[name, number, meaning] : each.rows)
            out << "| " << quoted(name) << " | " << number << " | " << meaning << " |\n";
    }
    out << "\n## Procedures of the host\n\n| Number | Stub | Called by | Reference host |\n"
           "|---|---|---|---|\n";
    for (const Procedure &procedure : interface.procedures) {
        out << "| " << procedure.number << " | " << quoted(procedure.stub) << " | ";
        const char *separator = "";
        for (const std::string &user : procedure.users) {
            out << separator << quoted(user);
            separator = ", ";
        }
        out << (procedure.has_call ? "" : "its stub alone") << " | " << model(procedure) << " |\n";
    }
    return std::move(out).str();
}

std::string table(const Interface &interface)
{
    std::ostringstream out;
    out << "/* Generated; do not edit. */\n";
    for (const Procedure &procedure : interface.procedures)
        for (const std::string &user : procedure.users) {
            std::string declaration;
            for (const Family &family : interface.families)
                for (const Call &call : family.calls)
                    if (call.name == user)
                        declaration = signature(call);
            out << "V_CALL_OF(" << procedure.stub << ", \"" << user << "\", \"" << declaration
                << "\")\n";
        }
    out << "#undef V_CALL_OF\n";
    return std::move(out).str();
}

std::map<std::string, std::string> man_pages(const Interface &interface)
{
    std::map<std::string, std::string> pages = interface.pages;
    for (const Family &family : interface.families)
        pages["velt-" + family.name + ".3"] = man_page(interface, family);
    return pages;
}

std::map<std::string, std::string> man_aliases(const Interface &interface)
{
    std::map<std::string, std::string> aliases = interface.functions;
    for (const Family &family : interface.families) {
        const std::string page = "velt-" + family.name + ".3";
        for (const Call &call : family.calls)
            aliases[call.name + ".3"] = page;
        for (const Structure &each : family.structures)
            aliases[each.name + ".3"] = page;
        for (const Facts &each : numbers(family))
            for (const Facts::Fact &row : each.rows)
                aliases[row.name + ".3"] = page;
    }
    return aliases;
}

} // namespace velt::calls
