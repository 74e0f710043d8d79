#include "board/show.h"

#include <algorithm>
#include <chrono>

#include "scenario/player.h"
#include "store/snapshot.h"

namespace board {

using namespace std::chrono;
using scenario::Clock;

namespace {

constexpr seconds kRest(2);  // at the end, so that it can be seen before all begins again

void clear(store::Store &store) {
    const auto stored = store::Snapshot::of(store);
    for (const auto &[key, record] : stored.records()) {
        store.remove(record);
    }
}

void serve_until(Board &board, Clock::time_point due) {
    do {
        board.process(std::max(ceil<milliseconds>(due - Clock::now()), milliseconds(0)));
    } while (Clock::now() < due);
}

}  // namespace

void show(Board &board, store::Store &store, const scenario::Scenario &scenario, const Showing &showing) {
    scenario::Playing playing;
    playing.speed = showing.speed;
    playing.wait_until = [&](Clock::time_point due) { serve_until(board, due); };
    // What has no pauses is seen as it happens, too.
    playing.played = [&](const scenario::Moment &) { serve_until(board, Clock::now()); };
    for (;;) {
        scenario::play(store, scenario.before, playing);
        scenario::play(store, scenario.steps, playing);
        if (!showing.loops) {
            return;
        }
        serve_until(board, Clock::now() + kRest);
        clear(store);
    }
}

}  // namespace board
