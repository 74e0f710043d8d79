// The prompt: an operator at a terminal.
#pragma once

#include <chrono>
#include <string>

#include "served_modules.h"

namespace console {

// Has the operator's commands run until there are no more; returns the exit status. Throws a Failure when the module
// answers no more.
int run_prompt(const std::string &directory, const Target &target, std::chrono::milliseconds limit);

}  // namespace console
