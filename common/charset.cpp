// The byte encodings, made from iconv's.

#include "common/charset.h"

#include <fcntl.h>
#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "common/descriptor.h"
#include "velt/vde/encodings.h"
#include "velt/vde/fontenc.h"
#include "velt/vde/language.h"

namespace velt
{

namespace
{

static_assert(sizeof(wchar_t) == sizeof(char32_t));
constexpr const char *code_points = "WCHAR_T"; // iconv's name for wide characters of this machine

// An encoding as iconv knows it and as the font encodings split it into characters.
struct Encoding {
    UIntT id;
    const char *name;
    const char *iconv_name;
    IntT (*set_up)(VdeFontEncT *);
};
constexpr Encoding encodings[] = {
    {VdeEncShiftJis, "Shift-JIS", "SHIFT_JIS", VdeInitJISX0208_ShiftJISEncoding},
    {VdeEncKscEuc, "KS C 5601", "EUC-KR", VdeInitKSC5601_1992Encoding},
    {VdeEncBig5, "Big5", "BIG5", VdeInitBIG5Encoding},
    {VdeEncGbEuc, "GB 2312", "EUC-CN", VdeInitGB2312_80_EUCEncoding},
    {VdeEncQuire, "Quire", "MACINTOSH", VdeInitVeltRomanEncoding},
};

// The Quire set is Mac OS Roman, less the characters at these codes, and with a currency sign of
// its own.
constexpr std::string_view quire_lacks =
    "\xA1\xAD\xB5\xB6\xB7\xB8\xB9\xBA\xBD\xC3\xC5\xC6\xCA\xD6\xD7\xF0";
constexpr char quire_currency = '\xDB';

char32_t to_quire(std::string_view bytes, char32_t mac_roman)
{
    if (bytes[0] == quire_currency)
        return U'\u00A4';
    return quire_lacks.find(bytes[0]) == std::string_view::npos ? mac_roman : 0;
}

class Converter
{
public:
    Converter(const char *to, const char *from) : handle_(iconv_open(to, from))
    {
        if (reinterpret_cast<std::intptr_t>(handle_) != -1)
            return;
        if (errno == ENOMEM)
            throw std::bad_alloc();
        // What iconv cannot load, it takes for unknown; that may be for want of a descriptor.
        if (const Descriptor probe(open("/", O_PATH | O_CLOEXEC)); !probe)
            throw std::system_error(errno, std::generic_category(), "iconv");
        throw std::runtime_error(std::string("iconv cannot convert from ") + from + " to " + to +
                                 ": there is no memory to load that, or the system lacks it");
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;
    ~Converter() { iconv_close(handle_); }

    // Converts the whole text; returns nothing if it is malformed.
    template <class To, class From>
    std::optional<std::basic_string<To>> convert(std::basic_string_view<From> text)
    {
        std::basic_string<To> result(4 * text.size(), To());
        char *in = reinterpret_cast<char *>(const_cast<From *>(text.data()));
        char *out = reinterpret_cast<char *>(result.data());
        std::size_t in_left = text.size() * sizeof(From);
        std::size_t out_left = result.size() * sizeof(To);
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        if (iconv(handle_, &in, &in_left, &out, &out_left) != 0)
            return std::nullopt;
        result.resize(result.size() - out_left / sizeof(To));
        return result;
    }

private:
    iconv_t handle_;
};

} // namespace

std::u32string from_utf8(std::string_view text)
{
    static Converter converter(code_points, "UTF-8");
    const auto result = converter.convert<char32_t>(text);
    if (!result)
        throw std::runtime_error("the line is not UTF-8");
    return *result;
}

std::string to_utf8(char32_t character)
{
    static Converter converter("UTF-8", code_points);
    return converter.convert<char>(std::u32string_view(&character, 1)).value_or("?");
}

std::vector<std::string> language_names()
{
    std::vector<std::string> names;
    for (IntT each = 1; const char *name = V_LanguageString(each); each++)
        names.emplace_back(name);
    return names;
}

Charset::Charset(UIntT id)
{
    const Encoding &encoding = *std::ranges::find(encodings, id, &Encoding::id);
    name_ = encoding.name;

    VdeFontEncT split;
    encoding.set_up(&split);
    for (unsigned byte = 0; byte < 256; ++byte) {
        leads_[byte] = split.firstByte[byte] != 0;
        trails_[byte] = split.secondByte[byte] != 0;
    }

    Converter converter(code_points, encoding.iconv_name);
    Converter back(encoding.iconv_name, code_points);
    const auto enter = [&](const std::string &bytes) {
        const auto decoded = converter.convert<char32_t>(std::string_view(bytes));
        if (!decoded || decoded->size() != 1)
            return;
        const char32_t character =
            id == VdeEncQuire ? to_quire(bytes, decoded->front()) : decoded->front();
        if (character == 0)
            return;
        characters_.emplace(bytes, character);
        // A character that has several codes is encoded by the one that iconv takes.
        const auto [known, fresh] = bytes_.emplace(character, bytes);
        if (!fresh && back.convert<char>(std::u32string_view(&character, 1)) == bytes)
            known->second = bytes;
    };
    for (unsigned first = 0x80; first < 256; ++first) {
        // A byte that can begin a pair is no character alone, even if iconv converts it.
        if (!leads_[first])
            enter({static_cast<char>(first)});
        for (unsigned second = 0; leads_[first] && second < 256; ++second)
            if (trails_[second])
                enter({static_cast<char>(first), static_cast<char>(second)});
    }
}

std::string Charset::encode(char32_t character) const
{
    const auto found = bytes_.find(character);
    return found != bytes_.end() ? found->second : std::string();
}

Charset::Decoded Charset::decode(std::string_view text) const
{
    const auto is = [&](const std::array<bool, 256> &table, std::size_t at) {
        return at < text.size() && table[static_cast<unsigned char>(text[at])];
    };
    const std::string_view bytes = text.substr(0, is(leads_, 0) && is(trails_, 1) ? 2 : 1);
    const auto found = characters_.find(bytes);
    return {bytes, found != characters_.end() ? found->second : 0};
}

} // namespace velt
