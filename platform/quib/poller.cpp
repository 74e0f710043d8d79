#include "poller.h"

#include <algorithm>
#include <array>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace quib {

bool Poller::open() {
    Fd epoll(epoll_create1(EPOLL_CLOEXEC));
    Fd timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    if (!epoll || !timer) {
        return false;
    }
    epoll_ = ParentFd(std::move(epoll));
    timer_ = ParentFd(std::move(timer));
    return control(EPOLL_CTL_ADD, timer_.get(), EPOLLIN, nullptr);
}

bool Poller::add(int fd, uint32_t events, Source &source) { return control(EPOLL_CTL_ADD, fd, events, &source); }

bool Poller::change(int fd, uint32_t events, Source &source) { return control(EPOLL_CTL_MOD, fd, events, &source); }

void Poller::remove(int fd) { control(EPOLL_CTL_DEL, fd, 0, nullptr); }

bool Poller::control(int operation, int fd, uint32_t events, Source *source) {
    epoll_event event{};
    event.events = events;
    event.data.ptr = source;
    return epoll_ctl(epoll_.get(), operation, fd, &event) == 0;
}

void Poller::set_deadline(std::optional<TimePoint> when) {
    using std::chrono::nanoseconds;
    itimerspec setting{};
    if (when) {
        // All zeros would stop the timer.
        const auto since_start = std::max<nanoseconds>(when->time_since_epoch(), nanoseconds(1));
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since_start);
        setting.it_value.tv_sec = static_cast<time_t>(seconds.count());
        setting.it_value.tv_nsec = static_cast<long>(nanoseconds(since_start - seconds).count());
    }
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}

void Poller::dispatch() {
    std::array<epoll_event, 64> events{};
    const int count = epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), 0);
    for (int i = 0; i < count; ++i) {
        const epoll_event &event = events[static_cast<size_t>(i)];
        if (event.data.ptr) {
            static_cast<Source *>(event.data.ptr)->on_events(event.events);
        } else {
            uint64_t expirations = 0;
            static_cast<void>(read(timer_.get(), &expirations, sizeof expirations));
        }
    }
}

}  // namespace quib
