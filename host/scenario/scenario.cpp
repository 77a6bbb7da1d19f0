#include "host/scenario/scenario.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "common/file.h"
#include "common/nearest.h"
#include "host/json/values.h"
#include "host/scenario/pattern.h"
#include "host/values/status.h"
#include "host/values/text.h"

namespace velt::host
{
namespace
{

using std::chrono::milliseconds;

// The format of the files that this version reads.
constexpr std::int64_t format = 1;

// What an answer may be other than the fields of a result.
struct Word {
    std::string_view name;
    ExpectedCall::Answer answer;
};
constexpr Word words[] = {{"model", ExpectedCall::model},
                          {"none", ExpectedCall::nothing},
                          {"error", ExpectedCall::rpc_error},
                          {"half", ExpectedCall::half},
                          {"close", ExpectedCall::closed}};

const Word *word_for(std::string_view name)
{
    const auto *found = std::ranges::find(words, name, &Word::name);
    return found == std::end(words) ? nullptr : found;
}

// Reads a scenario, collects the mistakes, and goes on.
class Reader
{
public:
    Reader(Scenario &into, milliseconds turn_limit, std::vector<JsonError> &problems)
        : into_(into), turn_limit_(turn_limit), problems_(problems)
    {
    }

    void read(const JsonNode &root)
    {
        // Editors find the schema of a file by "$schema".
        need_names(root, {"$schema", "format", "language", "others", "order", "steps"});
        if (const JsonNode *schema = root.member("$schema"))
            attempt(problems_, [&] { static_cast<void>(schema->text()); });
        if (const JsonNode *of = root.member("format"))
            attempt(problems_, [&] { check_format(*of); });
        if (const JsonNode *language = root.member("language"))
            attempt(problems_, [&] {
                const IntT named = language_of(*language);
                if (into_.language == 0)
                    into_.language = named;
            });
        text_.emplace(into_.language);
        choose(root, "others", into_.others_by_model, {{"fail", false}, {"model", true}});
        choose(root, "order", into_.in_order, {{"any", false}, {"file", true}});
        const JsonNode *steps = root.member("steps");
        if (!steps)
            throw JsonError(root, "\"steps\" is missing");
        read_steps(*steps, into_.calls, &into_.host_calls);
    }

    void read_one(const JsonNode &step)
    {
        into_.others_by_model = true;
        text_.emplace(into_.language);
        read_step(step, into_.calls, &into_.host_calls);
    }

private:
    static void check_format(const JsonNode &node)
    {
        if (const auto number = node.integer(1, INT64_MAX); !number || *number > format)
            throw JsonError(node, number ? "a newer version has written this file"
                                         : "the format is a number");
    }

    static IntT language_of(const JsonNode &node)
    try {
        return language_number(node.text());
    } catch (const JsonError &) {
        throw;
    } catch (const Error &error) {
        throw JsonError(node, error.what());
    }

    void need_names(const JsonNode &node, std::initializer_list<std::string_view> names)
    {
        node.need(JsonNode::object);
        expect_names(node, {names.begin(), names.size()}, problems_);
    }

    // Sets `where` to the choice that the member names, if the node has it.
    template <class Choice>
    void choose(const JsonNode &node, const char *member, Choice &where,
                std::initializer_list<std::pair<std::string_view, Choice>> choices)
    {
        const JsonNode *given = node.member(member);
        if (!given)
            return;
        attempt(problems_, [&] {
            std::string all;
            for (const auto &[name, choice] : choices) {
                if (given->is_text() && given->text() == name) {
                    where = choice;
                    return;
                }
                all += (all.empty() ? "" : " or ") + in_quotes(name);
            }
            throw JsonError(*given, all + " is needed here");
        });
    }

    // Host calls are refused where there is no room for them.
    void read_steps(const JsonNode &node, std::vector<ExpectedCall> &calls,
                    std::vector<HostCall> *host_calls)
    {
        node.need(JsonNode::array);
        for (const auto &each : node.members)
            attempt(problems_, [&] { read_step(each.second, calls, host_calls); });
    }

