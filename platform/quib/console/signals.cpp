#include "signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

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

}  // namespace

HeldSignals::HeldSignals(std::initializer_list<int> numbers) {
    const sigset_t set = set_of(numbers);
    pthread_sigmask(SIG_BLOCK, &set, &before_);
}

Signals::Signals() {
    const sigset_t all = set_of({SIGINT, SIGTSTP, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH});
    fd_ = base::Fd(signalfd(-1, &all, SFD_NONBLOCK | SFD_CLOEXEC));
}

int Signals::take() {
    signalfd_siginfo signal{};
    return read(fd_.get(), &signal, sizeof signal) == sizeof signal ? static_cast<int>(signal.ssi_signo) : 0;
}

}  // namespace console
