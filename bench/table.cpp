#include "bench/table.h"

#include <cmath>
#include <cstdio>
#include <iostream>
#include <string>

#include "bench/compare.h"

namespace velt::bench
{
namespace
{

std::string print(const char *format, double value)
{
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string time_or_rate(double seconds, bool as_rate)
{
    if (as_rate)
        return print("%.0f/s", 1 / seconds);
    if (seconds < 1e-6)
        return print("%.1f ns", seconds * 1e9);
    if (seconds < 1e-3)
        return print("%.2f us", seconds * 1e6);
    return print("%.2f ms", seconds * 1e3);
}

} // namespace

void Table::print_line(const std::string &name, const std::string &baseline,
                       const std::string &ours, const std::string &ratio, const std::string &goal,
                       const std::string &verdict, const std::string &before,
                       const std::string &change)
{
    std::printf("| %-41s | %10s | %10s | %6s | %7s | %-6s |", name.c_str(), baseline.c_str(),
                ours.c_str(), ratio.c_str(), goal.c_str(), verdict.c_str());
    if (earlier_)
        std::printf(" %6s | %6s |", before.c_str(), change.c_str());
    std::putchar('\n');
    std::fflush(stdout);
}

bool Table::ReportContext(const Context &)
{
    print_line("measured", "baseline", "ours", "ratio", "goal", "result", "before", "change");
    print_line(std::string(41, '-'), "---------:", "---------:", "-----:", "------:", "------",
               "-----:", "-----:");
    return true;
}

void Table::ReportRuns(const std::vector<Run> &runs)
{
    for (const Run &run : runs) {
        const std::string name = line_name(run.run_name.function_name, run.report_label);
        if (run.error_occurred) {
            std::cerr << name << ": " << run.error_message << '\n';
            failed_ = true;
            continue;
        }
        const auto &counters = run.counters;
        const bool as_rate = counters.count(counter::as_rate) != 0;
        // The goal is checked against the ratio as printed.
        const double ratio = std::round(counters.at(counter::ratio) * 100) / 100;
        const auto goal = counters.find(counter::goal);
        const bool has_goal = goal != counters.end();
        const auto before = earlier_ ? earlier_->take(name) : std::nullopt;
        print_line(name, time_or_rate(counters.at(counter::baseline), as_rate),
                   time_or_rate(counters.at(counter::ours), as_rate), print("%.2f", ratio),
                   has_goal ? print("<= %.2f", goal->second) : "",
                   !has_goal               ? ""
                   : ratio <= goal->second ? "met"
                                           : "missed",
                   before ? print("%.2f", *before) : "",
                   before ? print("%+.0f %%", (counters.at(counter::ratio) / *before - 1) * 100)
                          : "");
    }
}

void Table::Finalize()
{
    if (!earlier_)
        return;
    for (const std::string &name : earlier_->left())
        std::printf("Only measured before: %s\n", name.c_str());
}

} // namespace velt::bench
