// The board: a page that shows the chassis of a store as it changes. It runs on the thread that made it, whose store's
// client it uses.
//
// /         the page
// /state    all that it shows, as JSON: see Sheet::whole()
// /events   the same as server-sent events: first all of it, then what is different, every 100 ms at most. While
// nothing
//           changes an empty one every 5 s says that the board lives.
// /healthz  "up" or "lost", as the store is: always with the status 200, for it is the board that is asked for
#pragma once

#include <chrono>
#include <memory>

#include "board/address.h"
#include "store/store.h"

namespace board {

class Board {
public:
    // Loads what is stored. Throws a Failure when the store cannot be followed, or the address not be listened on.
    Board(store::Store &store, const Address &address);
    ~Board();
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    const Address &address() const;  // with the port that it got

    // Does what is due, after waiting for it up to so long; -1: without limit. A signal ends the wait.
    void process(std::chrono::milliseconds limit);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace board
