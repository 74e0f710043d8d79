// Time limits as they are written on a command line.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace capctl {

// 30, 0.5; throws a usage failure that names the option.
std::chrono::milliseconds parse_seconds(const std::string &option, const std::string &text);

// A moment that may never come.
class Deadline {
public:
    Deadline() = default;  // never
    explicit Deadline(std::chrono::milliseconds from_now) : end_(Clock::now() + from_now) {}

    bool has_passed() const { return end_ && Clock::now() >= *end_; }
    // -1 ms: without limit, as Follower::process() takes it. Rounded up, so that it has passed afterwards.
    std::chrono::milliseconds left() const;

private:
    using Clock = std::chrono::steady_clock;
    std::optional<Clock::time_point> end_;
};

}  // namespace capctl
