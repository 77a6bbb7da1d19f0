// Each string routine in each version that can run here, with strings at both ends of their pages
// and across the line between two, before and behind which nothing can be read.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <random>
#include <span>
#include <string_view>

#include "support/vde.h"
#include "vdelib/strings/routines.h"

namespace
{

using Text = std::string;

class Pages
{
public:
    Pages() { mprotect(begin_ + size_, 2 * size_, PROT_READ | PROT_WRITE); }
    ~Pages() { munmap(begin_, 4 * size_); }
    Pages(const Pages &) = delete;
    Pages &operator=(const Pages &) = delete;

    // The text in the pages, so many bytes before their end or, with a negative number, behind
    // their beginning. No terminator is added.
    char *put(const Text &text, std::ptrdiff_t place)
    {
        const auto whole = static_cast<std::ptrdiff_t>(2 * size_ - text.size());
        char *const at = begin_ + size_ + (place < 0 ? -1 - place : whole - place);
        std::memcpy(at, text.data(), text.size());
        return at;
    }

private:
    std::size_t size_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char *begin_ = static_cast<char *>(
        mmap(nullptr, 4 * size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
};

int fold(char c)
{
    return VdeQToLower[static_cast<UCharT>(c)];
}

int same(char c)
{
    return static_cast<UCharT>(c);
}

IntT value(const char *s, int (*image)(char), UIntT enc)
{
    const VdeFontEncT &table = *vdeFontEncs[enc];
    const bool is_pair = table.firstByte[same(s[0])] != 0 && table.secondByte[same(s[1])] != 0;
    return is_pair ? same(s[0]) * 256 + same(s[1]) : image(s[0]);
}

IntT differ(const Text &a, const Text &b, int (*image)(char), std::size_t most = Text::npos,
            UIntT enc = 0)
{
    // The terminators are compared, too.
    for (std::size_t i = 0; i < most && i <= a.size() && i <= b.size(); ++i) {
        const IntT of_a = value(a.c_str() + i, image, enc), of_b = value(b.c_str() + i, image, enc);
        if (of_a != of_b)
            return of_a - of_b;
        i += of_a > 255;
    }
    return 0;
}

IntT order(const Text &a, const Text &b, UIntT enc = 0)
{
    const IntT folded = differ(a, b, fold, Text::npos, enc);
    return folded != 0 ? folded : differ(a, b, same);
}

IntT place(std::size_t at)
{
    return at == Text::npos ? -1 : static_cast<IntT>(at);
}

IntT distance(const char *s, const char *found)
{
    return found ? static_cast<IntT>(found - s) : -1;
}

// Where the characters begin, and the end.
std::vector<std::size_t> characters(const Text &text, UIntT enc)
{
    std::vector<std::size_t> places{0};
    while (places.back() < text.size())
        places.push_back(places.back() + (value(&text[places.back()], same, enc) > 255 ? 2 : 1));
    return places;
}

bool is_character(const Text &text, std::size_t at, UIntT enc)
{
    return std::ranges::count(characters(text, enc), at) != 0;
}

// The first so many bytes, or one less.
Text cut(const Text &text, std::size_t size, UIntT enc)
{
    return text.substr(0, size < text.size() && !is_character(text, size, enc) ? size - 1 : size);
}

// The first or last of the characters at which those bytes are.
IntT search(const Text &text, const Text &sub, UIntT enc, bool last = false)
{
    IntT found = -1;
    for (const std::size_t at : characters(text, enc))
        if (at < text.size() && text.compare(at, sub.size(), sub) == 0 && (last || found < 0))
            found = place(at);
    return found;
}

bool is_end(const Text &text, const Text &end, UIntT enc)
{
    const std::size_t at = text.size() - end.size();
    return end.empty() || (end.size() <= text.size() && is_character(text, at, enc) &&
                           differ(text.substr(at), end, fold, Text::npos, enc) == 0);
}

struct Query {
    const char *name;
    IntT (*query)(const char *a, const char *b, IntT n, UIntT enc);
    IntT (*expected)(const Text &a, const Text &b, std::size_t n, UIntT enc);
};
#define QUERY(call, result)                                                                        \
    Query                                                                                          \
    {                                                                                              \
#call,                                                                                     \
            [](A(const char *, a), A(const char *, b), A(IntT, n),                                 \
               A(UIntT, enc)) -> IntT { return call; },                                            \
                                                     [](A(const Text &, a), A(const Text &, b),    \
                                                        A(std::size_t, n),                         \
                                                        A(UIntT, enc)) -> IntT { return result; }  \
    }
#define A(type, name) [[maybe_unused]] type name
const Query queries[] = {
    QUERY(V_StrLen(a), place(a.size())),
    QUERY(V_StrLenEnc(a, enc), place(characters(a, enc).size() - 1)),
    QUERY(V_StrCmp(a, b), differ(a, b, same)),
    QUERY(V_StrICmp(a, b), differ(a, b, fold)),
    QUERY(V_StrMCmp(a, b), order(a, b)),
    QUERY(V_StrQsortCmp(&a, &b), order(a, b)),
    QUERY(V_StrEqual(a, b), a == b),
    QUERY(V_StrIEqual(a, b), differ(a, b, fold) == 0),
    QUERY(V_StrSIEqual(a, b), differ(a, b, fold) == 0),
    QUERY(V_StrPrefix(a, b), a.starts_with(b)),
    QUERY(V_StrPrefixN(a, b, n), a.starts_with(b.substr(0, n))),
    QUERY(V_StrIPrefix(a, b), differ(a, b, fold, b.size()) == 0),
    QUERY(V_StrSuffix(a, b), a.ends_with(b)),
    QUERY(V_StrISuffix(a, b + n / 2),
          a.size() + n / 2 >= b.size() &&
              differ(a.substr(a.size() + n / 2 - b.size()), b.substr(n / 2), fold) == 0),
    QUERY(distance(a, V_StrChr(a, '~')), place(a.find('~'))),
    QUERY(distance(a, V_StrRChr(a, 'q')), place(a.rfind('q'))),
    QUERY(V_StrSubString(a, b + n / 2), a.empty() ? -1 : place(a.find(b.substr(n / 2)))),
    QUERY(V_StrStrEnc(a, b + n / 2, enc), search(a, b.substr(n / 2), enc)),
    QUERY(V_StrStrEnc(a, b + n / 8 * 7, enc), search(a, b.substr(n / 8 * 7), enc)),
    QUERY(distance(a, V_StrChrEnc(a, '~', 0, enc)), search(a, "~", enc)),
    QUERY(distance(a, V_StrChrEnc(a, 0xE9, 'q', enc)), search(a, "\xE9q", enc)),
    QUERY(distance(a, V_StrRChrEnc(a, 'q', 0, enc)), search(a, "q", enc, true)),
    QUERY(distance(a, V_StrRChrEnc(a, 0xE9, 'q', enc)), search(a, "\xE9q", enc, true)),
    QUERY(V_StrICmpEnc(a, b, enc), differ(a, b, fold, Text::npos, enc)),
    QUERY(V_StrMCmpEnc(a, b, enc), order(a, b, enc)),
    QUERY(V_StrQsortCmpEnc(&a, &b, enc), order(a, b, enc)),
    QUERY(V_StrIEqualEnc(a, b, enc), differ(a, b, fold, Text::npos, enc) == 0),
    QUERY(V_StrIPrefixEnc(a, b, enc), b.empty() || differ(a, b, fold, b.size(), enc) == 0),
    QUERY(V_StrISuffixEnc(a, b + n / 2, enc), is_end(a, b.substr(n / 2), enc)),
    QUERY(std::strcmp(Owned<>{V_StrCopyString(a)}.get(), a), 0),
    QUERY(V_StrAlphaToInt(a) + IntT(V_StrAlphaToReal(b)), 0),
};

// These take strings of n bytes without a terminator as well.
const Query bounded[] = {
    QUERY(V_StrCmpN(a, b, n), differ(a, b, same, n)),
    QUERY(V_StrICmpN(a, b, n), differ(a, b, fold, n)),
    QUERY(V_StrEqualN(a, b, n), differ(a, b, same, n) == 0),
    QUERY(V_StrIEqualN(a, b, n), differ(a, b, fold, n) == 0),
    QUERY(V_StrCmpNEnc(a, b, n, enc), differ(a, b, same, n, enc)),
    QUERY(V_StrICmpNEnc(a, b, n, enc), differ(a, b, fold, n, enc)),
    QUERY(V_StrIEqualNEnc(a, b, n, enc), differ(a, b, fold, n, enc) == 0),
};

struct Edit {
    const char *name;
    IntT (*edit)(StringT dst, const char *src, IntT N, UIntT enc);
    Text (*expected)(const Text &dst, const Text &src, std::size_t room, UIntT enc);
};
#define EDIT(call, result)                                                                         \
    Edit                                                                                           \
    {                                                                                              \
#call, [](StringT dst, A(const char *, src), A(IntT, N), A(UIntT, enc))                    \
                    -> IntT { return static_cast<IntT>(call); }, [](A(const Text &, dst),          \
                                                                    A(const Text &, src),          \
                                                                    A(std::size_t, room),          \
                                                                    A(UIntT, enc))                 \
                                                                      -> Text { return result; }   \
    }

const Edit edits[] = {
    EDIT(V_StrCpyN(dst, src, N), src.substr(0, room)),
    EDIT(V_StrCpyNEnc(dst, src, N, enc), cut(src, room, enc)),
    EDIT(V_StrCatN(dst, src, N), (dst + src).substr(0, room)),
    EDIT(V_StrCatNEnc(dst, src, N, enc), dst + cut(src, room - 3, enc)),
    EDIT(V_StrNCatN(dst, src, N - 4, N), (dst + src).substr(0, room)),
    EDIT(V_StrNCatNEnc(dst, src, N - 4, N, enc), dst + cut(src, room - 3, enc)),
    EDIT(V_StrCatCharN(dst, 'c', N), (dst + 'c').substr(0, room)),
    EDIT(V_StrCatDblCharNEnc(dst, 0xE9, 'q', N, enc), dst + cut("\xE9q", room - 3, enc)),
    EDIT(V_StrCatIntN(dst, 789, N), (dst + "789").substr(0, room)),
    EDIT((V_StrCpy(dst, src + (V_StrLen(src) + 1 - N)), V_StrLen(dst)),
         src.substr(src.size() - room)),
    EDIT(V_StrCat(dst, src + (V_StrLen(src) + 4 - N)), dst + src.substr(src.size() + 3 - room)),
    EDIT((V_StrStrip(dst, src), V_StrLen(dst)), "-  "),
    EDIT((V_StrStripLeadingSpaces(dst), V_StrLen(dst)), dst),
    EDIT((V_StrStripTrailingSpaces(dst), V_StrLen(dst)), "-"),
    EDIT((V_StrReverse(dst, N), V_StrLen(dst)), "  -"),
    EDIT((V_StrCpyN(dst, src, N), V_StrTruncEnc(dst, N - 3, enc), V_StrLen(dst)),
         cut(src.substr(0, room), room - 2, enc)),
};

class StringsInPages : public testing::Test
{
protected:
    StringsInPages() { V_FdeInitFontEncs(nullptr); }

    // Two texts, of which a is not the shorter.
    void expect_queries(const Text &a, const Text &b, std::size_t at, std::ptrdiff_t a_place,
                        std::ptrdiff_t b_place, UIntT enc)
    {
        const std::size_t size = a.size();
        const char *const one = pages_[0].put(Text(a.c_str(), size + 1), a_place);
        const char *const other = pages_[1].put(Text(b.c_str(), b.size() + 1), b_place);
        const auto n_of_b = static_cast<IntT>(b.size());
        for (const Query &q : queries)
            EXPECT_EQ(q.query(one, other, n_of_b, enc), q.expected(a, b, b.size(), enc)) << q.name;
        for (const Query &q : queries)
            EXPECT_EQ(q.query(other, one, 0, enc), q.expected(b, a, 0, enc)) << q.name;
        for (const std::size_t n : {at, size, size + 1})
            for (const Query &q : bounded)
                EXPECT_EQ(q.query(one, other, static_cast<IntT>(n), enc), q.expected(a, b, n, enc))
                    << q.name << n;
        // Without terminators a last byte that may begin a character would have another read.
        const bool is_whole =
            size == b.size() && (enc == 0 || size == 0 || ((a.back() | b.back()) & 0x80) == 0);
        const char *const open = pages_[0].put(a, 0);
        const char *const open_too = pages_[1].put(b, 0);
        EXPECT_TRUE(V_StrEqualN(open, open, 9999) && V_StrIEqualN(open, open, 9999));
        for (const Query &q : is_whole ? std::span{bounded} : std::span<const Query>{})
            EXPECT_EQ(q.query(open, open_too, static_cast<IntT>(size), enc),
                      q.expected(a, b, size, enc))
                << q.name;
    }

    // A text and one that differs from it in all cases and, unless it is as long, in one byte.
    void expect_queries(std::size_t size, std::size_t at, std::ptrdiff_t a_place,
                        std::ptrdiff_t b_place)
    {
        const Text a(size, 'q');
        Text b(size, at % 3 == 0 ? 'q' : 'Q');
        if (at < size)
            b[at] = at % 2 == 0 ? '\xE9' : '~';
        expect_queries(a, b, at, a_place, b_place, 0);
    }

    // `dst`, a buffer that ends with its page, has three bytes, and `src` more than there is room.
    void expect_edits(const Text &src, std::size_t room, std::ptrdiff_t place, UIntT enc)
    {
        const Text dst = "-  ";
        const auto N = static_cast<IntT>(room + 1);
        const char *const source = pages_[0].put(Text(src.c_str(), src.size() + 1), place);
        for (const Edit &e : edits) {
            char *const buffer = pages_[1].put(Text(dst + Text(room - 2, '\0')), 0);
            const Text expected = e.expected(dst, src, room, enc);
            EXPECT_EQ(e.edit(buffer, source, N, enc), place_of(expected)) << e.name;
            EXPECT_EQ(buffer, expected) << e.name;
        }
    }

    // Of a source of which no byte is copied none is read.
    void expect_no_reading()
    {
        const char *const none = pages_[0].put("", 0);
        char *const buffer = pages_[1].put(Text("-", 2), 0);
        const UIntT enc = vdeJISX0208_ShiftJISEncodingId;
        EXPECT_EQ(V_StrNCatN(buffer, none, 0, 2) + V_StrNCatNEnc(buffer, none, 0, 2, enc), 2);
        EXPECT_EQ(V_StrCpyN(buffer, none, 1) + V_StrCpyNEnc(buffer, none, 1, enc), 0);
    }

    static IntT place_of(const Text &text) { return static_cast<IntT>(text.size()); }

private:
    std::array<Pages, 2> pages_;
};

TEST_F(StringsInPages, AreNotReadOutsideOfThem)
{
    std::vector<std::size_t> sizes{100, 127, 200, 256, 300, 513, 1000, 1100, 1300};
    for (std::size_t size = 0; size <= 70; ++size)
        sizes.push_back(size);
    for (const velt::StringRoutines &version : velt::string_routine_versions()) {
        const Changed routines(velt::string_routines, version);
        expect_no_reading();
        for (const std::size_t size : sizes) {
            const auto end = static_cast<std::ptrdiff_t>(size);
            std::size_t at = 0;
            for (const std::ptrdiff_t place :
                 {0L, -1L, 4096 - end / 2, 4095L, end % 67, -2 - end % 61}) {
                SCOPED_TRACE(testing::Message() << size << " bytes at " << place << ' ' << at);
                expect_queries(size, at, place, 0);
                expect_queries(size, size, 0, place);
                expect_queries(size, size > 0 ? size - 1 : 0, place, 4096 - end / 3);
                if (size >= 4)
                    expect_edits(Text(size + 1 + size % 9, 'q'), size, place, 0);
                at += size / 5 + 1;
            }
            if (HasFailure())
                return;
        }
    }
}

// Bytes that begin and end two-byte characters in all ways, in rows of both, and letters of both
// cases among them; of the other text most is alike.
TEST_F(StringsInPages, AreReadByTwoByteCharacters)
{
    std::minstd_rand random(7);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    for (const velt::StringRoutines &version : velt::string_routine_versions()) {
        const Changed routines(velt::string_routines, version);
        for (std::size_t round = 0; round < 900; ++round) {
            static constexpr std::array<std::string_view, 3> sets{
                "\xE9q", "\x81\x9F\xA0\xA1\xE0\xE9\xFC\xFD\xFE\xFF@QZqz~\x7F\x80?", "\xE9\xA1"};
            const std::string_view set = sets[round % sets.size()];
            const auto bytes = [&](std::size_t size) {
                Text text(size, '\0');
                std::ranges::generate(text, [&] { return set[below(set.size())]; });
                // Letters behind rows longer than all vectors.
                if (set.size() == 2 && size > 0)
                    text[size - 1 - below(size) / 2] = 'q';
                return text;
            };
            const Text a = bytes(below(round % 2 == 0 ? 400 : 90));
            Text b = a.substr(0, a.size() - below(3) * below(a.size() + 1) / 2);
            for (std::size_t changes = below(3); changes > 0 && !b.empty(); --changes) {
                const std::size_t letter = b.find('q', below(b.size()));
                const std::size_t at = letter != Text::npos ? letter : below(b.size());
                b[at] =
                    letter == at || below(2) == 0 ? static_cast<char>(b[at] ^ 0x20) : bytes(1)[0];
            }
            // At the end of the pages, or across the line between the two.
            const auto place = [&] {
                return static_cast<std::ptrdiff_t>(below(2) == 0 ? 0 : 4096 - below(300));
            };
            const auto enc = static_cast<UIntT>(1 + below(4));
            SCOPED_TRACE(testing::Message() << "round " << round << " in " << enc);
            expect_queries(a, b, below(a.size() + 1), place(), place(), enc);
            if (a.size() >= 6)
                expect_edits(a, 4 + below(a.size() - 5), place(), enc);
            if (HasFailure())
                return;
        }
    }
}

TEST(Strings, AreMovedInsideThemselves)
{
    for (const velt::StringRoutines &version : velt::string_routine_versions()) {
        const Changed routines(velt::string_routines, version);
        for (const std::size_t size : {5U, 20U, 60U, 250U, 900U, 1500U}) {
            for (const std::size_t by : {1U, 5U, 40U, 100U, 800U}) {
                Text text;
                for (std::size_t i = 0; i < size; ++i)
                    text += static_cast<char>('a' + i % 26 - i / 26 % 20);
                Text buffer = Text(by, '-') + text + Text(by + 1, '\0');
                V_StrCpy(&buffer[by + by], &buffer[by]);
                EXPECT_EQ(&buffer[by + by], text) << size << " by " << by;
                V_StrCpy(buffer.data(), &buffer[by + by]);
                EXPECT_EQ(buffer.data(), text) << size << " back by " << 2 * by;
            }
        }
    }
}

// With a letter of either case, and in the replaced table none, at one place and a difference
// behind.
TEST_F(StringsInPages, FoldEachByteAsTheCaseTableHasIt)
{
    std::array<UCharT, 256> without_cases;
    std::iota(without_cases.begin(), without_cases.end(), UCharT{0});
    const UCharT *const usual = VdeQToLower;
    for (const velt::StringRoutines &version : velt::string_routine_versions()) {
        const Changed routines(velt::string_routines, version);
        for (const std::size_t round : {3U, 40U, 100U, 3U + 200, 40U + 200}) {
            const std::size_t at = round % 200;
            const Changed table(VdeQToLower, round < 200 ? usual : without_cases.data());
            for (int byte = 1; byte < 256; ++byte) {
                Text a(at + 20, 'q'), b(at + 20, round < 200 ? 'Q' : 'q');
                a[at] = static_cast<char>(byte);
                for (const int other : {byte ^ 0x20, byte ^ 0x80, int{VdeQToLower[byte]}}) {
                    b[at] = static_cast<char>(other);
                    const char *const p = a.c_str(), *const q = b.c_str();
                    SCOPED_TRACE(testing::Message() << byte << ' ' << other << " at " << round);
                    const Text cut = Text(q).substr(0, at + 1);
                    EXPECT_EQ(V_StrICmp(p, q), differ(a, q, fold));
                    EXPECT_EQ(V_StrIPrefix(p, cut.c_str()), differ(a, q, fold, cut.size()) == 0);
                    for (const UIntT enc : {0U, 1U}) {
                        const auto n = static_cast<IntT>(at + 3);
                        EXPECT_EQ(V_StrICmpEnc(p, q, enc), differ(a, q, fold, Text::npos, enc));
                        EXPECT_EQ(V_StrCmpNEnc(p, q, n, enc), differ(a, q, same, at + 3, enc));
                    }
                    b.back() = 'r';
                }
            }
        }
    }
}

} // namespace
