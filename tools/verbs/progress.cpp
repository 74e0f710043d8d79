#include "verbs/progress.h"

#include <unistd.h>

#include <utility>

#include "command_line/streams.h"

namespace capctl {

using Clock = std::chrono::steady_clock;

namespace {

constexpr std::chrono::milliseconds kPatience(1000);
constexpr std::chrono::milliseconds kPeriod(100);
constexpr char kEraseLine[] = "\r\x1b[K";

}  // namespace

std::string counted(uint64_t count, const std::string &what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

Progress::Progress(std::string what, size_t total)
    : what_(std::move(what)),
      total_(total),
      is_terminal_(isatty(STDERR_FILENO) != 0),
      next_(Clock::now() + kPatience) {}

void Progress::erase() {
    if (std::exchange(is_shown_, false)) {
        command_line::write_error(kEraseLine);
    }
}

void Progress::show(size_t done) {
    if (!is_terminal_ || Clock::now() < next_) {
        return;
    }
    next_ = Clock::now() + kPeriod;
    is_shown_ = true;
    command_line::write_error(kEraseLine + what_ + ": " + std::to_string(done) +
                              (total_ == 0 ? "" : " of " + std::to_string(total_)));
}

}  // namespace capctl
