// Doing what a line of an operator says.
#pragma once

#include <string_view>

#include "answer.h"
#include "command_list.h"
#include "ox_mom.h"

namespace quib {

// Runs the line, which is a command of these or a word of the module's own; the module is this client's.
Answer interpret(const Commands &commands, MomClient *client, std::string_view line);

}  // namespace quib
