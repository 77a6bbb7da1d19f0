#include "common/error.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <utility>

namespace velt
{
namespace
{

// What an exception tells ends with a zero byte, behind which there may be more of a file.
std::string without_zero_bytes(std::string text)
{
    std::ranges::replace(text, '\0', '?');
    return text;
}

} // namespace

Error::Error(ExitCode exit_code, std::string text)
    : std::runtime_error(without_zero_bytes(std::move(text))), code(exit_code)
{
}

std::string reason_of(const std::exception &error)
{
    if (dynamic_cast<const std::bad_alloc *>(&error))
        return "out of memory";
    // Its own text names functions of the standard library.
    if (const auto *of_file = dynamic_cast<const std::filesystem::filesystem_error *>(&error))
        return (of_file->path1().empty() ? "" : of_file->path1().string() + ": ") +
               of_file->code().message();
    return error.what();
}

} // namespace velt
