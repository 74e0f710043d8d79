// Being interrupted as a way to end well.
#pragma once

#include "base/fd.h"

namespace command_line {

// While there is one, SIGINT does not end the program but is told by it; a second SIGINT ends the program with
// kInterrupted. Where SIGINT is ignored it stays ignored. A program has one at a time.
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
    base::Fd fd_;
};

}  // namespace command_line
