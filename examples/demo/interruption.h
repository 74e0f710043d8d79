// Ctrl-C and its like end the demo, but not before it has put away what it made.
#pragma once

#include <stdexcept>

namespace demo {

class Interrupted : public std::runtime_error {
public:
    explicit Interrupted(int signal) : std::runtime_error("interrupted"), signal_(signal) {}

    int signal() const { return signal_; }

private:
    int signal_;
};

// From here on these signals are only noted: SIGINT, SIGTERM, SIGHUP, and SIGPIPE, when nobody reads any more. One that
// is ignored already stays so, as nohup and shells want it.
void note_interruptions();

// The signal that came, or 0.
int interruption();

void throw_if_interrupted();

}  // namespace demo
