// Being interrupted as a way to end well.
#pragma once

#include <array>
#include <csignal>

#include "base/fd.h"

namespace command_line {

// While there is one, SIGINT or SIGTERM does not end the program but is told by it; a second one ends the program with
// kInterrupted. One that is ignored stays ignored, as SIGINT is in what a script starts with "&". A program has one at
// a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption &) = delete;
    Interruption &operator=(const Interruption &) = delete;

    bool has_come() const;
    // Readable once it has come.
    int fd() const { return fd_.get(); }

private:
    static constexpr std::array<int, 2> kSignals = {SIGINT, SIGTERM};

    base::Fd fd_;
    std::array<struct sigaction, kSignals.size()> before_ = {};
};

}  // namespace command_line
