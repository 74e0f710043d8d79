// A line as the words that were typed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quib {

struct Word {
    std::string text;
    size_t bare = 0;  // how many bytes at its beginning stand there without quotes or backslash
};

struct Split {
    std::vector<Word> words;
    std::string error;  // not empty: the line cannot be split
};

// Words stand apart by blanks. What is in '...' is taken as it is, in "..." too except after a backslash; a backslash
// takes the byte after it as it is.
Split split(std::string_view line);

// A word of an operator's, fit to be shown to them: in double quotes, cut where it is long, nothing unprintable.
std::string shown(std::string_view word);

}  // namespace quib
