#include "host/script/checks.h"

#include <algorithm>

#include "common/printable.h"

namespace velt::host
{

std::string Position::text() const
{
    return source.empty() ? "argument " + std::to_string(number)
                          : source + ":" + std::to_string(number);
}

void Checks::met(const Position &position, std::string_view command)
{
    cases_.push_back({position, std::string(command), Case::good, {}});
}

void Checks::unmet(const Position &position, std::string_view command, const std::string &why)
{
    cases_.push_back({position, std::string(command), Case::bad, why});
    errors_ << "vqhost: " << printable(position.text()) << ": " << printable_lines(why)
            << std::endl;
}

void Checks::met(std::string_view what)
{
    met({{}, 0}, what);
}

void Checks::unmet(std::string_view what, const std::string &why)
{
    cases_.push_back({{}, std::string(what), Case::bad, why});
}

void Checks::failed(const std::string &why)
{
    cases_.push_back({{}, "the run", Case::broken, why});
}

std::ptrdiff_t Checks::count(int outcome) const
{
    return std::ranges::count(cases_, outcome, &Case::outcome);
}

bool Checks::summarise() const
{
    const auto counted = [this](int outcome) {
        return std::ranges::count_if(cases_, [=](const Case &each) {
            return each.outcome == outcome && each.position.number != 0;
        });
    };
    const auto kept = counted(Case::good), missed = counted(Case::bad);
    if (kept + missed != 0)
        errors_ << "vqhost: " << kept + missed
                << (kept + missed == 1 ? " expectation, " : " expectations, ")
                << (missed == 0 ? "all met" : std::to_string(missed) + " not met") << std::endl;
    return count(Case::good) == std::ssize(cases_);
}

std::string Checks::junit(const std::string &book) const
{
    const auto attribute = [](std::string_view name, std::string_view value) {
        return " " + std::string(name) + "=\"" + printable_xml(value) + "\"";
    };
    const std::string totals = attribute("tests", std::to_string(cases_.size())) +
                               attribute("failures", std::to_string(count(Case::bad))) +
                               attribute("errors", std::to_string(count(Case::broken)));
    std::string xml = std::string(junit_beginning) + totals + ">\n  <testsuite" +
                      attribute("name", book) + totals + ">\n";
    for (const auto &[position, command, outcome, why] : cases_) {
        const std::string name = position.number == 0 ? command : position.text() + ": " + command;
        xml += "    <testcase" + attribute("classname", book) + attribute("name", name);
        if (outcome == Case::good)
            xml += "/>\n";
        else
            xml += std::string("><") + (outcome == Case::bad ? "failure" : "error") +
                   attribute("message", why) + "/></testcase>\n";
    }
    return xml + "  </testsuite>\n</testsuites>\n";
}

} // namespace velt::host
