// Times as scenarios write them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace scenario {

using Time = std::chrono::microseconds;

// 50ms, 2s, 1.5m, 0; units are us, ms, s, m and h. Nothing: it is no such time, or longer than a year.
std::optional<Time> parse_time(std::string_view text);
// In the largest unit that takes a whole number, up to seconds.
std::string time_text(Time time);

}  // namespace scenario
