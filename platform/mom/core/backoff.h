// When to try to connect again: a rule of the times it is told, without a clock of its own.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>

namespace mom {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;
using Millis = std::chrono::milliseconds;

// Pauses double from 50 ms to 2 s; each is shortened at random by up to a quarter (never below 50 ms), so that the
// followers of a store that went down do not all come back in the same instant.
class Backoff {
public:
    static constexpr Millis kFirst{50};
    static constexpr Millis kLongest{2000};

    explicit Backoff(uint32_t seed) : random_(seed) {}

    void connected(TimePoint now) { connected_since_ = now; }

    // A connection was lost, or an attempt failed: when the next attempt is due. Only a connection that lasted starts
    // the rule afresh: one that breaks at once, again and again, is a failing attempt like any other.
    TimePoint failed(TimePoint now) {
        if (connected_since_ != TimePoint::max() && now - connected_since_ >= kLongest) {
            pause_ = kFirst;
        }
        connected_since_ = TimePoint::max();
        const Millis shortest = std::max(kFirst, pause_ * 3 / 4);
        std::uniform_int_distribution<Millis::rep> pick(shortest.count(), pause_.count());
        const Millis pause{pick(random_)};
        pause_ = std::min(pause_ * 2, kLongest);
        return now + pause;
    }

private:
    std::minstd_rand random_;
    Millis pause_ = kFirst;
    TimePoint connected_since_ = TimePoint::max();
};

}  // namespace mom
