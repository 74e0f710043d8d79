#include "signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <initializer_list>

namespace console {

namespace {

sigset_t set_of(std::initializer_list<int> numbers) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers) {
        sigaddset(&set, number);
    }
    return set;
}

sigset_t editing_set() { return set_of({SIGTSTP, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH}); }

}  // namespace

Signals::Signals() : before_() {
    const sigset_t interrupt = set_of({SIGINT});
    pthread_sigmask(SIG_BLOCK, &interrupt, &before_);
    const sigset_t all = set_of({SIGINT, SIGTSTP, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH});
    fd_ = base::Fd(signalfd(-1, &all, SFD_NONBLOCK | SFD_CLOEXEC));
}

Signals::~Signals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

int Signals::take() {
    signalfd_siginfo signal{};
    return read(fd_.get(), &signal, sizeof signal) == sizeof signal ? static_cast<int>(signal.ssi_signo) : 0;
}

Signals::WhileEditing::WhileEditing() {
    const sigset_t set = editing_set();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

Signals::WhileEditing::~WhileEditing() {
    const sigset_t set = editing_set();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace console
