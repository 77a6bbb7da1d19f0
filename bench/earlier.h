// The results of another run, of another commit for one, as --benchmark_out wrote them.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velt::bench
{

class Earlier
{
public:
    // Reads the file. Throws std::runtime_error.
    explicit Earlier(const std::string &file);

    // Returns the ratio of a line that was measured then, and notes that it was asked for.
    std::optional<double> take(const std::string &line);
    // Returns the names of the lines that nobody asked for.
    std::vector<std::string> left() const;

private:
    std::map<std::string, double> ratios_;
    std::map<std::string, double> left_;
};

} // namespace velt::bench
