// Times two ways of doing the same thing. Each pair runs both, in alternating order, and the result
// is the medians, so that a disturbance of the machine affects both.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <exception>
#include <vector>

#include <benchmark/benchmark.h>

namespace velt::bench
{

// The counters that the table prints.
namespace counter
{
inline constexpr const char *baseline = "baseline"; // seconds
inline constexpr const char *ours = "ours";         // seconds
inline constexpr const char *ratio = "ratio";
inline constexpr const char *goal = "goal";    // the ratio to keep within, if there is a goal
inline constexpr const char *as_rate = "rate"; // present when a rate says more than a time
} // namespace counter

inline double median(std::vector<double> values)
{
    auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Returns the mean time of `count` calls in seconds.
template <class Call>
double timed(std::size_t count, Call call)
{
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < count; i++)
        call(i);
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    return passed.count() / static_cast<double>(count);
}

// Each iteration of the benchmark is one pair. Both functions give the seconds that one call took.
template <class Baseline, class Ours>
void compare(benchmark::State &state, Baseline baseline, Ours ours)
try {
    std::vector<double> baselines;
    std::vector<double> times;
    std::vector<double> ratios;
    bool ours_first = false;
    for ([[maybe_unused]] auto _ : state) {
        if (ours_first)
            times.push_back(ours());
        baselines.push_back(baseline());
        if (!ours_first)
            times.push_back(ours());
        ratios.push_back(times.back() / baselines.back());
        ours_first = !ours_first;
    }
    state.counters[counter::baseline] = median(baselines);
    state.counters[counter::ours] = median(times);
    state.counters[counter::ratio] = median(ratios);
} catch (const std::exception &error) {
    state.SkipWithError(error.what());
}

} // namespace velt::bench
