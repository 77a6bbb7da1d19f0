// What the tests of string resources share.
#pragma once

#include <utility>

#include "support/folder.h"
#include "velt/vde/instance.h"
#include "velt/vde/memory.h"
#include "velt/vde/resources.h"

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

using velt::test::read;
using velt::test::write;

// With no place for resource files set and no strings loaded.
class Resources : public velt::test::InFolder
{
protected:
    Resources()
    {
        unsetenv("HOME");
        unsetenv("VQHOME");
    }
    ~Resources() override
    {
        if (VdeInstance == nullptr)
            return;
        V_Free(VdeInstance->srIndex);
        V_Free(VdeInstance->srPool);
        V_Free(VdeInstance->language);
        V_Free(VdeInstance);
        VdeInstance = nullptr;
    }

    static IntT init(const char *name, const char *language = "usenglish")
    {
        return V_SrInit(name, language);
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
};
