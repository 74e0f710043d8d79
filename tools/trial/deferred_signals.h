// Signals that end the program, during a trial: what it has started is ended first.
#pragma once

#include <optional>

#include "command_line/handled_signals.h"

namespace trial {

// While it lives, SIGINT, SIGTERM and SIGHUP are noted, unless they are ignored. When it ends, the program gets the one
// that was noted once more, and ends as it would have. There is one at a time.
class DeferredSignals {
public:
    DeferredSignals();
    ~DeferredSignals();
    DeferredSignals(const DeferredSignals &) = delete;
    DeferredSignals &operator=(const DeferredSignals &) = delete;

    // Throws a Failure, without a message, once one was noted.
    static void check();

private:
    std::optional<command_line::HandledSignals<3>> signals_;
};

}  // namespace trial
