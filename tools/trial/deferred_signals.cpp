#include "trial/deferred_signals.h"

#include "command_line/exit_status.h"

namespace trial {

using namespace command_line;

namespace {

volatile sig_atomic_t noted = 0;

extern "C" void note(int signal) { noted = signal; }

}  // namespace

DeferredSignals::DeferredSignals() {
    struct sigaction action = {};
    action.sa_handler = note;
    for (size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) {
            sigaction(kSignals[i], &action, nullptr);
        }
    }
}

DeferredSignals::~DeferredSignals() {
    for (size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &before_[i], nullptr);
    }
    if (noted != 0) {
        raise(noted);
    }
}

void DeferredSignals::check() {
    if (noted != 0) {
        throw Failure(kInterrupted, "");
    }
}

}  // namespace trial
