// Plays timelines into a store.
#pragma once

#include <chrono>
#include <functional>

#include "scenario/timeline.h"
#include "store/store.h"

namespace scenario {

// What a moment writes, at once.
void write(store::Store &store, const Moment &moment);

using Clock = std::chrono::steady_clock;

struct Playing {
    double speed = 1;                                        // at 2 in half the time; at 0 without waiting
    std::function<void(const Moment &)> played = {};         // after the writes of each
    std::function<void(Clock::time_point)> wait_until = {};  // in place of sleeping
};

// A failure names the step that it met.
void play(store::Store &store, const Timeline &timeline, const Playing &playing);

}  // namespace scenario
