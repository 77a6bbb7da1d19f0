// Where resource files are found, how they are read, and what damage does.
#include <sys/stat.h>

#include <memory>

#include "support/resource_files.h"

namespace
{

using File = std::unique_ptr<FILE, decltype([](FILE *file) { fclose(file); })>;

File stream_of(std::string_view content)
{
    return File(fmemopen(const_cast<char *>(content.data()), content.size(), "r"));
}

// The whole of a two-string file, byte by byte.
const std::string worked_example =
    std::string(20, '\0') + std::string("\0\0\0\2\0\1\0\0\0\x24\0\7\0\0\0\x2BHello!\nBye %0\n", 30);

std::string place(const char *language, const char *name)
{
    return std::string("vqinit/") + language + "/APIArea/resources/" + name + ".sre";
}

} // namespace

TEST_F(Resources, NothingLoaded)
{
    EXPECT_EQ(get(1), "???");
    EXPECT_EQ(init("x"), -1);
    EXPECT_STREQ(VdeSrError(), "there is no x.sre, nor vqinit/usenglish/APIArea/resources/x.sre "
                               "below HOME (not set) or VQHOME (not set)");
    EXPECT_EQ(init("x", ""), -1);
    EXPECT_STREQ(VdeSrError(),
                 "there is no x.sre, and no language is known whose resources could be "
                 "looked for");
    EXPECT_EQ(get(1), "???");
    EXPECT_EQ(init(nullptr, nullptr), -1);
    EXPECT_EQ(load(sre({})), 0);
    EXPECT_EQ(get(0), "???");
}

TEST_F(Resources, SearchOrder)
{
    setenv("HOME", "home", 1);
    setenv("VQHOME", "vqhome", 1);
    // In the order of the search: each found file is taken away to find the next.
    const std::string order[] = {
        "sub/x.sre",
        "home/" + place("deutsch", "sub/x"),
        "home/" + place("deutsch", "x"),
        "vqhome/" + place("deutsch", "sub/x"),
        "vqhome/" + place("deutsch", "x"),
    };
    for (const std::string &path : order)
        write(path, sre({{1, path}}));
    write("home/" + place("dutch", "x"), sre({{1, "another language"}}));
    for (const std::string &path : order) {
        EXPECT_EQ(init("sub/x", "deutsch"), 0);
        EXPECT_EQ(get(1), path);
        fs::remove(path);
    }
    EXPECT_EQ(init("none", "dutch"), -1);
    EXPECT_EQ(get(1), order[4]); // what was loaded stays
    EXPECT_STREQ(VdeInstance->language, "deutsch");

    write(order[1], sre({{1, "home"}}));
    write(order[3], sre({{1, "vqhome"}}));
    unsetenv("HOME");
    EXPECT_EQ(init("sub/x", VdeInstance->language), 0);
    EXPECT_EQ(get(1), "vqhome");
    unsetenv("VQHOME");
    EXPECT_EQ(init("sub/x", "deutsch"), -1);
    setenv("HOME", "home", 1);
    EXPECT_EQ(init("sub/x", "deutsch"), 0);
    EXPECT_EQ(get(1), "home");
}

TEST_F(Resources, OverlongPathIsPassedOver)
{
    setenv("VQHOME", ".", 1);
    write(place("deutsch", "x"), sre({{1, "found"}}));
    setenv("HOME", std::string(1500, 'h').c_str(), 1);
    EXPECT_EQ(init("x", "deutsch"), 0);
    EXPECT_EQ(get(1), "found");

    // The longest path there may be, and one byte more: it is not cut to fit.
    write(fs::path(place("deutsch", "x")).replace_extension(".sr"), sre({{1, "cut"}}));
    const std::string tail = "/" + place("deutsch", "x");
    for (const std::size_t length : {1023u, 1024u}) {
        setenv("HOME", ("." + std::string(length - tail.size() - 1, '/')).c_str(), 1);
        unsetenv("VQHOME");
        EXPECT_EQ(init("x", "deutsch"), length == 1023 ? 0 : -1) << length;
    }
}

