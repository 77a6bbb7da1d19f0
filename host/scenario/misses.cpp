#include "host/scenario/misses.h"

#include <algorithm>

#include "common/nearest.h"
#include "host/scenario/pattern.h"
#include "host/trace/trace.h"

namespace velt::host
{
namespace
{

std::string name_of(const ExpectedCall &step)
{
    return step.procedure ? std::string(step.procedure->name) : "any call";
}

std::string times(const ExpectedCall &step)
{
    if (step.nth > 0)
        return "the call number " + std::to_string(step.nth) +
               " of those that no earlier step takes";
    const auto &[least, most] = step.times;
    if (most == UINT32_MAX)
        return least == 0 ? "any number of times" : "at least " + std::to_string(least) + " times";
    if (least != most)
        return std::to_string(least) + " to " + std::to_string(most) + " times";
    return most == 1 ? "once" : std::to_string(most) + " times";
}

std::string use(const ExpectedCall &step)
{
    if (step.nth == 0 && step.times.most == 0)
        return "must not come here";
    const unsigned came = step.nth > 0 ? step.seen : step.used;
    return "expected " + times(step) + ", came " +
           (came == 1 ? "once" : std::to_string(came) + " times");
}

std::vector<Difference> differences(const ExpectedCall &step, const Call &call,
                                    const SessionText &text)
{
    const Shape *shape = call.procedure.argument.shape;
    if (!step.arguments || !shape)
        return {};
    return velt::host::differences(*shape, call.argument, *step.arguments, text);
}

std::string lines_of(const std::vector<Difference> &all)
{
    std::string lines;
    for (const auto &[path, is, wanted] : all)
        lines += (path.empty() ? "" : "\n    " + path + ":") + "\n      is       " + is +
                 "\n      expected " + wanted;
    return lines;
}

void note_differences(Instead &instead, const std::vector<Difference> &all)
{
    if (all.size() < instead.differences)
        instead = {all.empty() ? "" : "; the nearest call that came differs in" + lines_of(all),
                   all.size()};
}

} // namespace

std::string unexpected_call(const Call &call, const std::vector<const ExpectedCall *> &candidates,
                            const SessionText &text)
{
    const std::string_view name = call.procedure.name;
    std::string told = call.client.title() + ": nothing expects " + std::string(name) + "(" +
                       fields_text({call.procedure.argument.shape, call.argument}, text) + ")";
    std::vector<std::pair<std::size_t, const ExpectedCall *>> of_it;
    Nearest nearest(name);
    for (const ExpectedCall *each : candidates) {
        if (each->procedure && each->procedure->number == call.procedure.number)
            of_it.emplace_back(differences(*each, call, text).size(), each);
        else if (each->procedure)
            nearest.consider(each->procedure->name);
    }
    if (of_it.empty()) {
        told += "\n  no call of this procedure is expected here" + nearest.hint();
        for (const ExpectedCall *each : candidates)
            if (!each->procedure)
                told += "\n  " + each->place + ": " + name_of(*each) + ": " + use(*each);
        return told;
    }
    std::ranges::stable_sort(of_it, {}, [](const auto &each) { return each.first; });
    constexpr std::size_t most_shown = 10;
    for (std::size_t i = 0; i < std::min(of_it.size(), most_shown); i++) {
        const auto &[count, step] = of_it[i];
        told += "\n  " + step->place + ": " + use(*step);
        if (i == 0 && count > 0)
            told += "; it is the nearest, and differs in";
        else if (count == 0 && step->nth == 0 && step->used < step->times.most)
            told += "; it comes before its turn";
        if (i == 0)
            told += lines_of(differences(*step, call, text));
    }
    if (of_it.size() > most_shown)
        told += "\n  and " + std::to_string(of_it.size() - most_shown) + " more of the procedure";
    return told;
}

void note_instead(ExpectedCall &step, const Call &call, const SessionText &text)
{
    note_differences(step.instead, differences(step, call, text));
    if (step.instead.differences == 0 && step.nth == 0)
        step.instead.told = "; it came before its turn";
}

void note_instead(HostCall &step, const TracedMessage &arguments, const SessionText &text)
{
    if (arguments.shape && step.arguments)
        note_differences(step.instead,
                         differences(*arguments.shape, arguments.value, *step.arguments, text));
}

std::string missing_call(const ExpectedCall &step)
{
    return step.place + ": " + name_of(step) + ": " + use(step) + step.instead.told;
}

std::string missing_call(const HostCall &step)
{
    return step.place + ": the host has not called " + std::string(step.procedure->name) +
           step.instead.told;
}

} // namespace velt::host
