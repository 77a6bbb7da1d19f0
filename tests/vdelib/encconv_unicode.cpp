#include <dlfcn.h>
#include <sys/stat.h>

#include "support/folder.h"
#include "vdelib/encconv.h"

namespace
{

// What a text becomes in UTF-8; none when nothing comes out.
std::optional<std::string> utf8(const std::string &text, UIntT enc)
{
    const auto result =
        converted([enc](auto... args) { return vdeTranslateToUnicode(args..., enc); }, text);
    // The code points are those of the same text.
    const Owned<UIntT> points{VdeTextEncStringToLString(text.c_str(), enc)};
    if (points != nullptr && text.find('\0') == std::string::npos) {
        std::u32string expected;
        for (const UIntT *point = points.get(); *point != 0; ++point)
            expected += static_cast<char32_t>(*point);
        const std::string raw(reinterpret_cast<const char *>(expected.data()), expected.size() * 4);
        EXPECT_EQ(iconved("UCS-4LE", "UTF-8", raw), result) << text;
    }
    return *result == "" ? std::nullopt : result;
}

TEST(Unicode, SingleBytesAreThoseOfTheCLibrary)
{
    const std::string holes = "\xA1\xAD\xB5\xB6\xB7\xB8\xB9\xBA\xBD\xC3\xC5\xC6\xCA\xD6\xD7\xF0";
    for (int ch = 1; ch < 256; ++ch) {
        const std::string text = bytes({ch});
        const auto latin1 = ch == 0x7F ? std::nullopt : iconved("ISO-8859-1", "UTF-8", text);
        EXPECT_EQ(utf8(text, 1), latin1) << ch;
        if (ch < 0x20 || ch == 0x7F)
            continue;
        auto quire = iconved("MACINTOSH", "UTF-8", text);
        if (holes.find(text) != std::string::npos)
            quire = std::nullopt;
        else if (ch == 0xDB)
            quire = "\u00A4";
        EXPECT_EQ(utf8(text, 0), quire) << ch;
    }
    const std::string controls = "\x04\x08\x09\x0A\x0B\x0C\x10\x11\x12\x13\x14\x15\x1F\x7F";
    const std::string converted = "\t\u2028\u2029\u2029\u2007\u00A0\u2009\u2002\u2003\u2011";
    EXPECT_EQ(utf8(controls, 0), converted);
    for (const UIntT font : {13U, 14U})
        EXPECT_EQ(utf8(controls, font), converted);
    EXPECT_EQ(utf8(controls.substr(0, 13), 15), converted);
}

TEST(Unicode, FontsHaveTheirCharacters)
{
    EXPECT_EQ(utf8("Aa!\" \xA0\xA1\x80\xFF", 13), "\u0391\u03B1!\u2200 \u20AC\u03D2");
    EXPECT_EQ(utf8("!Aa\xA1\x80\x8E\xA0", 14), "\u2701\u2721\u2741\u2761\uF8D7");
    EXPECT_EQ(utf8(" !Aa\x80\xA0\xA1\xF0\xFF", 15),
              "\uF020\uF021\uF041\uF05D\uF081\uF0A7\uF06E\uF0ED");
    // Where the codes go on as Unicode does.
    for (int ch = 0x21; ch < 0x7E; ++ch) {
        EXPECT_TRUE(VdeZapfDingbatsToUnicodeConversionTable[ch] == ch + 0x26E0 ||
                    VdeZapfDingbatsToUnicodeConversionTable[ch] < 0x2701 ||
                    std::string("*+,").find(char(ch)) != std::string::npos)
            << ch;
    }
    std::vector<bool> seen(0x10000);
    for (int ch = 0x20; ch < 0xFF; ++ch) {
        const unsigned point = VdeWingdingsToUnicodeConversionTable[ch];
        EXPECT_TRUE(point >= 0xF020 && point <= 0xF0FF && !seen[point]) << ch;
        seen[point] = true;
    }
}

TEST(UnicodeSweep, LongTextIsThatOfItsCharacters)
{
    std::string text, expected;
    for (int i = 0; text.size() < 1'000'000; ++i) {
        const std::string piece = std::string(size_t(i % 23), 'a') + bytes({i * 7 % 255 + 1});
        text += piece;
        expected += utf8(piece, 0).value_or("");
    }
    EXPECT_EQ(utf8(text, 0), expected);
    EXPECT_EQ(to(text, 0, 16), expected);
    EXPECT_EQ(*Owned<UIntT>{VdeTextEncStringToLString("\x04", 0)}, 0u); // dropped
    EXPECT_EQ(VdeTextEncStringToLString("", 0), nullptr);
    for (const UIntT enc : {2U, 5U, 6U, 7U, 16U, 99U})
        EXPECT_EQ(VdeTextEncStringToLString("a", enc), nullptr);
}

struct TableFiles : velt::test::InFolder {
    void write(const std::string &name, const std::string &contents) const
    {
        velt::test::write(folder / "unicode" / (name + ".UCOD"), contents);
    }
};

// One test, since the tables stay for as long as the process lives. What is in the built ones, the
// tests of the tools hold against the C library.
TEST_F(TableFiles, GiveTheEastAsianCharacters)
{
    const std::string kanji = "\x88\x9F";
    EXPECT_EQ(utf8(kanji, 6), std::nullopt);
    EXPECT_EQ(to(kanji, 6, 16), std::nullopt);

    // Without all its rows, the table is refused; what stands behind them does not count.
    const std::string good = bytes({0x81, 0x81, 0, 0, 0x40, 0x41, 0x30, 0, 0x30, 1});
    std::vector<std::string> bad = {
        bytes({0x81, 0x7F, 0, 0}),
        bytes({0x81, 0x82}) + good.substr(2),
        bytes({0x81, 0x81, 0x40, 0x41, 0x30, 0, 0x30, 1, 0x40, 0xFE, 0x30, 0}),
    };
    for (size_t size = 0; size < good.size(); ++size)
        bad.push_back(good.substr(0, size));
    write("BIG5", good);
    for (const std::string &file : bad) {
        write("JISX0208.ShiftJIS", file);
        V_FdeInitUnicode(folder.c_str());
        EXPECT_EQ(VdeTextEncStringToLString("\x81\x40", 6), nullptr);
        write("BIG5", file); // whose table is there, and stays
        EXPECT_EQ(utf8("\xA1\x40 \x81", 8), std::nullopt);
    }
    write("BIG5",
          bytes({0xA1, 0xA1, 0x20, 0x21, 0, ' ', 0, 'x', 0x40, 0x41, 0x30, 0, 0x30, 1}) + "x");
    for (int i = 0; i < 2; ++i) {
        V_FdeInitUnicode(folder.c_str());
        EXPECT_EQ(utf8("\xA1\x40\xA1\x41!!\n ?\xA1", 8), "\u3000\u3001xx ");
        write("BIG5", "");
    }
    EXPECT_EQ(vdeLocaleIsEUC, -1); // nobody has asked for the locale

    // Control characters are the host's, whatever the file says.
    write("JISX0208.ShiftJIS", bytes({0x81, 0x81, 8, 10, 0, 'x', 0, 'x', 0, 'x'}) + good.substr(4));
    V_FdeInitUnicode((folder.string() + "/").c_str());
    EXPECT_EQ(utf8("\x81\x40\x08\n\x81\x41", 6), "\u3000\t\u2029\u3001");
}

TEST_F(TableFiles, AreReadWhole)
{
    write("some", "contents");
    for (const std::string &path : {folder.string(), folder.string() + "/"}) {
        const Owned<UCharT> block{VdeGetPackedUnicodeInfo("some", path.c_str())};
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::string(block.get(), block.get() + 8), "contents");
    }
    std::filesystem::create_directory("unicode/folder.UCOD");
    EXPECT_EQ(mkfifo("unicode/pipe.UCOD", 0600), 0);
    for (const char *none : {"other", "folder", "pipe"})
        EXPECT_EQ(VdeGetPackedUnicodeInfo(none, folder.c_str()), nullptr) << none;
    const std::string far = folder.string() + std::string(300, '/');
    for (const char *nowhere : {"", static_cast<const char *>(nullptr), far.c_str()})
        EXPECT_EQ(VdeGetPackedUnicodeInfo("some", nowhere), nullptr);
}

