// Standard output while a command runs.
#pragma once

#include <cstddef>

#include "parent_fd.h"

namespace quib {

// The most that a command may print; the rest is cut.
inline constexpr size_t kOutputLimit = size_t{64} << 20U;

struct Captured {
    Fd file;
    size_t size = 0;
    bool cut = false;
};

// Descriptor 1 leads into a file in memory as long as this lives, so that no command waits for an operator, or is hit
// by a signal when one goes away. Commands may do with it what they like, what they start inherits it.
class Capture {
public:
    Capture();
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    ~Capture();

    // False when the process has no descriptors or memory left for it, or may not have a file of that size; then
    // descriptor 1 is as it was.
    bool began() const { return static_cast<bool>(file_); }

    // Makes descriptor 1 what it was, closed or not.
    Captured end();

private:
    void restore();

    Fd file_;
    Fd saved_;
    int saved_flags_ = -1;    // of the descriptor; -1: it was closed
    bool had_error_ = false;  // the stream, from the program's own writing
};

}  // namespace quib
