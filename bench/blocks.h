// Pairs of short calls, repeated until they can be timed.
#pragma once

#include "bench/compare.h"

namespace velt::bench
{

// Many short blocks: those that the machine disturbs are then fewer than half.
inline constexpr int pairs_of_blocks = 401;

// Keeps the compiler from computing the result itself and from merging calls.
template <class Call>
auto block(Call call, std::size_t repetitions = 2'000)
{
    return [call, repetitions] {
        return timed(repetitions, [&](std::size_t) {
            benchmark::DoNotOptimize(call());
            benchmark::ClobberMemory();
        });
    };
}

// Adds a line that keeps within the goal, or one without a goal, which is 0 then.
template <class Function, class... Arguments>
auto *add_line(const std::string &name, double goal, Function function, Arguments... arguments)
{
    return benchmark::RegisterBenchmark(name.c_str(),
                                        [=](benchmark::State &state) {
                                            function(state, arguments...);
                                            if (goal > 0)
                                                state.counters[counter::goal] = goal;
                                        })
        ->Iterations(pairs_of_blocks);
}

} // namespace velt::bench
