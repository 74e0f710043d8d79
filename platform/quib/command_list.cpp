#include "command_list.h"

#include <algorithm>
#include <utility>

#include "protocol.h"

namespace quib {

bool is_command_name(std::string_view text) {
    constexpr std::string_view kSpecial = "'\"\\";
    return !text.empty() && text.size() <= QUIB_NAME_MAX && text.front() != '.' && text != kHelp &&
           std::ranges::all_of(
               text, [&](char c) { return c > ' ' && c < 0x7f && kSpecial.find(c) == std::string_view::npos; });
}

Command *Commands::find(std::string_view name) {
    const auto found = std::ranges::find(commands_, name, &Command::name);
    return found != commands_.end() ? &*found : nullptr;
}

bool Commands::has(std::string_view name) const {
    return std::ranges::find(commands_, name, &Command::name) != commands_.end();
}

void Commands::put(Command command) {
    if (Command *same = find(command.name)) {
        *same = std::move(command);
    } else {
        commands_.push_back(std::move(command));
    }
}

}  // namespace quib
