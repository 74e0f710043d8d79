// The argument format of a command: "void", or words such as node=%d, url=%s, %d or %s.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quib {

struct Argument {
    enum class Kind { kNumber, kText };

    std::string name;  // empty: given in order only
    Kind kind;
};

using Format = std::vector<Argument>;

// Empty when the text is no format: another conversion, a name that is none or is there twice, a blank too many.
std::optional<Format> parse_format(std::string_view text);

// For an operator: " node=NUMBER url=TEXT"; nothing when there are no arguments.
std::string describe(const Format &format);

}  // namespace quib
