// Names, by a word that is one of them, begins some, or has a mistake in it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace command_line {

// Of the names, those that may be meant: the one that the word is, else all that it begins. An empty word is none.
std::vector<std::string> meant_names(std::string_view word, const std::vector<std::string> &names);

// Of the names, those that look most like what may have been meant: within a slip of the fingers of each three letters,
// or with the word in them.
std::vector<std::string> similar_names(std::string_view word, const std::vector<std::string> &names);

// "; did you mean a, b?", or nothing when none is similar.
std::string did_you_mean(std::string_view word, const std::vector<std::string> &names);

// With commas between them.
std::string joined(const std::vector<std::string> &names);

// Likewise, but for the last, which comes after "or".
std::string alternatives(std::vector<std::string> names);

// What is said of options that were all given, and exclude each other.
std::string only_one_of(std::vector<std::string> options);

}  // namespace command_line