    void read_step(const JsonNode &step, std::vector<ExpectedCall> &calls,
                   std::vector<HostCall> *host_calls)
    {
        step.need(JsonNode::object);
        if (step.member("call") && step.member("callback"))
            throw JsonError(step, "a step has \"call\" or \"callback\", not both");
        if (step.member("call"))
            calls.push_back(read_call(step));
        else if (host_calls && step.member("callback"))
            host_calls->push_back(read_host_call(step));
        else
            refuse_step(step, host_calls ? std::span(kinds) : std::span(kinds, 1));
    }

    static constexpr std::string_view kinds[] = {"call", "callback"};

    [[noreturn]] static void refuse_step(const JsonNode &step,
                                         std::span<const std::string_view> among)
    {
        std::string needed, hint;
        for (const std::string_view kind : among)
            needed += (needed.empty() ? "" : " or ") + in_quotes(kind);
        for (const auto &[name, value] : step.members) {
            Nearest nearest(name);
            for (const std::string_view kind : among)
                nearest.consider(kind);
            if (hint.empty() && !nearest.hint().empty())
                hint = ", not " + in_quotes(name) + nearest.hint();
        }
        throw JsonError(step, "a step needs " + needed + hint);
    }

    std::vector<HostCall> read_host_calls(const JsonNode &step, const std::string &member)
    {
        std::vector<HostCall> read;
        if (const JsonNode *list = step.member(member))
            attempt(problems_, [&] {
                list->need(JsonNode::array);
                for (const auto &each : list->members)
                    attempt(problems_, [&] {
                        read.push_back(read_host_call(each.second, member == "before"));
                    });
            });
        return read;
    }

    std::string place(const JsonNode &node) const
    {
        return into_.path + ":" + std::to_string(node.line) + ":" + std::to_string(node.column);
    }

    const Procedure *find(const JsonNode &name, std::span<const Procedure> among)
    {
        const std::string &wanted = name.text();
        Nearest nearest(wanted);
        for (const Procedure &each : among) {
            if (each.name == wanted)
                return &each;
            nearest.consider(each.name);
        }
        const auto others =
            among.data() == host_procedures().data() ? client_procedures() : host_procedures();
        if (std::ranges::find(others, wanted, &Procedure::name) != others.end())
            throw JsonError(name, in_quotes(wanted) +
                                      (others.data() == host_procedures().data()
                                           ? " is called by clients, not by the host"
                                           : " is called by the host: it stands in \"callback\""));
        throw JsonError(name, "no procedure is called " + in_quotes(wanted) +
                                  hint_of_call(wanted).value_or(nearest.hint()));
    }

    // Checks that the node is such a message, or a part of one. Texts of what is expected may be
    // parts, too.
    void check(const MessageType &type, const JsonNode &node, bool is_expected = false)
    {
        if (!type.shape)
            throw JsonError(node, "this procedure has none");
        Message scratch(type);
        const auto convert = [&](const JsonNode &each) {
            const JsonNode *part = is_expected ? contained(each) : nullptr;
            if (part && part->text().empty())
                throw JsonError(*part, "every text contains an empty one: leave the field out");
            if (is_expected && !part && !each.is_text())
                throw JsonError(each,
                                "a text in quotes, or {\"contains\": TEXT} with a part of it, "
                                "is needed here");
            const std::string &utf8 = (part ? *part : each).text();
            try {
                return text_->from_utf8(utf8);
            } catch (const std::runtime_error &error) {
                throw JsonError(each, error.what());
            }
        };
        attempt(problems_, [&] {
            read_value(*type.shape, scratch.address(), node, convert, problems_, Missing::zero);
        });
    }

