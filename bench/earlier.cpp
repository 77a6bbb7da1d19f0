#include "bench/earlier.h"

#include <fstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "bench/compare.h"
#include "bench/table.h"

namespace velt::bench
{

Earlier::Earlier(const std::string &file)
try {
    std::ifstream stream(file);
    const auto results = nlohmann::json::parse(stream);
    for (const auto &run : results.at("benchmarks")) {
        // A line that could not be measured has no ratio. The number of pairs may have changed.
        if (!run.contains(counter::ratio))
            continue;
        const std::string name = run.at("name");
        ratios_[line_name(name.substr(0, name.find("/iterations:")), run.value("label", ""))] =
            run.at(counter::ratio);
    }
    left_ = ratios_;
} catch (const nlohmann::json::exception &error) {
    throw std::runtime_error(file + ": no results of a run: " + error.what());
}

std::optional<double> Earlier::take(const std::string &line)
{
    left_.erase(line);
    const auto found = ratios_.find(line);
    return found == ratios_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::string> Earlier::left() const
{
    std::vector<std::string> names;
    for (const auto &[name, ratio] : left_)
        names.push_back(name);
    return names;
}

} // namespace velt::bench
