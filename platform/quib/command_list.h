// The commands of a module.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "format.h"
#include "quib.h"

namespace quib {

struct Command {
    std::string name;
    std::string format_text;  // as registered
    Format format;
    QuibHandler handler;
    std::string text;  // what it is for; may be empty
};

// A word that an operator can type without quotes, and that is none of the module's own.
bool is_command_name(std::string_view text);

class Commands {
public:
    // Adds a command at the end, or replaces the one of that name.
    void put(Command command);

    // Nothing when there is none of that name.
    Command *find(std::string_view name);

    bool has(std::string_view name) const;

    // In the order in which they were registered.
    const std::vector<Command> &all() const { return commands_; }

private:
    std::vector<Command> commands_;
};

}  // namespace quib
