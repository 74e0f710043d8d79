// Suggestions for a name that is mistyped.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace command_line {

// Of the names, those that look most like what may have been meant: within a slip of the fingers of each three letters,
// or with the word in them.
std::vector<std::string> similar_names(std::string_view word, const std::vector<std::string> &names);

// "; did you mean a, b?", or nothing when none is similar.
std::string did_you_mean(std::string_view word, const std::vector<std::string> &names);

// With commas between them.
std::string joined(const std::vector<std::string> &names);

}  // namespace command_line
