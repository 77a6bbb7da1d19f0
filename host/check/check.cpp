#include "host/check/check.h"

#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <new>
#include <sstream>
#include <system_error>
#include <utility>

#include "common/file.h"
#include "common/interrupts.h"
#include "common/memory_reserve.h"
#include "common/nearest.h"
#include "common/printable.h"
#include "common/words.h"
#include "host/check/points.h"
#include "host/json/writer.h"

namespace velt::host
{
namespace
{

namespace fs = std::filesystem;

// A point has many times what one thing may take, because it has the client do many.
constexpr int things_in_a_point = 20;

class Folder
{
public:
    Folder()
    {
        std::error_code error;
        path_ = fs::temp_directory_path(error) / "velt-check-XXXXXX";
        if (error)
            misuse("TMPDIR names no folder: " + error.message());
        if (!mkdtemp(path_.data()))
            throw std::system_error(errno, std::generic_category(), path_);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;
    ~Folder()
    {
        try {
            remove(path_);
        } catch (const std::bad_alloc &) {
            std::cerr << "vqhost: out of memory: " << path_ << " stays" << std::endl;
        }
    }
    const std::string &path() const { return path_; }

private:
    static void remove(const std::string &path)
    {
        if (unlink(path.c_str()) == 0) // so that no link of a client's leads elsewhere
            return;
        for (const std::string &name : names_in(path))
            remove(path + "/" + name);
        rmdir(path.c_str());
    }

    std::string path_;
};

bool matches(const std::string &pattern, const Point &point)
{
    return fnmatch(pattern.c_str(), std::string(point.name).c_str(), 0) == 0;
}

std::vector<const Point *> chosen(const std::vector<std::string> &patterns)
{
    for (const std::string &pattern : patterns) {
        Nearest nearest(pattern);
        for (const Point &each : points())
            nearest.consider(each.name);
        if (std::ranges::none_of(points(),
                                 [&](const Point &each) { return matches(pattern, each); }))
            misuse("--only " + in_quotes(pattern) + ": there is no such point" + nearest.hint() +
                   "; vqhost check --list has all");
    }
    std::vector<const Point *> found;
    for (const Point &each : points())
        if (patterns.empty() || std::ranges::any_of(patterns, [&](const std::string &pattern) {
                return matches(pattern, each);
            }))
            found.push_back(&each);
    return found;
}

// A JSON string is one of YAML too.
std::string quoted(std::string_view text)
{
    JsonWriter out(JsonWriter::one_line);
    out.text(printable_line(text));
    return out.take();
}

void print(std::ostream &out, std::size_t number, const Point &point, const Verdict &verdict)
{
    out << (verdict.kind == Verdict::bad ? "not ok " : "ok ") << number << " - " << point.name
        << ": " << point.what;
    if (verdict.kind == Verdict::skipped)
        out << " # SKIP " << printable_line(verdict.seen);
    out << '\n';
    if (verdict.kind == Verdict::bad) {
        out << "  ---\n  seen: " << quoted(verdict.seen)
            << "\n  expected: " << quoted(verdict.expected.empty() ? point.what : verdict.expected)
            << '\n';
        if (verdict.advice != no_advice)
            out << "  advice: " << quoted(verdict.advice.empty() ? point.advice : verdict.advice)
                << '\n';
        std::istringstream output(verdict.output);
        const char *before = "  output: |2\n";
        for (std::string line; std::getline(output, line);)
            if (!line.empty())
                out << std::exchange(before, "") << "    " << line << '\n';
        out << "  ...\n";
    }
    if (!out.flush())
        fail("what it printed could not be written");
}

} // namespace

std::vector<std::string> names_of_points()
{
    std::vector<std::string> names;
    for (const Point &each : points())
        names.emplace_back(each.name);
    return names;
}

std::string list_of_points()
{
    std::string text;
    for (const Point &each : points()) {
        std::string name(each.name);
        name.resize(16, ' ');
        text += name + std::string(each.what) + "\n";
    }
    return text;
}

bool check_up(Subject subject, const std::vector<std::string> &patterns, std::ostream &out)
{
    const std::vector<const Point *> all = chosen(patterns);
    const Folder folder;
    // What was not yet written would be by the other process, too.
    out << "TAP version 14\n1.." << all.size() << std::endl;
    subject.folder = folder.path();
    // What has failed, or could not be examined therefore, with what has failed first.
    std::map<std::string_view, std::string_view> unmet;
    std::size_t number = 0;
    int count[3] = {};
    for (const Point *each : all) {
        restore_memory();
        Verdict verdict{.kind = Verdict::skipped};
        const auto lacking = std::ranges::find_if(
            each->needs, [&](const char *need) { return need && unmet.contains(need); });
        if (lacking != std::end(each->needs)) {
            const std::string_view failed = unmet.find(*lacking)->second;
            verdict.seen = std::string(failed) + " has failed";
            unmet.insert({each->name, failed});
        } else {
            try {
                verdict =
                    in_arena([&] { each->examine(subject); }, things_in_a_point * subject.limit);
            } catch (const std::exception &error) {
                out << "Bail out! " << printable_line(reason_of(error)) << std::endl;
                throw;
            }
            if (verdict.kind == Verdict::bad)
                unmet.insert({each->name, each->name});
        }
        count[verdict.kind == Verdict::good ? 0 : verdict.kind == Verdict::bad ? 1 : 2]++;
        print(out, ++number, *each, verdict);
    }
    out << "# " << count[0] << " passed, " << count[1] << " failed, " << count[2] << " skipped"
        << std::endl;
    return count[1] == 0;
}

} // namespace velt::host
