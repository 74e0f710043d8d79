// The words of a line as the arguments that a format names.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "command_line/words.h"
#include "format.h"

namespace quib {

struct Value {
    Argument::Kind kind = Argument::Kind::kNumber;
    int32_t number = 0;
    std::string text;
};

struct Binding {
    std::vector<Value> values;  // in the order of the format
    std::string error;          // not empty: what is wrong with the words
};

// NAME=VALUE gives the argument of that name; what has no name is given, in order, to the arguments that are left.
Binding bind(const Format &format, std::span<const command_line::Word> words);

}  // namespace quib