TEST_F(Resources, TextForm)
{
    const std::pair<std::string, std::string> lines[] = {
        {"Delete\\x20file", "Delete file"},
        {"   lead \\x41 trail  ", "lead A trail  "},
        {"\\x20kept", " kept"},
        {"one\rtwo", "one"},
        {"one\\\ntwo", "one\ntwo"},
        {"one\\\r\\\ntwo", "one\r\ntwo"},
        {"a\\nb\\\\x41", "a\\nb\\\\x41"},
        {"\\X9g\\xfFz", "\x09g\xFFz"},
        {"cut\\xgone", "cut"},
        {"a\\x00b", "a"},
        {"", ""},
        {std::string(1023, 'x'), std::string(1023, 'x')},
        {std::string(1022, 'x') + "\\y", std::string(1022, 'x') + "\\"},
        {std::string(3000, 'y'), std::string(1023, 'y')},
        {"last", "last"},
    };
    std::vector<std::pair<int, std::string>> file;
    for (const auto &[line, text] : lines)
        file.emplace_back(int(file.size()) - 3, line);
    ASSERT_EQ(load(sre(file)), 0);
    for (std::size_t i = 0; i < file.size(); ++i)
        EXPECT_EQ(get(file[i].first), lines[i].second) << lines[i].first;
}

TEST_F(Resources, ScanOneLine)
{
    const File stream = stream_of("  abcdef\\xZ rest\nnext");
    char buf[4];
    const auto scan = [&] { return VdeUiScanLabel(stream.get(), 0, '\n', sizeof buf, buf); };
    EXPECT_EQ(scan(), -1); // stops at the bad escape
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(getc(stream.get()), 'Z');
    EXPECT_EQ(scan(), 0); // reads on to the line end
    EXPECT_STREQ(buf, "res");
    EXPECT_EQ(scan(), -1); // no line end
    EXPECT_STREQ(buf, "nex");
}

TEST_F(Resources, BinaryTemplates)
{
    struct Inner {
        UCharT byte;
        uint16_t number;
    };
    struct Outer {
        UCharT bytes[3];
        uint32_t number;
        Inner inner[2];
        uint16_t last[2];
    } read;
    const VdeDrfEntryT inner[] = {
        {VdeDrfNumbers16, offsetof(Inner, number), 1, 0, nullptr},
        {VdeDrfBytes, offsetof(Inner, byte), 1, 0, nullptr}, // and a pad byte
        {VdeDrfEnd, 0, 0, 0, nullptr},
    };
    const VdeDrfEntryT entries[] = {
        {VdeDrfBytes, offsetof(Outer, bytes), 3, 0, nullptr},
        {-5, offsetof(Outer, number), 1, 0, nullptr}, // after a pad byte
        {VdeDrfNested, offsetof(Outer, inner), 2, sizeof(Inner), inner},
        {VdeDrfNumbers16, offsetof(Outer, last), 2, 0, nullptr},
        {VdeDrfEnd, 0, 0, 0, nullptr},
    };
    const std::string content("abc-\1\2\3\x84\x12\x34X-\xFE\xDCY-\0\1\0\2", 20);
    const File stream = stream_of(content);
    ASSERT_EQ(Vde_drf_read(stream.get(), entries, &read), 0);
    EXPECT_EQ(std::string(read.bytes, read.bytes + 3), "abc");
    EXPECT_EQ(read.number, 0x01020384u);
    for (const auto &[in, byte, number] : {std::tuple(0, 'X', 0x1234), {1, 'Y', 0xFEDC}}) {
        EXPECT_EQ(read.inner[in].byte, byte);
        EXPECT_EQ(read.inner[in].number, number);
    }
    EXPECT_EQ(read.last[1], 2);
    EXPECT_EQ(getc(stream.get()), EOF);
    for (std::size_t length = 0; length < content.size(); ++length)
        EXPECT_EQ(Vde_drf_read(stream_of(content.substr(0, length)).get(), entries, &read), -1);
}

