#include "trial/interruption.h"

#include "command_line/exit_status.h"

namespace trial {

using namespace command_line;

namespace {

volatile sig_atomic_t noted = 0;

extern "C" void note(int signal) { noted = signal; }

}  // namespace

Interruption::Interruption() {
    struct sigaction action = {};
    action.sa_handler = note;
    for (size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) {
            sigaction(kSignals[i], &action, nullptr);
        }
    }
}

Interruption::~Interruption() {
    for (size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &before_[i], nullptr);
    }
    if (noted != 0) {
        raise(noted);
    }
}

void Interruption::check() {
    if (noted != 0) {
        throw Failure(kInterrupted, "");
    }
}

}  // namespace trial
