#include "command_line/interruption.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

#include "command_line/exit_status.h"

namespace command_line {

namespace {

std::atomic<int> told_by = -1;
std::atomic<bool> came = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

extern "C" void tell_interruption(int) {
    if (came.exchange(true)) {
        _exit(kInterrupted);
    }
    const int error = errno;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(told_by, &one, sizeof one);
    errno = error;
}

}  // namespace

Interruption::Interruption() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!fd_) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    came = false;
    told_by = fd_.get();
    signals_.emplace(std::array{SIGINT, SIGTERM}, tell_interruption, SA_RESTART);
}

bool Interruption::has_come() const { return came; }

}  // namespace command_line
