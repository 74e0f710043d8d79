// Colour on standard output, where it is wanted.
#pragma once

#include <string>

#include "verbs/verbs.h"

namespace capctl {

enum class Colour { kRed = 31, kGreen = 32, kYellow = 33, kBlue = 34, kGrey = 90 };

inline std::string painted(const Session &session, Colour colour, const std::string &text) {
    return session.colour ? "\x1b[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\x1b[0m" : text;
}

}  // namespace capctl