    HostCall read_host_call(const JsonNode &node, bool is_before_answer = false)
    {
        need_names(node, {"callback", "arguments", "steps", "end"});
        const JsonNode *name = node.member("callback");
        if (!name)
            throw JsonError(node, "\"callback\" is missing");
        HostCall call;
        call.place = place(node);
        call.procedure = find(*name, client_procedures());
        call.in_order = into_.in_order;
        if ((call.arguments = node.member("arguments")))
            check(call.procedure->argument, *call.arguments);
        // A client that is told to quit hands nothing back.
        if (call.procedure->number == callback::vq_api_quit_1::number)
            call.end = HostCall::exited;
        choose(node, "end", call.end,
               {{"handed back", HostCall::handed_back},
                {"exited", HostCall::exited},
                {"any", HostCall::any}});
        if (const JsonNode *steps = node.member("steps"))
            attempt(problems_, [&] { read_steps(*steps, call.calls, nullptr); });
        const char *const no_turn =
            !is_handed_back(call.procedure->number)
                ? "a client does not answer a notification of the old style, so that nothing is in "
                  "it; leave \"steps\" and \"end\" out"
            : is_before_answer
                ? "the client takes what is sent before an answer when it has handed control back; "
                  "expect what it does then among the other steps"
                : nullptr;
        for (const char *member : {"steps", "end"})
            if (no_turn && node.member(member))
                problems_.emplace_back(*node.member(member), no_turn);
        return call;
    }

    ExpectedCall read_call(const JsonNode &node)
    {
        need_names(node, {"call", "arguments", "times", "nth", "answer", "delay", "before", "in",
                          "after"});
        const JsonNode &name = *node.member("call");
        const bool any = name.is_text() && name.text() == "*";
        ExpectedCall call{place(node), any ? nullptr : find(name, host_procedures())};
        if (call.procedure && is_of_start(call.procedure->name))
            throw JsonError(name, "how a client comes up is between it and the host alone");
        if ((call.arguments = node.member("arguments"))) {
            if (!call.procedure)
                throw JsonError(*call.arguments, "calls of any procedure have no arguments alike");
            check(call.procedure->argument, *call.arguments, true);
        }
        if (const JsonNode *times = node.member("times"))
            attempt(problems_, [&] {
                call.times = read_times(*times);
                call.bounded = true;
            });
        if (const JsonNode *nth = node.member("nth"))
            attempt(problems_, [&] {
                call.nth = count(*nth, 1);
                if (call.bounded)
                    throw JsonError(*nth, "a step has \"nth\" or \"times\", not both");
            });
        if (const JsonNode *delay = node.member("delay"))
            attempt(problems_, [&] { call.delay = read_delay(*delay); });
        // A step that only expects a call is not to change what is answered.
        if (into_.others_by_model)
            call.answer = ExpectedCall::model;
        if (const JsonNode *answer = node.member("answer"))
            attempt(problems_, [&] { read_answer(*answer, call); });
        call.before = read_host_calls(node, "before");
        call.in = read_host_calls(node, "in");
        using procedure::api_vq_modal_dialog_1;
        if (node.member("in") && call.procedure &&
            call.procedure->number != api_vq_modal_dialog_1::number)
            problems_.emplace_back(*node.member("in"),
                                   "only within " + std::string(api_vq_modal_dialog_1::name) +
                                       " a client can be called");
        call.after = read_host_calls(node, "after");
        return call;
    }

    static unsigned count(const JsonNode &node, unsigned least)
    {
        if (const auto number = node.integer(least, UINT32_MAX))
            return static_cast<unsigned>(*number);
        throw JsonError(node,
                        "a whole number from " + std::to_string(least) + " on is needed here");
    }

    // A number, [least, most], or "any".
    static Times read_times(const JsonNode &node)
    {
        if (node.is_text() && node.text() == "any")
            return {0, UINT32_MAX};
        if (node.type != JsonNode::array) {
            if (const auto times = node.integer(0, UINT32_MAX))
                return {static_cast<unsigned>(*times), static_cast<unsigned>(*times)};
        }
        if (node.members.size() != 2)
            throw JsonError(node, "a number, [LEAST, MOST] or \"any\" is needed here");
        const Times times{count(node.members[0].second, 0), count(node.members[1].second, 0)};
        if (times.least > times.most)
            throw JsonError(node, "the most is less than the least");
        return times;
    }

