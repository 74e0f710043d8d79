#include "instructions.h"

#include <csignal>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {
namespace {

// The child says with this signal where counting begins and ends.
constexpr int kMark = SIGUSR1;

[[noreturn]] void run_watched(const std::function<void()> &body) {
    body();
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
        _exit(1);
    }
    raise(kMark);
    body();
    raise(kMark);
    _exit(0);
}

// The signal that the child has stopped with; 0 when it has ended.
int next_stop(pid_t child) {
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFSTOPPED(status) ? WSTOPSIG(status) : 0;
}

// From one mark to the next, which includes the sending of marks.
std::optional<int> count_between_marks(const std::function<void()> &body) {
    const pid_t child = fork();
    if (child == 0) {
        run_watched(body);
    }
    if (next_stop(child) != kMark) {
        return std::nullopt;
    }
    int count = 0;
    int stop = 0;
    do {
        ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr);
        stop = next_stop(child);
        ++count;
    } while (stop == SIGTRAP);
    ptrace(PTRACE_KILL, child, nullptr, nullptr);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return stop == kMark ? std::optional(count) : std::nullopt;
}

}  // namespace

std::optional<int> count_instructions(const std::function<void()> &body) {
    const auto nothing = count_between_marks([] {});
    const auto all = count_between_marks(body);
    return nothing && all ? std::optional(*all - *nothing) : std::nullopt;
}

}  // namespace test_support
