// Device-independent names.

#include <algorithm>
#include <cstring>

#include "vdelib/utils/names.h"
#include "velt/vde/failure.h"
#include "velt/vde/strings.h"

using velt::NameBuffer;

namespace
{

// A character of a token's text: a backslash that escapes it, if any, and the bytes of the
// character.
struct TextChar {
    IntT escape, size; // size 0: the text ends here
};

TextChar text_char(const char *p)
{
    if (*p == '\0' || *p == '<')
        return {0, 0};
    if (*p == '\\' && p[1] != '\0')
        return {1, velt::dialog_char_size(p + 1)};
    return {0, velt::dialog_char_size(p)};
}

// An internal name that grows token by token.
struct Internal {
    StringT end; // its terminator
    IntT length = 0;
    bool rooted = false;

    bool append(const char *s) { return VdeStrCpyAndAdvance(&end, &length, s) == 0; }

    bool append_text(const char *&p)
    {
        char text[V_FileSegmentSize];
        VdeCopyTokenIntoString(&p, text, V_FileSegmentSize);
        return append(text) && append("/");
    }

    // Appends the token of that letter, whose text is at p. False if the token is not allowed here
    // or does not fit.
    bool take(IntT letter, const char *&p)
    {
        switch (letter) {
        case 'r':
        case 'h':
        case 'v':
            if (length > 0)
                return false;
            rooted = true;
            return append("/") && (letter == 'r' || append_text(p));
        case 'c':
            return append_text(p);
        case 'u':
            return !rooted && append("../");
        default:
            return true;
        }
    }
};

} // namespace

IntT VdeGetDiTokenID(const char **p)
{
    const char *s = *p;
    if (*s != '<') {
        *p += *s != '\0';
        return 0;
    }
    const size_t size = strnlen(s, 3);
    *p += size;
    return size == 3 && velt::is_ascii_letter(s[1]) && s[2] == '>' ? s[1] : 0;
}

void VdeAdvPastToken(const char **p)
{
    for (;;) {
        const TextChar c = text_char(*p);
        if (c.size == 0)
            return;
        *p += c.escape + c.size;
    }
}

IntT VdeCopyTokenIntoString(const char **p, StringT dst, IntT max)
{
    IntT length = 0;
    for (;;) {
        const TextChar c = text_char(*p);
        if (c.size == 0 || c.size >= max - length)
            break;
        *p += c.escape;
        std::memcpy(dst + length, *p, static_cast<size_t>(c.size));
        *p += c.size;
        length += c.size;
    }
    VdeAdvPastToken(p);
    if (max > 0)
        dst[length] = '\0';
    return length;
}

IntT VdeStrCpyAndAdvance(StringT *outp, IntT *outLen, const char *s)
{
    const IntT size = V_StrLen(s);
    if (size >= V_FileNameSize - *outLen)
        return 1;
    V_StrCpy(*outp, s);
    *outp += size;
    *outLen += size;
    return 0;
}

IntT VdeParseDiName(const char *diName, StringT out)
{
    if (!diName || !out)
        VdeFail();
    *out = '\0';
    Internal name{out};
    const char *p = diName;
    IntT letter = VdeGetDiTokenID(&p);
    if (letter == 0)
        return -1;
    for (;;) {
        if (!name.take(letter, p))
            return -1;
        VdeAdvPastToken(&p);
        if (*p == '\0')
            break;
        letter = VdeGetDiTokenID(&p); // 0 stands for an invalid token, which is ignored
    }
    if (name.length == 0)
        return -1;
    name.end[-1] = '\0'; // removes the "/" that ends the name
    return 0;
}

IntT V_FilePathToDI(const V_FilePathT *path, const V_FilePathT *anchor, StringT *diName,
                    IntT *diLen)
{
    if (!diName || !diLen)
        VdeFail();
    *diName = nullptr;
    *diLen = 0;
    if (!velt::is_file_path(path))
        return -1;
    const auto relative = [](const V_FilePathT *p) { return (p->flags & V_FilePathRelative) != 0; };
    if (relative(path))
        VdeFail();
    NameBuffer name;
    V_StrCpyN(name, path->name, V_FileNameSize);
    anchor = VdeInterpretAnchor(anchor);
    if (anchor) {
        if (!velt::is_file_path(anchor) || relative(anchor))
            VdeFail();
        VdeRelativizeFileName(name, anchor->name);
    }

    NameBuffer di{};
    const auto append = [&di](const char *s) { V_StrCatN(di, s, V_FileNameSize); };
    if (name[0] == '/')
        append("<r>");
    VdeUFCT cursor;
    VdeUFCinit(&cursor, name);
    while (VdeUFCgetSegment(&cursor)) {
        if (V_StrEqual(cursor.segment, "..") != 0) {
            append("<u>");
        } else if (V_StrEqual(cursor.segment, ".") == 0) {
            append("<c>");
            append(cursor.segment);
        }
    }
    *diName = V_StrCopyString(di);
    if (!*diName)
        return -1;
    *diLen = V_StrLen(di);
    return 0;
}
