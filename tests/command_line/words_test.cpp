// A line that quib puts together is taken apart by a module into the same words.
#include "command_line/words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace command_line_test {
namespace {

using command_line::join;
using command_line::split;

std::vector<std::string> words_of(std::string_view line) {
    std::vector<std::string> words;
    for (const command_line::Word &word : split(line).words) {
        words.push_back(word.text);
    }
    return words;
}

TEST(Words, ComeBackAsTheyWere) {
    std::mt19937 random;  // NOLINT(cert-msc51-cpp): the same words each time
    constexpr std::string_view kLetters = "ab=3_ \t'\"\\\r#\xc3\xa4/";
    for (int i = 0; i < 20000; ++i) {
        std::vector<std::string> words(random() % 5);
        for (std::string &word : words) {
            for (auto length = random() % 8; length > 0; --length) {
                word += kLetters[random() % kLetters.size()];
            }
        }
        const std::string line = join(words);
        EXPECT_EQ(split(line).error, "") << line;
        EXPECT_EQ(words_of(line), words) << line;
    }
}

// In quotes it would be a part of the value.
TEST(Words, HaveTheNameOfAnArgumentOutsideOfTheQuotes) {
    EXPECT_EQ(join({"url=a b"}), "url=\"a b\"");
    EXPECT_EQ(join({"_x9=a b"}), "_x9=\"a b\"");
    EXPECT_EQ(join({"9x=a b"}), "\"9x=a b\"");
    EXPECT_EQ(join({"=a b"}), "\"=a b\"");
    EXPECT_EQ(split("url=\"a b\"").words[0].bare, 4U);
    EXPECT_EQ(split("\"url\"=a").words[0].bare, 0U);
}

TEST(Words, AreUnfinishedWhereTheLineEndsInOne) {
    for (const std::string_view line : {"dump", "dump url=\"a b", "dump 'a", "'a' b", "\"a\""}) {
        EXPECT_TRUE(split(line).in_word) << line;
    }
    for (const std::string_view line : {"", "  ", "dump ", "dump 'a b' ", "a\t"}) {
        EXPECT_FALSE(split(line).in_word) << line;
    }
}

}  // namespace
}  // namespace command_line_test
