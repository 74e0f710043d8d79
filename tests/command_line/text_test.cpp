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

}  // namespace
}  // namespace command_line_test
