// A line and its words: taken apart as a module does, put together as quib does.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace command_line {

struct Word {
    std::string text;
    size_t bare = 0;  // how many bytes at its beginning stand there without quotes or backslash
};

struct Split {
    std::vector<Word> words;
    bool in_word = false;  // the line ends within the last of them
    std::string error;     // not empty: the line cannot be split
};

// Words stand apart by blanks. What is in '...' is taken as it is, in "..." too except after a backslash; a backslash
// takes the byte after it as it is.
Split split(std::string_view line);

// A line that is split into these words, quoted where they need it.
std::string join(const std::vector<std::string> &words);

// Without the blanks around it.
std::string_view trimmed(std::string_view line);

// A letter or '_', then letters, digits and '_'.
bool is_argument_name(std::string_view text);

}  // namespace command_line
