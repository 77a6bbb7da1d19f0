// Prints the results as one table, a line as soon as it is measured.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/earlier.h"

namespace velt::bench
{

// A line is called as its benchmark, with the label that this got while it ran.
inline std::string line_name(const std::string &benchmark, const std::string &label)
{
    return label.empty() ? benchmark : benchmark + " / " + label;
}

class Table : public benchmark::BenchmarkReporter
{
public:
    // With earlier results, each line tells what its ratio was then.
    explicit Table(std::optional<Earlier> earlier = {}) : earlier_(std::move(earlier)) {}

    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

    // Whether something could not be measured.
    bool failed() const { return failed_; }

private:
    void print_line(const std::string &name, const std::string &baseline, const std::string &ours,
                    const std::string &ratio, const std::string &goal, const std::string &verdict,
                    const std::string &before, const std::string &change);

    std::optional<Earlier> earlier_;
    bool failed_ = false;
};

} // namespace velt::bench
