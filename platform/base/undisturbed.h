// Work inside of a program that must not notice it.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>
#include <pthread.h>

namespace base {

// The thread is not cancelled meanwhile, and errno is then as it was.
class Uncancelled {
public:
    Uncancelled() : errno_(errno) { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_); }
    ~Uncancelled() {
        pthread_setcancelstate(state_, nullptr);
        errno = errno_;
    }
    Uncancelled(const Uncancelled &) = delete;
    Uncancelled &operator=(const Uncancelled &) = delete;

private:
    int errno_;
    int state_ = PTHREAD_CANCEL_ENABLE;
};

// Nor does a write to a pipe whose reader is gone end the program: what is written is lost. Not for what starts other
// programs, which would have the signal blocked for ever.
class Undisturbed {
public:
    Undisturbed() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
        if (sigset_t waiting; sigismember(&before_, SIGPIPE) == 1 && sigpending(&waiting) == 0) {
            takes_back_ = sigismember(&waiting, SIGPIPE) == 0;  // else it was somebody else's pipe
        }
    }
    ~Undisturbed() {
        const timespec at_once{};
        while (takes_back_ && sigtimedwait(&pipe_, nullptr, &at_once) < 0 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    Undisturbed(const Undisturbed &) = delete;
    Undisturbed &operator=(const Undisturbed &) = delete;

    // All that was written has been taken, so that no signal waits: it need not be asked for.
    void all_written() { takes_back_ = false; }

private:
    Uncancelled uncancelled_;
    sigset_t pipe_{};
    sigset_t before_{};
    bool takes_back_ = true;
};

}  // namespace base
