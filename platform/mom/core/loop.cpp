#include "core/loop.h"

#include <algorithm>
#include <new>
#include <sys/eventfd.h>
#include <unistd.h>

namespace mom {

bool Loop::open() {
    count_forks();
    fork_generation_ = fork_generation();
    epoll_ = base::Fd(epoll_create1(EPOLL_CLOEXEC));
    wake_ = base::Fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    return epoll_ && wake_ && timer_.open() && control(EPOLL_CTL_ADD, wake_.get(), EPOLLIN, &wake_) &&
           control(EPOLL_CTL_ADD, timer_.fd(), EPOLLIN, &timer_);
}

bool Loop::control(int operation, int fd, uint32_t events, void *source) const {
    epoll_event event{.events = events, .data = {.ptr = source}};
    return epoll_ctl(epoll_.get(), operation, fd, &event) == 0;
}

template <class Call>
void Loop::call_handler(Call call) {
    try {
        if (handler_) {
            call(*handler_);
        }
    } catch (const std::bad_alloc &) {
        if (handler_) {  // the call may have ended it
            handler_->on_no_memory();
        }
    }
}

int Loop::wait(int limit, int cancel_state) {
    const CancelState state(cancel_state);
    return epoll_wait(epoll_.get(), events_.data(), static_cast<int>(events_.size()), limit);
}

bool Loop::run(std::optional<Millis> limit, int cancel_state) {
    if (is_inherited()) {
        return false;
    }
    const int count = wait(limit ? std::max(static_cast<int>(limit->count()), 0) : -1, cancel_state);
    if (count < 0) {
        return false;
    }
    for (fetched_ = std::span(events_).first(static_cast<size_t>(count)); !fetched_.empty();
         fetched_ = fetched_.subspan(1)) {
        tell(fetched_.front().data.ptr, fetched_.front().events);
    }
    return true;
}

void Loop::tell(void *source, uint32_t events) {
    if (source == &wake_) {
        eventfd_t times = 0;
        eventfd_read(wake_.get(), &times);
        woken_.exchange(false);  // first: who wakes from here on is told of once more
        call_handler([](LoopHandler &handler) { handler.on_wake(); });
    } else if (source == &timer_) {
        if (timer_.take()) {
            call_handler([](LoopHandler &handler) { handler.on_deadline(); });
        }
    } else if (auto *watch = static_cast<Watch *>(source)) {
        const bool ended = (events & (EPOLLERR | EPOLLHUP)) != 0;
        const uint32_t told = ended ? events | watch->events_ : events & watch->events_;
        if (told == 0 || watch->events_ == 0) {
            return;
        }
        try {
            watch->handler_.on_ready(told);
        } catch (const std::bad_alloc &) {
            if (fetched_.front().data.ptr == watch) {  // the call may have ended it
                watch->handler_.on_no_memory();
            }
        }
    }
}

void Loop::forget(const Watch &watch) {
    for (epoll_event &event : fetched_) {
        if (event.data.ptr == &watch) {
            event.data.ptr = nullptr;
        }
    }
}

void Loop::wake() {
    if (!is_inherited() && !woken_.exchange(true)) {
        eventfd_write(wake_.get(), 1);
    }
}

void Loop::set_deadline(std::optional<TimePoint> when) {
    if (!is_inherited()) {
        timer_.set(when);
    }
}

Watch::~Watch() {
    try_set(0);
    loop_.forget(*this);
}

void Watch::set(uint32_t events) {
    if (!try_set(events)) {
        throw std::bad_alloc();
    }
}

bool Watch::try_set(uint32_t events) {
    const bool is_as_it_was = events == events_ && (events & EPOLLONESHOT) == 0;
    if (is_as_it_was || loop_.is_inherited()) {
        return true;
    }
    const int operation = events_ == 0 ? EPOLL_CTL_ADD : events == 0 ? EPOLL_CTL_DEL : EPOLL_CTL_MOD;
    if (!loop_.control(operation, fd_, events, this) && operation != EPOLL_CTL_DEL) {
        return false;
    }
    events_ = events;
    return true;
}

}  // namespace mom
