#include "trial/deferred_signals.h"

#include <array>
#include <csignal>

#include "command_line/exit_status.h"

namespace trial {

using namespace command_line;

namespace {

volatile sig_atomic_t noted = 0;

extern "C" void note(int signal) { noted = signal; }

}  // namespace

DeferredSignals::DeferredSignals() { signals_.emplace(std::array{SIGINT, SIGTERM, SIGHUP}, note); }

DeferredSignals::~DeferredSignals() {
    signals_.reset();
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
