#include "verbs/seconds.h"

#include <algorithm>
#include <charconv>

#include "command_line/exit_status.h"
#include "command_line/text.h"

namespace capctl {

using namespace command_line;
using std::chrono::milliseconds;

milliseconds parse_seconds(const std::string &option, const std::string &text) {
    constexpr double kLongest = 1e6;  // eleven days
    constexpr double kMilliseconds = 1e3;
    double seconds = -1;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
    if (error != std::errc() || stopped != end || !(seconds >= 0 && seconds <= kLongest)) {
        throw Failure(kUsage, option + ": seconds from 0 to 1000000 expected, as in 30 or 0.5, not " + quote(text));
    }
    return milliseconds(static_cast<int64_t>(seconds * kMilliseconds));
}

milliseconds Deadline::left() const {
    if (!end_) {
        return milliseconds(-1);
    }
    return std::max(std::chrono::ceil<milliseconds>(*end_ - Clock::now()), milliseconds(0));
}

}  // namespace capctl
