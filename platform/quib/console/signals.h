// The terminal's signals, read at the prompt as the keys are.
#pragma once

#include <csignal>

#include <base/fd.h>

namespace console {

// While there is one, SIGINT waits to be read: it drops a line, or ends a wait, but never the program.
class Signals {
public:
    Signals();
    ~Signals();
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

    // Readable when a signal waits.
    int fd() const { return fd_.get(); }

    // The next one that waits; 0 when none does.
    int take();

    // While a line is edited, the terminal is not as others need it. All signals that would let them have it wait then.
    class WhileEditing {
    public:
        WhileEditing();
        ~WhileEditing();
        WhileEditing(const WhileEditing &) = delete;
        WhileEditing &operator=(const WhileEditing &) = delete;
    };

private:
    sigset_t before_;
    base::Fd fd_;
};

}  // namespace console