TEST(UnicodeClasses, AsciiAndTheNamesOfXml)
{
    for (const UIntT ch : {0x1FU, 0x5CU, 0x7EU, 0x80U, 0x10020U})
        EXPECT_TRUE(V_LCharIsSafeForAscii(' ') && V_LCharIsSafeForAscii('}') &&
                    !V_LCharIsSafeForAscii(ch))
            << ch;
    for (const UIntT ch : {0x10000U, 0x1004EU, 0xFFFFFFFFU})
        EXPECT_EQ(V_LCharIsSafeForName(ch, 0) + V_LCharIsSafeForName(ch, 1), 0) << ch;
    void *library = dlopen("libxml2.so.2", RTLD_LAZY);
    ASSERT_NE(library, nullptr) << "libxml2 is needed to compare with";
    using Class = int (*)(unsigned);
    const auto in_class = [library](const char *name, unsigned ch) {
        return reinterpret_cast<Class>(dlsym(library, name))(ch) != 0;
    };
    for (UIntT ch = 0; ch < 0x10000; ++ch) {
        const bool first = in_class("xmlIsBaseChar", ch) || in_class("xmlIsIdeographic", ch);
        const bool name = first || in_class("xmlIsDigit", ch) || in_class("xmlIsCombining", ch) ||
                          in_class("xmlIsExtender", ch) || ch == '-';
        EXPECT_EQ(V_LCharIsSafeForName(ch, 1), first) << std::hex << ch;
        EXPECT_EQ(V_LCharIsSafeForName(ch, 0), name) << std::hex << ch;
    }
    dlclose(library);
}

} // namespace
