// What a line of an operator's does.
#pragma once

#include <string_view>

#include "answer.h"
#include "commands.h"

namespace quib {

// Runs the line, which is a command of these or a word of the module's own.
Answer interpret(const Commands &commands, std::string_view line);

}  // namespace quib
