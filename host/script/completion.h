// Completes lines of the command language, as the usages of commands and expectations say.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/script/command_table.h"

namespace velt::host
{

// Returns the names of files that begin so, with a slash behind those of folders; relative ones are
// looked for in the folder.
std::vector<std::string> file_names(const std::filesystem::path &folder,
                                    const std::string &beginning);

class Completion
{
public:
    Completion(const Commands &commands, std::string_view line);
    // Returns whole lines that begin with the line.
    std::vector<std::string> lines() const;

private:
    using Names = std::vector<std::string>;
    // An argument by its name in usages, and what may stand for it. `typed` is what the person has
    // typed of it, after `before`.
    struct Argument {
        std::string_view name;
        Names (*names)(const Commands &, const Names &before, std::string_view typed);
    };
    static const Argument arguments[];

    void complete(const Syntax &syntax, std::size_t begin);
    void offer(std::size_t at, const std::string &word);

    const Commands &commands_;
    std::string_view line_;
    Names found_;
};

} // namespace velt::host
