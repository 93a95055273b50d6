// What both programs show: texts of others, and what a mistyped word was meant to be.
#include <gtest/gtest.h>

#include "apps/common/printable.h"
#include "apps/common/text_table.h"
#include "apps/common/usage.h"

namespace ORVX::Cli {
namespace {
TEST(ShownTextTest, EscapesWhatWouldMoveATerminal)
{
    const std::pair<std::string, const char*> cases[] = {
        {"plain \"text\" \\ stays", "plain \"text\" \\ stays"},
        {"\x1b[31mred\x1b[0m", "\\x1b[31mred\\x1b[0m"},
        {"one\ntwo\r\tthree\x7f\x01", "one\\ntwo\\r\\tthree\\x7f\\x01"},
        {std::string("a\0b", 3), "a\\x00b"},
        {"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80", "\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"}, // of 2, 3 and 4 bytes
        {"\xc2\x9b"
         "31m",
         "\\xc2\\x9b31m"}, // U+009B begins a control sequence as well
        {"\xc2\x80 \xc2\x9f \xc2\xa0", "\\xc2\\x80 \\xc2\\x9f \xc2\xa0"},
        // U+0800, U+D7FF, U+E000, U+10000, U+10FFFF, and then one below or above such a border
        {"\xe0\xa0\x80 \xed\x9f\xbf \xee\x80\x80 \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf",
         "\xe0\xa0\x80 \xed\x9f\xbf \xee\x80\x80 \xf0\x90\x80\x80 \xf4\x8f\xbf\xbf"},
        {"\xe0\x9f\xbf \xf0\x8f\xbf\xbf \xed\xbf\xbf", "\\xe0\\x9f\\xbf \\xf0\\x8f\\xbf\\xbf \\xed\\xbf\\xbf"},
        {"\xff \xe2\x82 \xc0\x9b \xed\xa0\x80 \xe0\x80\x8a \xf4\x90\x80\x80", // cut, too long, surrogates, too high
         "\\xff \\xe2\\x82 \\xc0\\x9b \\xed\\xa0\\x80 \\xe0\\x80\\x8a \\xf4\\x90\\x80\\x80"},
        {"\xc3", "\\xc3"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(Printable(text), shown);
    }
    EXPECT_EQ(PrintableLines("one\ntwo\x1b\n"), "one\ntwo\\x1b\n");
    TextTable table({"A", "B"});
    table.Add({"x\ny", "z"});
    EXPECT_EQ(table.ToString(), "A     B\nx\\ny  z\n");
}

TEST(ShownTextTest, KnowsWhatAMistypedWordMeans)
{
    const std::vector<std::string> commands = {"deliver", "device", "apply", "status", "test"};
    const std::pair<const char*, const char*> cases[] = {
        {"aply", "apply"},
        {"appply", "apply"},
        {"appyl", "apply"},
        {"atatus", "status"},
        {"stat", "status"},
        {"devcie", "device"},
        {"deli", "deliver"},
        {"tset", "test"},
        {"boot", ""},
        {"st", "status"},
        {"x", ""},
        {"", ""},
        {"statusline", ""},
        {"tevcie", "device"},
        {"dexixe", "device"},
        {"dexixx", ""},
        {"xxdevice", "device"},
        {"vice", "device"},
        {"edvice", "device"},
        {"edvixe", "device"},
        {"edvxxe", ""},
        {"devixec", "device"},
        {"ts", ""},
    };
    for (const auto& [word, meant] : cases) {
        EXPECT_EQ(NearestOf(commands, word), meant) << word;
    }
}
} // namespace
} // namespace ORVX::Cli
