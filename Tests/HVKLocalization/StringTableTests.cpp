// The text of a string table: what is read, and what a fault costs.

#include "HVKLocalization/StringTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace hvk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

TEST(StringTable, ReadsEntriesCommentsAndEscapes) {
    const StringTable table = StringTable::parse(
        "\xEF\xBB\xBF/* A comment,\n \"over\" = \"lines\"; */\r\n"
        "\"a\" = \"one\"; // behind it\r\n"
        "\"b\"=\"two\";\"c\" /* between */ = \n\t\"three\"\n;\n"
        R"("quotes \" and \\" = "\tline\nnext\r\/\'";)"
        "\n"
        R"("unicode" = "\u00fc \U20ac \ud83d\ude00 \374 ü";)"
        "\n\"empty\" = \"\";");
    EXPECT_THAT(table.faults(), IsEmpty());
    EXPECT_THAT(table.entries(),
                ElementsAre(Pair("a", "one"), Pair("b", "two"), Pair("c", "three"), Pair("empty", ""),
                            Pair("quotes \" and \\", "\tline\nnext\r/'"), Pair("unicode", "ü € 😀 ü ü")));
    EXPECT_EQ(table.find("a"), "one");
    EXPECT_EQ(table.find("A"), std::nullopt);
    EXPECT_THAT(StringTable::parse("").entries(), IsEmpty());
}

TEST(StringTable, AFaultCostsItsLineAndIsNamed) {
    const struct {
        const char* line;
        const char* reason;
    } cases[] = {
        {R"("bad" "text";)", "there is no = behind the key \"bad\""},
        {R"("bad" = "text")", "there is no ; behind the text for \"bad\""},
        {R"("bad" = text;)", "the text for \"bad\" does not begin with a quotation mark"},
        {R"(bad = "text";)", "a key does not begin with a quotation mark"},
        {R"("bad = text;)", "a key does not end on its line"},
        {R"("bad" = "text;)", "the text for \"bad\" does not end on its line"},
        {"\"bad\" = \"text\\", "nothing behind a backslash"},
        {R"("bad" = "\q";)", "no such escape"},
        {R"("bad" = "\u12";)", "four hexadecimal digits"},
        {R"("bad" = "\ud83d";)", "stands alone"},
        {R"("bad" = "\ud83d\u0041";)", "stands alone"},
        {R"("bad" = "\ude00";)", "stands alone"},
        {R"("bad" = "\0";)", "zero character"},
        {R"("bad" = "\u0000";)", "zero character"},
        {"\"bad\" = \"\xFF\";", "not UTF-8"},
        {"\"bad\" = \"\xC3\";", "not UTF-8"},
        {"\"bad\" = \"\xC0\xAF\";", "not UTF-8"},
        {"\"bad\" = \"\xED\xA0\x80\";", "not UTF-8"},
        {"\"bad\" = \"\xF4\x90\x80\x80\";", "not UTF-8"},
        {"/* does not end", "the comment does not end"},
        {R"("first" = "another";)", "was there before"},
    };
    for (const auto& c : cases) {
        const StringTable table =
            StringTable::parse("\"first\" = \"1\";\n" + std::string(c.line) + "\n\"last\" = \"2\";\n");
        EXPECT_THAT(table.entries(), ElementsAre(Pair("first", "1"), Pair("last", "2"))) << c.line;
        ASSERT_EQ(table.faults().size(), 1U) << c.line;
        EXPECT_THAT(table.faults()[0].reason, HasSubstr(c.reason));
        EXPECT_EQ(table.faults()[0].line, 2U) << c.line;
    }
}

TEST(StringTable, AHostileFileEndsSoonAndIsNotRepeatedInTheLog) {
    std::string comments;
    std::string open;
    for (int line = 0; line < 100000; ++line) {
        comments += "/*\n";
        open += "\"" + std::to_string(line) + "\n";
    }
    for (const std::string& text : {comments, open, "\"" + std::string(1 << 20, 'k') + "\" 1;"}) {
        const StringTable table = StringTable::parse(text + "\"last\" = \"2\";");
        ASSERT_FALSE(table.faults().empty());
        EXPECT_LE(table.faults().size(), 20U);
        EXPECT_LE(table.faults()[0].reason.size(), 200U);
    }
    EXPECT_EQ(StringTable::parse(comments + "\"last\" = \"2\";").find("last"), "2");
}

}  // namespace
}  // namespace hvk
