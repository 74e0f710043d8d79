#include "scenario/player.h"

#include <thread>

#include "command_line/exit_status.h"

namespace scenario {

namespace {

// By the clock of the beginning: pauses that are each a little long do not add up.
void wait(Clock::time_point begin, Time at, const Playing &playing) {
    if (playing.speed <= 0) {
        return;
    }
    const std::chrono::duration<double, std::micro> scaled =
        std::chrono::duration<double, std::micro>(at) / playing.speed;
    const Clock::time_point due = begin + std::chrono::duration_cast<Clock::duration>(scaled);
    if (playing.wait_until) {
        playing.wait_until(due);
    } else {
        std::this_thread::sleep_until(due);
    }
}

}  // namespace

void write(store::Store &store, const Moment &moment) {
    for (const Write &each : moment.writes) {
        if (each.kind == Write::Kind::kSet) {
            store.write(each.record);
        } else {
            store.remove(each.record);
        }
    }
}

void play(store::Store &store, const Timeline &timeline, const Playing &playing) {
    const Clock::time_point begin = Clock::now();
    for (const Moment &moment : timeline.moments) {
        wait(begin, moment.at, playing);
        try {
            write(store, moment);
        } catch (const command_line::Failure &failure) {
            throw command_line::Failure(failure.status(), "line " + std::to_string(moment.line) + ", " + moment.text +
                                                              ": " + failure.what());
        }
        if (playing.played) {
            playing.played(moment);
        }
    }
    wait(begin, timeline.length, playing);
}

}  // namespace scenario
