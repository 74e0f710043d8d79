// Signals that are handled for a while.
#pragma once

#include <array>
#include <csignal>
#include <cstddef>

namespace command_line {

// While it lives, these signals call the handler. One that is ignored stays ignored, as SIGINT is in what a script
// starts with "&".
template <size_t kCount>
class HandledSignals {
public:
    HandledSignals(const std::array<int, kCount> &signals, void (*handler)(int), int flags = 0) : signals_(signals) {
        struct sigaction action = {};
        action.sa_handler = handler;
        action.sa_flags = flags;
        for (size_t i = 0; i < kCount; ++i) {
            sigaction(signals_[i], nullptr, &before_[i]);
            if (before_[i].sa_handler != SIG_IGN) {
                sigaction(signals_[i], &action, nullptr);
            }
        }
    }
    ~HandledSignals() {
        for (size_t i = 0; i < kCount; ++i) {
            sigaction(signals_[i], &before_[i], nullptr);
        }
    }
    HandledSignals(const HandledSignals &) = delete;
    HandledSignals &operator=(const HandledSignals &) = delete;

private:
    std::array<int, kCount> signals_;
    std::array<struct sigaction, kCount> before_ = {};
};

}  // namespace command_line
