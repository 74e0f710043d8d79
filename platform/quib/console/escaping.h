// The words of other users' programs, made harmless for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace console {

// Shows what a terminal would obey as \x1b, and lets the rest pass: text, ASCII or UTF-8, its tabs and line ends.
// Text that comes in pieces is taken as one.
class Escaping {
public:
    std::string apply(std::string_view bytes);

private:
    bool is_text(unsigned char byte);

    unsigned following_ = 0;      // bytes of the character that are still to come
    unsigned char smallest_ = 0;  // that the next of them may be
};

}  // namespace console