    milliseconds read_delay(const JsonNode &node) const
    {
        constexpr double longest = 86400;
        double seconds = -1;
        if (const auto whole = node.integer(0, static_cast<std::int64_t>(longest)))
            seconds = static_cast<double>(*whole);
        else if (const auto *fraction = std::get_if<double>(&node.value))
            seconds = *fraction;
        if (!(seconds >= 0 && seconds <= longest))
            throw JsonError(node, "a number of seconds from 0 to 86400 is needed here");
        const milliseconds delay(std::lround(1000 * seconds));
        if (delay >= turn_limit_)
            throw JsonError(node, "a delay has to be shorter than the time limit of a turn, " +
                                      std::to_string(turn_limit_.count()) +
                                      " ms; --time-limit sets it");
        return delay;
    }

    void read_answer(const JsonNode &node, ExpectedCall &call)
    {
        if (const Word *word = node.is_text() ? word_for(node.text()) : nullptr) {
            call.answer = word->answer;
            return;
        }
        const bool of_text = call.procedure && call.procedure->result.shape &&
                             call.procedure->result.shape->kind == Shape::text;
        if (!call.procedure || (node.is_text() && !of_text))
            throw JsonError(node, std::string(call.procedure ? "the fields of the result, " : "") +
                                      "\"model\", \"none\", \"error\", \"half\" or \"close\" "
                                      "is needed here");
        call.answer = ExpectedCall::result;
        call.fields = &node;
        check(call.procedure->result, node);
    }

    Scenario &into_;
    milliseconds turn_limit_;
    std::vector<JsonError> &problems_;
    std::optional<SessionText> text_;
};

// Puts the numbers of statuses where answers have their names.
void number_statuses(JsonNode &node, std::vector<JsonError> &problems)
{
    const JsonNode *call = node.type == JsonNode::object ? node.member("call") : nullptr;
    const auto number = [&](JsonNode &name) {
        if (!name.is_text())
            return;
        const std::optional<IntT> status = status_named(name.text());
        if (!status)
            problems.emplace_back(name, no_status(name.text()));
        name.value = std::int64_t{status.value_or(0)};
    };
    for (auto &[name, part] : node.members) {
        number_statuses(part, problems);
        if (name != "answer" || !call || !call->is_text())
            continue;
        for (auto &[field, value] : part.members)
            if (field == "status")
                number(value);
        const auto all = host_procedures();
        const auto found = std::ranges::find(all, call->text(), &Procedure::name);
        if (found != all.end() && found->result.shape &&
            found->result.shape->kind == Shape::number &&
            !(part.is_text() && word_for(part.text())))
            number(part);
    }
}

Scenario parse(std::string_view text, const std::string &path, IntT language,
               milliseconds turn_limit, void (Reader::*read)(const JsonNode &root))
{
    Scenario scenario;
    scenario.path = path;
    scenario.language = language;
    const auto root = std::make_shared<JsonNode>();
    read_nodes(text, path, *root, [&](std::vector<JsonError> &problems) {
        number_statuses(*root, problems);
        (Reader(scenario, turn_limit, problems).*read)(*root);
    });
    scenario.root = root;
    return scenario;
}

} // namespace

Scenario parse_scenario(std::string_view text, const std::string &path, IntT language,
                        milliseconds turn_limit)
{
    return parse(text, path, language, turn_limit, &Reader::read);
}

Scenario parse_step(std::string_view text, const std::string &path, IntT language)
{
    return parse(text, path, language, no_limit, &Reader::read_one);
}

Scenario read_scenario(const std::string &path, IntT language, milliseconds turn_limit)
try {
    return parse_scenario(read_plain_file(path), path, language, turn_limit);
} catch (const Error &) {
    throw;
} catch (const std::runtime_error &error) {
    misuse(std::string("cannot read the scenario ") + error.what());
}

} // namespace velt::host
