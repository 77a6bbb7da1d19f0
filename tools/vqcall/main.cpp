// vqcall: lists and describes the procedures of the host, and calls one.

#include <iostream>
#include <optional>

#include "apilib/unix/descriptors.h"
#include "common/charset.h"
#include "common/printable.h"
#include "common/program.h"
#include "common/words.h"
#include "host/json/writer.h"
#include "tools/vqcall/fields.h"
#include "tools/vqcall/partners.h"
#include "tools/vqcall/procedures.h"
#include "velt/api/facts.h"

using namespace velt;
using host::Shape;

namespace
{

constexpr Program program = {"vqcall",
                             R"(usage: vqcall list [PATTERN]
       vqcall describe NAME
       vqcall call NAME [FIELD=VALUE...] --book FILE [OPTIONS]
       vqcall call NAME [FIELD=VALUE...] --session PROGRAM[@HOST] [OPTIONS]

Lists the procedures of the host that clients call, tells of one, or calls it. NAME is
that of a procedure, as in api_vq_get_int_1, or of a call of the library, V_ApiGetInt.

  vqcall call V_ApiGetInt docId=0 objId=0 propIdent.num=24 --book alice.json

Fields go by their path; what is left out is 0 or empty. A text stands as it is; a list
or a structure is JSON. The answer is written in the same form.

  --book FILE          let the model of the reference host answer, on this book
  --save               save the book and its documents after a call that is not refused
  --answer WORDS       the answers to the next questions that the call asks, one to a
                       word: '"in two words"', 7, cancel
  --language NAME      the session's language, whatever the book says
  --words FILE         check spelling by this word list
  --session PROGRAM[@HOST]  let the host of a running session answer; "session", a
                       command of vqhost, tells the number
  --time-limit SECONDS wait so long for an answer of that host, also where a person is
                       asked; 60, from 1 to 604800
  --json               write the answer as JSON
  --help               show this text
  --version            show the version

Exit status: 0 done, 1 refused, not answered or not saved, 2 wrong usage, or a file
that cannot be read.
)"};

struct Arguments {
    call::BookOptions book;
    std::string session;
    std::optional<UIntT> time_limit;
    bool save = false, json = false;
};

std::vector<Option> options_into(Arguments &arguments)
{
    return {Option::into(0, "book", arguments.book.path),
            Option::flag(0, "save", arguments.save),
            {0, "answer", Option::value_or_empty,
             [&](const std::string &words) {
                 // An empty word is an empty text.
                 const std::string all = words.empty() ? "\"\"" : words;
                 for (const host::Prepared &each : host::read_answers(all))
                     arguments.book.answers.push_back(each);
             },
             true},
            Option::into(0, "language", arguments.book.language, language_names()),
            Option::into(0, "words", arguments.book.words),
            Option::into(0, "session", arguments.session),
            {0, "time-limit", Option::value,
             [&](const std::string &text) {
                 const auto seconds = number<UIntT>(text);
                 if (seconds < 1 || seconds > 604800)
                     misuse("--time-limit " + text + ": from 1 to 604800");
                 arguments.time_limit = seconds;
             }},
            Option::flag(0, "json", arguments.json)};
}

// Reads the argument of a call. Throws Error with a line for each mistake.
void read_argument(const call::ProcedureFacts &facts, const std::vector<std::string> &words,
                   const host::SessionText &text, host::Message &into)
{
    if (words.empty())
        return; // all of it is zero
    const std::string json = call::json_of(facts.argument, words);
    std::vector<host::JsonError> problems;
    host::JsonNode root;
    attempt(problems, [&] {
        problems = host::parse_json(json, root);
        const auto from_utf8 = [&](const host::JsonNode &node) {
            try {
                return text.from_utf8(node.text());
            } catch (const host::JsonError &) {
                throw;
            } catch (const std::runtime_error &error) {
                throw host::JsonError(node, error.what());
            }
        };
        read_value(*facts.procedure->argument.shape, into.address(), root, from_utf8, problems,
                   host::Missing::zero);
    });
    std::string all;
    for (const host::JsonError &each : problems)
        all += (all.empty() ? "" : "\n") + std::string(each.what());
    if (!all.empty())
        misuse(all);
}

// Returns a line PATH=VALUE for each part of the value.
std::string lines_of(const Shape &shape, void *value, const std::string &path,
                     const host::SessionText &text)
{
    const std::string left = path.empty() ? "" : path + "=";
    std::size_t count = 0;
    switch (shape.kind) {
    case Shape::number:
        return left + std::to_string(shape.get(value)) + '\n';
    case Shape::text: {
        const StringT bytes = *static_cast<StringT *>(value);
        return left + text.shown(bytes ? bytes : "") + '\n';
    }
    case Shape::pointer: {
        void *const to = shape.elements(value, count);
        return to ? lines_of(*shape.element, to, path, text) : left + "null\n";
    }
    case Shape::list: {
        auto *const first = static_cast<std::byte *>(shape.elements(value, count));
        std::string lines;
        for (std::size_t i = 0; i < count; i++)
            lines += lines_of(*shape.element, first + i * shape.element->size,
                              path + "[" + std::to_string(i) + "]", text);
        return count == 0 ? left + "[]\n" : lines;
    }
    case Shape::structure:
        break;
    }
    std::string lines;
    shape.each_field(value, [&](const char *name, const Shape &of, void *field) {
        lines += lines_of(of, field, path + (path.empty() ? "" : ".") + name, text);
    });
    return lines;
}

std::string json_text(const Shape *shape, void *value, const host::SessionText &text)
{
    host::JsonWriter writer(host::JsonWriter::one_line);
    if (shape)
        write_value(*shape, value, writer, [&](const char *bytes) { return text.to_utf8(bytes); });
    else
        writer.null();
    return printable_json(writer.take()) + '\n';
}

// Returns the status with which the call is refused, or 0. A bare integer is a status or an answer,
// of which only -1 is negative: that of a question that was cancelled.
IntT refusal(const host::Procedure &procedure, void *result)
{
    const IntT *const status = procedure.result.status(result);
    const bool is_bare = procedure.result.shape && procedure.result.shape->kind == Shape::number;
    return !status || (is_bare && *status >= -1) ? 0 : *status;
}

ExitCode make_call(std::vector<std::string> words, const Arguments &arguments)
{
    if (words.empty())
        misuse("name the procedure to call; vqcall list has them all");
    const call::ProcedureFacts &facts = call::find_procedure(words[0]);
    words.erase(words.begin());
    if (facts.is_callback)
        misuse(std::string(facts.procedure->name) +
               " is a client's, which the host calls; vqcall calls the host");
    const bool on_book = !arguments.book.path.empty();
    if (on_book == !arguments.session.empty())
        misuse(on_book ? "one host answers, that of --book or that of --session"
                       : "name who is to answer, by --book or by --session");
    if (!on_book && (arguments.save || !arguments.book.answers.empty() ||
                     !arguments.book.language.empty() || !arguments.book.words.empty()))
        misuse("--save, --answer, --language and --words go with --book");
    if (on_book && arguments.time_limit)
        misuse("--time-limit goes with --session");

    const host::Procedure &procedure = *facts.procedure;
    constexpr UIntT usual_limit = 60;
    const auto partner =
        on_book ? call::open_book(arguments.book)
                : call::join_session(arguments.session, arguments.time_limit.value_or(usual_limit));
    const host::SessionText text = partner->text();
    host::Message argument(procedure.argument), result(procedure.result);
    read_argument(facts, words, text, argument);
    partner->call(procedure, argument, result);

    const Shape *const shape = procedure.result.shape;
    if (arguments.json)
        show(json_text(shape, result.address(), text));
    else if (shape)
        show(lines_of(*shape, result.address(), "", text));
    partner->check_asked();
    if (const IntT status = refusal(procedure, result.address()))
        fail(std::string(procedure.name) + " is refused with " + std::to_string(status) + ": " +
             V_ApiErrorText(status));
    if (arguments.save)
        partner->save();
    return done;
}

// Returns what may follow the words, for a shell.
std::vector<std::string> next_words(const std::vector<std::string> &before)
{
    if (before.empty())
        return {"list", "describe", "call"};
    if (before.size() == 1)
        return call::procedure_names(before[0] != "call");
    if (before[0] != "call")
        return {};
    return call::field_paths(call::find_procedure(before[1]).argument);
}

ExitCode run(int argc, char **argv)
{
    Arguments arguments;
    std::string given;
    auto options = options_into(arguments);
    for (Option &each : options)
        each.take = [&given, name = shown(each), take = each.take](const std::string &value) {
            given = name;
            take(value);
        };
    auto words = parse_options(program, argc, argv, options, next_words);
    const std::string verb = words.empty() ? "" : words[0];
    if (!words.empty())
        words.erase(words.begin());
    if (verb == "call")
        return make_call(std::move(words), arguments);
    if (!given.empty() && (verb == "list" || verb == "describe"))
        misuse(verb + " takes no options; " + given + " is one of call");
    if (verb == "list" && words.size() <= 1) {
        show(call::list(words.empty() ? "" : words[0]));
        return done;
    }
    if (verb == "describe" && words.size() == 1) {
        show(call::describe(call::find_procedure(words[0])));
        return done;
    }
    misuse(verb == "list"       ? "list takes one pattern"
           : verb == "describe" ? "describe takes the name of one procedure"
           : verb.empty()       ? "there are list, describe and call"
                                : in_quotes(verb) + ": there are list, describe and call");
}

} // namespace

int main(int argc, char **argv)
{
    fill_standard_descriptors();
    return run_program(program, [=] { return run(argc, argv); });
}
