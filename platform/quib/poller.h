// The descriptors of one server, behind one descriptor.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "fd.h"

namespace quib {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

class Source {
public:
    // Events as epoll's. Must not destroy a source.
    virtual void on_events(uint32_t events) = 0;

protected:
    ~Source() = default;
};

class Poller {
public:
    // False when there are no descriptors left.
    bool open();

    // Readable when a source is ready, or the deadline is over.
    int fd() const { return epoll_.get(); }

    // Any of them false: no memory left.
    bool add(int fd, uint32_t events, Source &source);
    bool change(int fd, uint32_t events, Source &source);
    void remove(int fd);

    void set_deadline(std::optional<TimePoint> when);

    // Tells the sources that are ready, without waiting.
    void dispatch();

private:
    bool control(int operation, int fd, uint32_t events, Source *source);

    ParentFd epoll_;
    ParentFd timer_;
};

}  // namespace quib
