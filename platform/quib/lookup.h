// Finding the command that an operator means.
#pragma once

#include <string>
#include <string_view>

#include "commands.h"

namespace quib {

struct Lookup {
    const Command *command = nullptr;
    bool help = false;  // the module's own word is meant, not a command
    std::string error;  // not empty: neither is
};

// By its name, or by the beginning of it when no other begins so.
Lookup find_command(const Commands &commands, std::string_view word);

}  // namespace quib
