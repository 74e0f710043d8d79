// The words that can stand where the operator presses Tab.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace console {

struct Command {
    std::string name;
    std::vector<std::string> arguments;  // the names of those that have one
    bool takes_arguments;
};

struct Completion {
    std::string missing;               // what is certain to come next
    std::vector<std::string> choices;  // what could come; nothing when it is certain
};

// From the module's answer to ".commands".
std::vector<Command> parse_commands(std::string_view answer);

bool has_command(const std::vector<Command> &commands, std::string_view name);

// Completes the line up to the cursor.
Completion complete(const std::vector<Command> &commands, std::string_view line);

// In columns, for a terminal of this width.
std::string in_columns(const std::vector<std::string> &words, size_t width);

}  // namespace console
