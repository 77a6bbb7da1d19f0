// What the tests of string resources share.
#ifndef VELT_TESTS_RESOURCES_SUPPORT_H
#define VELT_TESTS_RESOURCES_SUPPORT_H

#include "velt/vde/instance.h"
#include "velt/vde/memory.h"
#include "velt/vde/resources.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

inline std::string big_endian(unsigned long value, int bytes)
{
    std::string text;
    while (bytes-- > 0)
        text += static_cast<char>(value >> 8 * bytes & 0xFF);
    return text;
}

// A resource file; each line as it stands in the file.
inline std::string sre(const std::vector<std::pair<int, std::string>> &lines)
{
    std::string index, text;
    for (const auto &[id, line] : lines) {
        index += big_endian(static_cast<unsigned long>(id), 2) +
                 big_endian(24 + 6 * lines.size() + text.size(), 4);
        text += line + "\n";
    }
    return std::string(20, '\0') + big_endian(lines.size(), 4) + index + text;
}

inline void write(const fs::path &path, const std::string &content)
{
    if (path.has_parent_path())
        fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string read(const fs::path &path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

// In an empty directory, with no place for resource files set and no strings loaded.
class Resources : public testing::Test
{
protected:
    Resources() : before_(fs::current_path())
    {
        std::string name = fs::temp_directory_path() / "velt-resources-XXXXXX";
        directory_ = mkdtemp(name.data());
        fs::current_path(directory_);
        unsetenv("HOME");
        unsetenv("VQHOME");
    }
    ~Resources() override
    {
        fs::current_path(before_);
        fs::remove_all(directory_);
        if (VdeInstance == nullptr)
            return;
        V_Free(VdeInstance->srIndex);
        V_Free(VdeInstance->srPool);
        V_Free(VdeInstance->language);
        V_Free(VdeInstance);
        VdeInstance = nullptr;
    }

    // V_SrInit, then the release of the strings that it has replaced, which it leaves alone.
    static IntT init(const char *name, const char *language = "usenglish")
    {
        const VdeInstanceT old = VdeInstance != nullptr ? *VdeInstance : VdeInstanceT{};
        const IntT result = V_SrInit(name, language);
        if (VdeInstance != nullptr && VdeInstance->srIndex != old.srIndex) {
            V_Free(old.srIndex);
            V_Free(old.srPool);
        }
        return result;
    }
    static IntT load(const std::string &content)
    {
        write("x.sre", content);
        return init("x");
    }
    // The string's bytes; a missing one reads as "???".
    static std::string get(IntT id)
    {
        char text[2048];
        V_SrGetN(id, text, sizeof text);
        return text;
    }

    fs::path directory_;

private:
    fs::path before_;
};

#endif
