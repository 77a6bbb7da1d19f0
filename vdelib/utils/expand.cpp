// Expansion of names, and resolution of "." and "..".

#include <pwd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "vdelib/utils/names.h"
#include "velt/vde/strings.h"

using velt::NameBuffer;

namespace
{

// A growing name, truncated at the end of its buffer.
class NameText
{
public:
    const char *c_str() const { return text; }

    void append(const char *bytes, size_t count)
    {
        count = std::min(count, sizeof text - 1 - length);
        std::memcpy(text + length, bytes, count);
        length += count;
        text[length] = '\0';
    }
    void append(const char *s) { append(s, std::strlen(s)); }

private:
    NameBuffer text{};
    size_t length = 0;
};

// Copies the text at p up to the next "/" or the end and moves p there. False if it is too long.
bool take_word(const char *&p, NameBuffer &word)
{
    const size_t size = std::strcspn(p, "/");
    V_StrCpyN(word, p, static_cast<IntT>(std::min(size + 1, sizeof word)));
    p += size;
    return size < sizeof word;
}

// The value is looked up once, so that later changes of the environment have no effect.
const char *own_home()
{
    static NameBuffer home;
    static bool known = false;
    if (!known)
        V_StrCpyN(home, std::getenv("HOME"), V_FileNameSize);
    known = true;
    return home;
}

const char *home_of(const char *user)
{
    if (*user == '\0')
        return own_home();
    const passwd *entry = getpwnam(user);
    return entry ? entry->pw_dir : nullptr;
}

// Removes the last segment, but not the root.
void drop_segment(StringT name)
{
    IntT end = V_StrLen(name);
    const auto strip = [&](bool slashes) {
        while (end > 0 && (name[end - 1] == '/') == slashes)
            --end;
    };
    strip(true);
    strip(false);
    strip(true);
    name[name[0] == '/' ? std::max(end, 1) : end] = '\0';
}

} // namespace

IntT VdeFixTildaName(StringT name)
{
    if (!name)
        return 1;
    NameText out;
    NameBuffer word;
    const char *p = name;
    if (*p == '~') {
        ++p;
        const char *home = take_word(p, word) ? home_of(word) : nullptr;
        if (!home)
            return 0;
        out.append(home);
    }
    bool escaped = false;
    while (*p != '\0') {
        if (*p == '$' && !escaped) {
            ++p;
            const char *value = take_word(p, word) ? std::getenv(word) : nullptr;
            if (!value)
                return 0;
            out.append(value);
            continue;
        }
        // The second byte of a two-byte character may look like a backslash.
        const IntT size = velt::dialog_char_size(p);
        escaped = size == 1 && *p == '\\';
        out.append(p, static_cast<size_t>(size));
        p += size;
    }
    V_StrCpyN(name, out.c_str(), V_FileNameSize);
    return 1;
}

void VdeUiExpandFileName(StringT name, const char *dir)
{
    if (!name)
        return;
    VdeFixTildaName(name);
    NameBuffer result;
    V_StrCpyN(result, name[0] == '/' ? "/" : dir, V_FileNameSize);
    VdeUFCT cursor;
    VdeUFCinit(&cursor, name);
    for (const char *rest = name; VdeUFCgetSegment(&cursor); rest = cursor.at) {
        if (V_StrEqual(cursor.segment, ".") != 0)
            continue;
        if (V_StrEqual(cursor.segment, "..") != 0) {
            drop_segment(result);
            continue;
        }
        // A directory that ends with "/" gets another, unless it is the root.
        const bool slash = result[0] != '\0' && V_StrEqual(result, "/") == 0;
        if (V_StrLen(result) + slash + V_StrLen(cursor.segment) >= V_FileNameSize) {
            VdeDirCatN(result, rest, V_FileNameSize);
            break;
        }
        if (slash)
            V_StrCatCharN(result, '/', V_FileNameSize);
        V_StrCatN(result, cursor.segment, V_FileNameSize);
    }
    V_StrCpyN(name, result, V_FileNameSize);
}
