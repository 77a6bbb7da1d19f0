#include "tools/vqcall/procedures.h"

#include <fnmatch.h>

#include <algorithm>

#include "common/nearest.h"
#include "common/printable.h"
#include "common/words.h"
#include "tools/vqcall/fields.h"

namespace velt::call
{
namespace
{

constexpr User users[] = {
#define V_CALL_OF(stub, name, declaration) {#stub, name, declaration},
#include "calls.def"
};

constexpr std::string_view modelled[] = {
#define V_ANSWER(stub) #stub,
#include "velt/tables/answers.def"
};

// Two columns are this far apart.
constexpr std::size_t gap = 2;

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

std::string names_of_users(std::string_view stub)
{
    std::vector<std::string> names;
    for (const User &each : users_of(stub))
        names.emplace_back(each.name);
    return names.empty() ? "(its stub alone)" : joined(names);
}

// Returns what the name has of its own.
std::string_view distinct(std::string_view name)
{
    for (const std::string_view before : {"V_Api", "api_vq_", "vq_api_"})
        if (name.starts_with(before))
            return name.substr(before.size());
    return name;
}

// Returns what helps with a name that no procedure and no call has.
std::string hint_of(const std::string &wanted)
{
    // A name that goes on behind one that there is may well mean that.
    constexpr std::size_t gone_on = 2;
    const std::string_view own = distinct(wanted);
    std::string nearest;
    std::size_t least = own.size() / 3 + 2;
    for (const std::string &each : procedure_names(true)) {
        const std::size_t whole = edit_distance(own, distinct(each));
        const std::size_t distance = wanted.starts_with(each) ? std::min(whole, gone_on) : whole;
        if (distance < least ||
            (distance == least && each.size() > nearest.size() && wanted.starts_with(each))) {
            least = distance;
            nearest = each;
        }
    }
    return nearest.empty() ? "; vqcall list has them all"
                           : "; do you mean " + in_quotes(nearest) + "?";
}

struct Line {
    std::string name, type, note;
};

// Adds a line for each field of the type, and for those of the structures in it.
void add_lines(std::string_view type, std::size_t depth, std::vector<Line> &lines)
{
    for (const Field &each : fields_of(type)) {
        const std::string kind = kind_of(each.type);
        const std::string when = each.when.empty() ? "" : "when " + each.when;
        lines.push_back({std::string(2 * depth, ' ') + each.name, each.type,
                         kind + (kind.empty() || when.empty() ? "" : ", ") + when});
        add_lines(kind.empty() ? each.type : kind.substr(kind.rfind(' ') + 1), depth + 1, lines);
    }
}

std::string layout(const char *what, std::string_view type)
{
    std::string text = padded(what, 10) + std::string(type == "void" ? "none" : type) + '\n';
    std::vector<Line> lines;
    add_lines(type, 1, lines);
    std::size_t name = 0, of = 0;
    for (const Line &each : lines) {
        name = std::max(name, each.name.size() + gap);
        of = std::max(of, each.type.size() + gap);
    }
    for (const Line &each : lines)
        text += padded(each.name, name) +
                (each.note.empty() ? each.type : padded(each.type, of) + each.note) + '\n';
    return text;
}

} // namespace

std::span<const ProcedureFacts> procedures()
{
    static const std::vector<ProcedureFacts> all = [] {
        std::vector<ProcedureFacts> rows = {
#define V_PROCEDURE(number, stub, argument, result) {nullptr, #argument, #result},
#include "velt/tables/procedures.def"
#define V_CALLBACK(number, handler, argument) {nullptr, #argument, "void", false, true},
#include "velt/tables/callbacks.def"
        };
        const auto of_host = host::host_procedures(), of_client = host::client_procedures();
        for (std::size_t i = 0; i < rows.size(); i++) {
            rows[i].procedure = i < of_host.size() ? &of_host[i] : &of_client[i - of_host.size()];
            rows[i].is_modelled =
                std::ranges::find(modelled, rows[i].procedure->name) != std::end(modelled);
        }
        return rows;
    }();
    return all;
}

std::vector<User> users_of(std::string_view stub)
{
    std::vector<User> found;
    std::ranges::copy_if(users, std::back_inserter(found),
                         [&](const User &each) { return each.stub == stub; });
    return found;
}

const ProcedureFacts &find_procedure(const std::string &name)
{
    std::vector<const ProcedureFacts *> found;
    for (const ProcedureFacts &each : procedures()) {
        const auto has_name = [&](const User &user) { return user.name == name; };
        if (each.procedure->name == name ||
            (!each.is_callback && std::to_string(each.procedure->number) == name))
            return each;
        if (std::ranges::any_of(users_of(each.procedure->name), has_name))
            found.push_back(&each);
    }
    if (found.size() == 1)
        return *found[0];
    if (found.empty())
        misuse("there is no procedure " + in_quotes(name) + hint_of(name));
    std::vector<std::string> stubs;
    for (const ProcedureFacts *each : found)
        stubs.emplace_back(each->procedure->name);
    misuse(name + " uses several procedures; name one: " + joined(stubs));
}

std::vector<std::string> procedure_names(bool with_callbacks)
{
    std::vector<std::string> names;
    for (const ProcedureFacts &each : procedures())
        if (with_callbacks || !each.is_callback)
            names.emplace_back(each.procedure->name);
    for (const User &each : users)
        names.emplace_back(each.name);
    return names;
}

std::string list(const std::string &pattern)
{
    const bool has_wildcards = pattern.find_first_of("*?[") != pattern.npos;
    const std::string wanted = has_wildcards ? pattern : "*" + pattern + "*";
    const auto matches = [&](std::string_view name) {
        return fnmatch(wanted.c_str(), std::string(name).c_str(), FNM_CASEFOLD) == 0;
    };
    std::size_t width = 0;
    for (const ProcedureFacts &each : procedures())
        width = std::max(width, each.procedure->name.size() + gap);
    std::string text;
    for (const ProcedureFacts &each : procedures()) {
        const std::string_view stub = each.procedure->name;
        const auto all = users_of(stub);
        const std::string number = std::to_string(each.procedure->number);
        if (pattern == number || matches(stub) || std::ranges::any_of(all, matches, &User::name))
            text += number + std::string(gap, ' ') + padded(std::string(stub), width) +
                    (each.is_callback ? "(a client's: the host calls it)" : names_of_users(stub)) +
                    '\n';
    }
    if (text.empty())
        fail("no procedure or call has a name like " + in_quotes(pattern) +
             "; in a pattern, * and ? stand for what may differ");
    return text;
}

std::string describe(const ProcedureFacts &of)
{
    const std::string stub(of.procedure->name), number = std::to_string(of.procedure->number);
    if (of.is_callback)
        return stub + ", procedure " + number + " of the clients, which the host calls\n\n" +
               layout("Argument", of.argument) + layout("Result", of.result) +
               "Example   {\"callback\": \"" + stub + "\"" +
               (of.argument == "void" ? "" : ", \"arguments\": " + example(of.argument)) +
               "}, in a scenario\n";
    std::string text = stub + ", procedure " + number +
                       (of.is_modelled ? "" : "; the reference host does not support it") + "\n\n";
    for (const User &each : users_of(stub))
        text += "Call      " +
                std::string(each.declaration.empty() ? each.name : each.declaration) +
                (each.declaration.empty() ? ", the library's own\n" : "\n");
    text +=
        layout("Argument", of.argument) + layout("Result", of.result) + "Example   vqcall call ";
    text += stub + " --book BOOK.json";
    const auto words = example_words(of.argument);
    for (const std::string &word : words)
        text += " " + word;
    return text +
           (words.empty() ? "\n" : "\n          with values of your own in place of these\n");
}

} // namespace velt::call
