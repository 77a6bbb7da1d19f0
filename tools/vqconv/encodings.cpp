#include "tools/vqconv/encodings.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "tools/vqconv/characters.h"
#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/memory.h"
#include "velt/vde/unicode.h"

namespace
{

namespace fs = std::filesystem;

constexpr const char *titles[] = {
    "Quire",         "ISO Latin-1",  "ASCII",        "Windows ANSI", "Mac",         "JIS",
    "Shift-JIS",     "Japanese EUC", "Big5",         "CNS EUC",      "GB 2312 EUC", "HZ",
    "KS C 5601 EUC", "Symbol",       "ZapfDingbats", "Wingdings",    "UTF-8"};
static_assert(std::size(titles) == VdeEncLast + 1);

struct Name {
    UIntT id;
    const char *name;
};
constexpr Name names[] = {
#define TEXT_ENCODING(id, name, flags) {id, name},
#include "vdelib/encconv/textencs.def"
#undef TEXT_ENCODING
};

struct Pair {
    UIntT from, to;
};
constexpr Pair pairs[] = {
#define CONVERSION(from, to, converter) {from, to},
#include "vdelib/encconv/conversions.def"
#undef CONVERSION
};

std::string names_of(UIntT id)
{
    std::string all;
    for (const Name &row : names)
        if (row.id == id)
            all += (all.empty() ? "" : ", ") + std::string(row.name);
    return all;
}

std::string targets_of(UIntT id)
{
    std::string all;
    for (const Pair &pair : pairs)
        if (pair.from == id)
            all += (all.empty() ? "" : " ") + std::to_string(pair.to);
    return all;
}

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(width, text.size()), ' ');
    return text;
}

// The directory in whose unicode/ the tables are: the one that the user names, else VQHOME if it
// has any, else the installed one.
std::string tables_home(const std::string &home)
{
    if (!home.empty())
        return home;
    std::error_code error;
    const char *const vqhome = std::getenv("VQHOME");
    if (vqhome && fs::is_directory(fs::path(vqhome) / "unicode", error))
        return vqhome;
    const auto program = fs::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "share" / "velt";
}

// The numbers of codes of an encoding: all, those with an equivalent, and those that convert back.
struct Kept {
    int all = 0, converted = 0, back = 0;
};

Kept count_kept(const Pair &pair)
{
    Characters characters(pair.from, pair.to);
    std::optional<Characters> reverse;
    if (converts(pair.to, pair.from))
        reverse.emplace(pair.to, pair.from);
    Kept kept;
    const auto count = [&](const std::string &code) {
        ++kept.all;
        if (!characters.converts(code))
            return;
        ++kept.converted;
        if (reverse && characters.comes_back(code, *reverse))
            ++kept.back;
    };
    characters.for_each_code(count);
    return kept;
}

} // namespace

std::optional<UIntT> encoding_of(const std::string &word)
{
    if (!word.empty() && word.find_first_not_of("0123456789") == word.npos) {
        const unsigned long number = std::strtoul(word.c_str(), nullptr, 10);
        if (number > VdeEncLast)
            return std::nullopt;
        return static_cast<UIntT>(number);
    }
    if (const UIntT id = VdeTextEncNameToValue(word.c_str()); id != VdeEncQuire)
        return id;
    const auto *title = std::ranges::find_if(
        titles, [&](const char *each) { return V_StrANICmp(each, word.c_str()) == 0; });
    if (title == std::end(titles))
        return std::nullopt;
    return static_cast<UIntT>(title - titles);
}

std::string encoding_title(UIntT id)
{
    return titles[id];
}

bool converts(UIntT from, UIntT to)
{
    return from == to || std::ranges::any_of(pairs, [=](const Pair &pair) {
               return pair.from == from && pair.to == to;
           });
}

bool takes_table(UIntT from, UIntT to)
{
    return to == VdeEncUtf8 && (from == VdeEncShiftJis || from == VdeEncBig5 ||
                                from == VdeEncGbEuc || from == VdeEncKscEuc);
}

void load_tables(const std::string &home, UIntT from)
{
    const std::string dir = tables_home(home);
    V_FdeInitUnicode(dir.c_str());
    if (UIntT *const sample = VdeTextEncStringToLString("a", from)) {
        V_Free(sample);
        return;
    }
    throw std::runtime_error(dir + "/unicode/" + V_FontEncName(V_TextEncToFontEnc(from)) +
                             ".UCOD is missing or damaged; 'vqucod make' makes it, --vqhome or "
                             "VQHOME names the directory that has unicode/");
}

std::string encoding_list()
{
    std::string text;
    for (UIntT id = 0; id <= VdeEncLast; ++id) {
        const std::string number = std::to_string(id);
        std::string line = std::string(2 - number.size(), ' ') + number + "  " +
                           padded(encoding_title(id), 15) + padded(names_of(id), 26);
        if (const std::string targets = targets_of(id); !targets.empty())
            line += "to " + targets;
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

std::string encoding_markdown(const std::string &home)
{
    load_tables(home, VdeEncShiftJis);
    std::string text = "| Id | Encoding | Names | MIME name | Converts to |\n|--|--|--|--|--|\n";
    for (UIntT id = 0; id <= VdeEncLast; ++id)
        text += "| " + std::to_string(id) + " | " + encoding_title(id) + " | " + names_of(id) +
                " | " + VdeTextEncValueToMimeName(id) + " | " + targets_of(id) + " |\n";
    text += "\n| From | To | Codes | Converted | Come back |\n|--|--|--:|--:|--:|\n";
    for (const Pair &pair : pairs) {
        const Kept kept = count_kept(pair);
        text += "| " + encoding_title(pair.from) + " | " + encoding_title(pair.to) + " | " +
                std::to_string(kept.all) + " | " + std::to_string(kept.converted) + " | " +
                (converts(pair.to, pair.from) ? std::to_string(kept.back) : "") + " |\n";
    }
    return text;
}
