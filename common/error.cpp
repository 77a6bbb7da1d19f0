#include "common/error.h"

#include <filesystem>
#include <new>

namespace velt
{

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
