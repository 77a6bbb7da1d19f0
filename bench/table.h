// Prints the results as one table, a line as soon as it is measured.
#pragma once

#include <vector>

#include <benchmark/benchmark.h>

namespace velt::bench
{

class Table : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;

    // Whether something could not be measured.
    bool failed() const { return failed_; }

private:
    bool failed_ = false;
};

} // namespace velt::bench
