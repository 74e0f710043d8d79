// Text from outside, as it is shown.
#include "command_line/text.h"

#include <gtest/gtest.h>

namespace command_line_test {
namespace {

using command_line::masked;
using command_line::printable;
using command_line::quote;
using command_line::shown;

TEST(Text, InQuotesIsOneLineAndUnambiguous) {
    EXPECT_EQ(quote("a \"b\"\\\n\x1b\xc3\xa4\xff"), "\"a \\\"b\\\"\\\\\\n\\x1b\xc3\xa4\\xff\"");
}

TEST(Text, ThatIsPrintableKeepsItsLinesAndQuotes) {
    EXPECT_EQ(printable("a \"b\"\\\nc\x1b[2J\xc2\x9b\t"), "a \"b\"\\\nc\\x1b[2J\\xc2\\x9b\\t");
}

TEST(Text, ThatIsMaskedKeepsItsLength) {
    EXPECT_EQ(masked("a\nb\x1b\x7f\xc3\xa4"), "a?b??\xc3\xa4");
    EXPECT_EQ(shown(std::string(61, 'x')), '"' + std::string(60, 'x') + "...\"");
    EXPECT_EQ(shown(std::string(60, 'x')), '"' + std::string(60, 'x') + '"');
}

TEST(Table, HasColumnsAsWideAsTheirCells) {
    EXPECT_EQ(command_line::table({{"a", "  b", "  c"}, {"long", "", "  d"}, {"x"}, {"y", "  longer"}, {""}}),
              "a     b       c\nlong          d\nx\ny     longer\n\n");
    EXPECT_EQ(command_line::table({}), "");
}

// As a terminal shows it, not as bytes.
TEST(Table, CountsColumns) {
    EXPECT_EQ(command_line::columns_of("abc"), 3U);
    EXPECT_EQ(command_line::columns_of("\xc3\xa4\xe2\x82\xac"), 2U) << "a letter and a sign, of two and three bytes";
    EXPECT_EQ(command_line::columns_of("a\xcc\x88"), 1U) << "two dots upon the a";
    EXPECT_EQ(command_line::columns_of("\xe5\x8d\xa1\xf0\x9f\x98\x80"), 4U) << "both are wide";
    EXPECT_EQ(command_line::columns_of("\xff\xc3"), 2U) << "no UTF-8";
    EXPECT_EQ(command_line::table({{"\xc3\xa4", "  b"}, {"xy", "  c"}, {"\xe5\x8d\xa1", "  d"}}),
              "\xc3\xa4   b\nxy  c\n\xe5\x8d\xa1  d\n");
}

}  // namespace
}  // namespace command_line_test
