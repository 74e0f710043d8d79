// A scenario on the board: both in one process, over one store.
#pragma once

#include "board/board.h"
#include "scenario/scenario.h"

namespace board {

struct Showing {
    double speed = 1;    // as a player's
    bool loops = false;  // again and again from an empty store, without end
};

// Serves the board meanwhile; returns once all is played. The store is the board's, and empty.
void show(Board &board, store::Store &store, const scenario::Scenario &scenario, const Showing &showing);

}  // namespace board
