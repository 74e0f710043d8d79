// The terminal's signals, read at the prompt as the keys are. libedit's own handling of them would send each on
// to the whole process group, and would end with the first suspension in a line, where others than it wait for keys.
#pragma once

#include <csignal>
#include <initializer_list>

#include <base/fd.h>

namespace console {

// As long as it lives, these signals wait.
class HeldSignals {
public:
    HeldSignals(std::initializer_list<int> numbers);
    ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    HeldSignals(const HeldSignals &) = delete;
    HeldSignals &operator=(const HeldSignals &) = delete;

private:
    sigset_t before_{};
};

// While a line is edited, the terminal is not as others need it. All signals that would let them have it wait then.
class HeldWhileEditing : HeldSignals {
public:
    HeldWhileEditing() : HeldSignals({SIGTSTP, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH}) {}
};

// While there is one, SIGINT waits to be read: it drops a line, or ends a wait, but never the program.
class Signals {
public:
    Signals();

    // Readable when a signal waits.
    int fd() const { return fd_.get(); }

    // The next one that waits; 0 when none does.
    int take();

private:
    HeldSignals interrupt_{SIGINT};
    base::Fd fd_;
};

}  // namespace console
