#include "scenario/time.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

namespace scenario {

namespace {

struct Unit {
    std::string_view name;
    double microseconds;
};

constexpr Unit kUnits[] = {{"us", 1}, {"ms", 1e3}, {"s", 1e6}, {"m", 6e7}, {"h", 3.6e9}};
constexpr double kLongest = 3.6e9 * 24 * 365;

}  // namespace

std::optional<Time> parse_time(std::string_view text) {
    double number = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    const std::string_view name(stopped, static_cast<size_t>(end - stopped));
    if (error != std::errc() || !(number >= 0)) {
        return std::nullopt;
    }
    if (number == 0 && name.empty()) {
        return Time(0);
    }
    const auto *unit =
        std::find_if(std::begin(kUnits), std::end(kUnits), [&](const Unit &each) { return each.name == name; });
    if (unit == std::end(kUnits) || number * unit->microseconds > kLongest) {
        return std::nullopt;
    }
    return Time(std::llround(number * unit->microseconds));
}

std::string time_text(Time time) {
    constexpr int64_t kThousand = 1000;
    int64_t number = time.count();
    const char *unit = "us";
    for (const char *larger : {"ms", "s"}) {
        if (number % kThousand == 0) {
            number /= kThousand;
            unit = larger;
        } else {
            break;
        }
    }
    return number == 0 ? "0" : std::to_string(number) + unit;
}

}  // namespace scenario
