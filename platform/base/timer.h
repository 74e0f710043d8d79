// A descriptor that becomes readable at a set time.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <sys/timerfd.h>

#include "fd.h"

namespace base {

class Timer {
public:
    // False when the system has no descriptors left.
    bool open() {
        fd_ = Fd(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
        return static_cast<bool>(fd_);
    }

    int fd() const { return fd_.get(); }

    // Empty: never. Whether an earlier time has passed is forgotten.
    void set(std::optional<std::chrono::steady_clock::time_point> when) const {
        using std::chrono::nanoseconds;
        itimerspec setting{};
        if (when) {
            // All zeros would stop the timer.
            const auto since_start = std::max<nanoseconds>(when->time_since_epoch(), nanoseconds(1));
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since_start);
            setting.it_value.tv_sec = static_cast<time_t>(seconds.count());
            setting.it_value.tv_nsec = static_cast<long>(nanoseconds(since_start - seconds).count());
        }
        timerfd_settime(fd_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
    }

    // Whether the time has passed since this was asked, or the time was set. Readable no more.
    bool take() const {
        uint64_t times = 0;
        return read(fd_.get(), &times, sizeof times) > 0;
    }

private:
    Fd fd_;
};

}  // namespace base
