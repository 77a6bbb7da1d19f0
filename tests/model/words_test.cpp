// Word lists, spelling, dictionaries and fonts, through the calls of clients.

#include "host/values/text.h"
#include "support/host_in_process.h"

namespace velt::host
{
namespace
{

std::string joined(V_StringsT all)
{
    std::string text;
    for (UIntT i = 0; i < all.len; i++)
        text += (i ? "," : "") + std::string(all.val[i]);
    V_ApiDeallocateStrings(&all);
    return text;
}

const std::string words =
    "the\ncat\nhat\nParis\ncat's\nna\xC3\xAFve\n\xC5\x99\xC3\xAD\nvis-a-vis\n";

class Words : public HostInProcess
{
protected:
    const UIntT document = model.create_document("");
    const UIntT flow = model.at(document).first;

    void read(const std::string &list, IntT language = V_language_usenglish)
    {
        velt::test::write("words", list);
        spelling.read("words", language);
    }
    // Makes a paragraph that has this text from the start.
    UIntT paragraph(const std::string &bytes, UIntT in)
    {
        const UIntT made = model.create_in(document, object_type::paragraph, in);
        const_cast<Object &>(model.at(made)).text = bytes;
        return made;
    }
    // Returns what is wrong from the place on, each with its characters and suggestions, and the
    // status that ends it.
    std::string mistakes(V_TextLocT place, const V_PropValsT &options = {})
    {
        std::string all;
        for (;;) {
            IntT fault = 0;
            V_StringsT suggestions{};
            VA_errno = ok;
            const auto [begin, end] = V_ApiSpell(document, &place, &options, &fault, &suggestions);
            const std::string meant = joined(suggestions);
            if (VA_errno != ok)
                return all + std::to_string(VA_errno);
            EXPECT_EQ(begin.objId, end.objId);
            all += std::to_string(begin.offset) + "-" + std::to_string(end.offset);
            all += (fault == V_spelling_wrong_case ? " case " : " ") + meant + "; ";
            place = end;
        }
    }
    std::string mistakes_in(const std::string &text)
    {
        const auto made = paragraph(text, flow);
        const std::string found = mistakes({made, 0});
        model.remove(document, made);
        return found;
    }
    IntT operate(UIntT id, const char *word, IntT operation)
    {
        return V_ApiModifyDictionary(id, 0, operation, word);
    }
};

TEST_F(Words, ListsOfEitherKind)
{
    for (const std::string &list : {std::string("\xEF\xBB\xBF"
                                                "cat\r\n\r\nParis\r\nhat"),
                                    std::string("3\ncat/SM po:noun\nParis\t1\nhat/\n")}) {
        read(list);
        EXPECT_EQ(mistakes_in("cat Cat CAT hat paris PARIS 3 3rd"), "16-21 case Paris; -10");
    }
    const std::pair<std::string, const char *> wrong[] = {
        {"cat\nhat\n\xE9t\xE9\n", "words:3: not UTF-8"},
        {"cat\n" + std::string(2000, 'x'), "words:2: longer"},
        {"\n\xC5\x99\n", "words: has no word"},
    };
    for (const auto &[list, message] : wrong) {
        const std::string error = velt::test::error_of([&, of = list] { read(of); });
        EXPECT_TRUE(error.starts_with(message)) << error;
    }
    EXPECT_THROW(spelling.read("absent", 1), Error);
}

TEST_F(Words, SpellingGoesThroughTheDocument)
{
    read(words);
    // In Quire text 0xD5 is an apostrophe, 4 a mark for hyphenation, 0x95 the letter in "naïve".
    const UIntT first =
        paragraph("Teh cat\xD5s 'hat' t\x04he x2 na\x95ve. vis-a-vis, Na\x95v\n", flow);
    paragraph("cat", flow);
    paragraph("paris", model.create(document, object_type::flow, ""));
    model.create_in(document, object_type::paragraph, model.at(document).last);
    EXPECT_EQ(mistakes({first, 0}), "0-3 The; 42-46 Na\x95ve; 0-5 case Paris; -10");
    EXPECT_EQ(mistakes({first, 1}), "42-46 Na\x95ve; 0-5 case Paris; -10") << "inside a word";
    EXPECT_EQ(mistakes({first, 48}), "-11");
    EXPECT_EQ(mistakes({first, -1}), "-11");
    EXPECT_EQ(mistakes({flow, 0}), "-6");
    EXPECT_EQ(mistakes({4711, 0}), "-3");

    V_PropValT option{{V_spelling_closing, nullptr}, {kind::string, {}}};
    option.propVal.u.stringVal = str("c");
    const V_PropValsT options{1, &option};
    EXPECT_EQ(mistakes({first, 4}, options).find("5-9 "), 0u);
    option.propVal.valType = kind::integer;
    EXPECT_EQ(mistakes({first, 0}, options), "-6");
    option.propIdent.num = 1000; // known, but not heeded
    EXPECT_EQ(mistakes({first, 40}, options), "42-46 Na\x95ve; 0-5 case Paris; -10");
    option.propIdent.num = 1;
    EXPECT_EQ(mistakes({first, 0}, options), "-4");
}

// Offsets count characters; the second bytes of some are letters of ASCII.
TEST_F(Words, SpellingOfTwoByteText)
{
    const auto in = [](IntT language, const char *text) {
        return SessionText(language).from_utf8(text);
    };
    read(words, V_language_japanese);
    EXPECT_EQ(mistakes_in(in(V_language_japanese, "テストcatt、アイCat’s hta")),
              "3-7 cat; 16-19 hat; -10");
    read("고양이\n", V_language_korean);
    EXPECT_EQ(mistakes_in(in(V_language_korean, "고양이 고이 漢字")),
              "4-6 " + in(V_language_korean, "고양이") + "; -10");
}

TEST_F(Words, SuggestionsBestFirst)
{
    std::string many = words + "hate\nchat\nat\n";
    for (char c = 'a'; c <= 'z'; c++)
        many += std::string(1, c) + "og\n";
    read(many);
    EXPECT_EQ(mistakes_in("hta HTE caat"), "0-3 hat; 4-7 THE,HATE; 8-12 cat,chat; -10");
    EXPECT_EQ(mistakes_in("\xBFog"), "0-3 aog,bog,cog,dog,eog,fog,gog,hog,iog,jog; -10");
    EXPECT_EQ(mistakes_in(std::string(100000, 'a')), "0-100000 ; -10");
}

TEST_F(Words, HunspellKnowsEndings)
{
    velt::test::write("en.aff", "SET UTF-8\nSFX S Y 1\nSFX S 0 s .\n");
    velt::test::write("en.dic", "2\ncat/S\nna\xC3\xAFve\n");
    spelling.read("en.dic", V_language_usenglish);
    EXPECT_EQ(mistakes_in("Cats na\x95ves na\x95vee"),
              HUNSPELL ? "5-11 na\x95ve; 12-18 na\x95ve; -10"
                       : "0-4 Cat; 5-11 na\x95ve; 12-18 na\x95ve; -10");
}

TEST_F(Words, Dictionaries)
{
    read(words);
    const UIntT other = model.create_document("");
    const UIntT book = V_ApiNewNamedObject(0, V_type_book, "");
    const UIntT text = paragraph("Velt Shelfwise d\xD5"
                                 "Or",
                                 flow);
    const auto add = V_dictionary_add;
    EXPECT_EQ(operate(0, "Velt", add), ok);
    EXPECT_EQ(operate(document, "Shelfwise", add), ok);
    EXPECT_EQ(operate(other, "d'Or", add), ok);
    EXPECT_EQ(mistakes({text, 0}), "15-19 ; -10");
    EXPECT_EQ(operate(document,
                      "d\xD5"
                      "Or",
                      add),
              ok);
    EXPECT_EQ(mistakes({text, 0}), "-10");

    const auto read_out = [&](UIntT id) { return joined(V_ApiGetDictionaryStrings(id, 0)); };
    EXPECT_EQ(read_out(document), "Shelfwise,d'Or");
    EXPECT_EQ(operate(document, "Shelfwise", V_dictionary_remove), ok);
    EXPECT_EQ(operate(document, "Shelfwise", V_dictionary_remove), not_found);
    EXPECT_EQ(operate(document, "Shelfwise", V_dictionary_contains), not_found);
    EXPECT_EQ(operate(0, "Velt", V_dictionary_contains), ok);
    EXPECT_CALL(ok, 0, V_ApiResetSpelling(document));
    EXPECT_EQ(read_out(document), "");
    EXPECT_EQ(read_out(other), "d'Or");
    EXPECT_EQ(operate(other, "", V_dictionary_clear), ok);
    EXPECT_EQ(read_out(other), "");

    EXPECT_EQ(operate(0, "", add), bad_value);
    EXPECT_EQ(operate(0, "a", 8), bad_value);
    EXPECT_EQ(operate(book, "a", add), wrong_kind);
    EXPECT_EQ(operate(4711, "a", add), no_such_document);
    EXPECT_CALL(no_such_document, no_such_document, V_ApiResetSpelling(0));
}

TEST_F(Words, NotSupportedWithoutAList)
{
    EXPECT_EQ(mistakes({0, 0}), "-60");
    EXPECT_EQ(mistakes({0, 0}), "-60");
    ASSERT_EQ(person.reports.size(), 1u);
    EXPECT_NE(person.reports[0].find("--words"), std::string::npos);
    ModelResponder speechless{{model, documents}};
    LibraryCalls its_calls(host, speechless);
    EXPECT_EQ(mistakes({0, 0}), "-60");
    EXPECT_EQ(operate(0, "a", V_dictionary_add), not_supported);
}

TEST_F(Words, FontsHaveSupportedEncodings)
{
    EXPECT_EQ(told(V_ApiFamilyFonts(1)).find("[{family=1 variation=0 weight=0 angle=0 }"), 0u);
    EXPECT_CALL(not_found, "[] ", V_ApiFamilyFonts(-1));
    EXPECT_CALL(ok,
                "[{family=101 variation=0 weight=0 angle=0 } "
                "{family=101 variation=0 weight=1 angle=0 } ] ",
                V_ApiCombinedFamilyFonts(101));
    const V_FontT mincho{7, 0, 1, 0}, slanted{7, 0, 1, 1};
    EXPECT_CALL(ok, "JISX0208.ShiftJIS", V_ApiGetEncodingForFont(&mincho));
    EXPECT_CALL(not_found, "null", V_ApiGetEncodingForFont(&slanted));
    for (IntT family = 1; family <= 11; family++) {
        StringT encoding = V_ApiGetEncodingForFamily(family);
        EXPECT_CALL(ok, 1, V_ApiIsEncodingSupported(encoding));
        V_ApiDeallocateString(&encoding);
    }
    V_StringsT all = V_ApiGetSupportedEncodings();
    EXPECT_EQ(all.len, 17u);
    for (UIntT i = 0; i < all.len; i++)
        EXPECT_CALL(ok, 1, V_ApiIsEncodingSupported(all.val[i]));
    V_ApiDeallocateStrings(&all);
    for (const char *name : {"utf8", "EUC-JP", "quire", "veltroman"})
        EXPECT_CALL(ok, 1, V_ApiIsEncodingSupported(name));
    for (const char *name : {"", "-", "UTF-16"})
        EXPECT_CALL(ok, 0, V_ApiIsEncodingSupported(name));
}

} // namespace
} // namespace velt::host
