#include "interruption.h"

#include <csignal>

namespace demo {

namespace {

volatile std::sig_atomic_t noted = 0;

void note(int signal) { noted = signal; }

}  // namespace

void note_interruptions() {
    struct sigaction action {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART;  // what is under way is finished; the story looks at its next step
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction previous {};
        sigaction(signal, nullptr, &previous);
        if (previous.sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
}

int interruption() { return noted; }

void throw_if_interrupted() {
    if (noted != 0) {
        throw Interrupted(noted);
    }
}

}  // namespace demo
