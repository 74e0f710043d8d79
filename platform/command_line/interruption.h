// Being interrupted as a way to end well.
#pragma once

#include <optional>

#include "base/fd.h"
#include "command_line/handled_signals.h"

namespace command_line {

// While there is one, SIGINT or SIGTERM does not end the program but is told by it; a second one ends the program with
// kInterrupted. A program has one at a time.
class Interruption {
public:
    Interruption();
    ~Interruption() = default;
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    bool has_come() const;
    // Readable once it has come.
    int fd() const { return fd_.get(); }

private:
    base::Fd fd_;
    std::optional<HandledSignals<2>> signals_;  // destroyed first
};

}  // namespace command_line
