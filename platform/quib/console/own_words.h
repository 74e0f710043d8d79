// Lines that the operator's side deals with itself, of a script or at the prompt.
#pragma once

#include <string_view>

#include "command_line/words.h"

namespace console {

inline constexpr std::string_view kQuit = "quit";
inline constexpr std::string_view kExit = "exit";
inline constexpr std::string_view kList = "list";  // at the prompt; a module's own command of that name goes before

// Whether the operator wants to leave; modules do not know these words.
inline bool ends_session(std::string_view line) {
    const std::string_view word = command_line::trimmed(line);
    return word == kQuit || word == kExit;
}

// Nothing to be done: blanks, or a comment.
inline bool is_remark(std::string_view line) {
    const std::string_view text = command_line::trimmed(line);
    return text.empty() || text.front() == '#';
}

}  // namespace console