TEST_F(Resources, WithoutHeaderOrIndexNothingIsLoaded)
{
    ASSERT_EQ(load(sre({{1, "before"}})), 0);
    const auto header = [](unsigned long count) {
        return std::string(20, '\0') + big_endian(count, 4) + worked_example.substr(24);
    };
    for (const unsigned long count : {5ul, 32767ul, 32768ul, 0x10002ul, 0x80000002ul, 0xFFFFFFFFul})
        EXPECT_EQ(load(header(count)), -1) << count;
    EXPECT_EQ(load(""), -1);
    fs::remove("x.sre");
    fs::create_directory("x.sre");
    EXPECT_EQ(init("x"), -1);
    EXPECT_EQ(get(1), "before");
}

TEST_F(Resources, WhatCanBeReadIsKept)
{
    for (const char *offset : {"\0\0\0\x33", "\x7F\xFF\xFF\xFF", "\xFF\xFF\xFF\xFF"}) {
        ASSERT_EQ(load(std::string(worked_example).replace(32, 4, offset, 4)), 0);
        EXPECT_EQ(get(1), "Hello!");
        EXPECT_EQ(get(7), "");
    }
    // Where the search passes, out of order as they are.
    ASSERT_EQ(load(sre({{7, "a"}, {1, "b"}})), 0);
    EXPECT_EQ(get(7), "a");
    EXPECT_EQ(get(1), "???");
}

// Wherever the file is cut off, the strings are the file's or those from before.
TEST_F(Resources, CutAnywhere)
{
    ASSERT_EQ(load(sre({{1, "before"}})), 0);
    for (std::size_t length = 0; length <= worked_example.size(); ++length) {
        const bool has_index = length >= 36; // behind which the strings stand that the end may cut
        const auto kept = [length](std::size_t from, std::size_t size) {
            return length < from ? "" : worked_example.substr(from, std::min(length - from, size));
        };
        EXPECT_EQ(load(worked_example.substr(0, length)), has_index ? 0 : -1) << length;
        EXPECT_EQ(get(1), has_index ? kept(36, 6) : "before");
        EXPECT_EQ(get(7).substr(0, 4), has_index ? kept(43, 4) : "???");
    }
    EXPECT_EQ(get(2), "???");
    EXPECT_EQ(get(0x10001), "???"); // not string 1
}

// What loading takes is bounded by the file's size, wherever its index points.
TEST_F(Resources, StringsThatOverlapAreNoMoreThanTheFile)
{
    constexpr unsigned long count = 32767;
    const auto file = [](unsigned long step, char filling) {
        std::string index;
        for (unsigned long i = 0; i < count; ++i)
            index += big_endian(i, 2) + big_endian(24 + 6 * count + step * i, 4);
        return std::string(20, '\0') + big_endian(count, 4) + index + std::string(40000, filling) +
               "x";
    };
    EXPECT_EQ(load(file(0, 'x')), 0);
    EXPECT_EQ(get(count - 1), std::string(1023, 'x'));
    EXPECT_EQ(VdeInstance->srIndex[count - 1].offset, VdeInstance->srIndex[0].offset);
    EXPECT_STREQ(VdeSrError(), "");
    for (const char filling : {'x', ' '}) {
        EXPECT_EQ(load(file(1, filling)), -1);
        EXPECT_TRUE(std::string_view(VdeSrError()).starts_with("x.sre: string ")) << filling;
    }
    ASSERT_EQ(mkfifo("pipe.sre", 0600), 0);
    EXPECT_EQ(init("pipe"), -1);
    EXPECT_STREQ(VdeSrError(), "pipe.sre: it is not a plain file");
}
