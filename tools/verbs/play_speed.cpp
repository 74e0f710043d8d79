#include "verbs/play_speed.h"

#include <charconv>

#include "command_line/exit_status.h"
#include "command_line/text.h"

namespace capctl {

double parse_speed(const std::string &text) {
    if (text == "max") {
        return 0;
    }
    constexpr double kSlowest = 1e-3;
    constexpr double kFastest = 1e9;
    double speed = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, speed);
    const bool in_range = speed == 0 || (speed >= kSlowest && speed <= kFastest);
    if (error != std::errc() || stopped != end || !in_range) {
        throw command_line::Failure(command_line::kUsage, "--speed: a factor from 0.001 on, 0 or max expected, not " +
                                                              command_line::quote(text));
    }
    return speed;
}

}  // namespace capctl
