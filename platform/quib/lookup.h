// Finding the command that an operator means.
#pragma once

#include <string>
#include <string_view>

#include "command_list.h"

namespace quib {

struct Lookup {
    const Command *command = nullptr;
    std::string_view own;  // the word of the module's own that is meant instead; or empty
    std::string error;     // not empty: neither is
};

// By its name, or by the beginning of it when no other begins so. A command comes before the word "store", which
// programs may well have had before there was one.
Lookup find_command(const Commands &commands, std::string_view word);

}  // namespace quib
