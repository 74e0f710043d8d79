// The event loop of one client: an epoll descriptor, which so tells a foreign poll loop of everything.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <sys/epoll.h>

#include "base/fd.h"
#include "base/timer.h"
#include "core/backoff.h"
#include "core/cancellation.h"
#include "core/fork.h"

namespace mom {

// Told what happened in the loop, on the thread that runs it. What they throw for want of memory comes back to them as
// on_no_memory().
class LoopHandler {
public:
    virtual void on_wake() = 0;
    virtual void on_deadline() = 0;
    virtual void on_no_memory() noexcept = 0;

protected:
    ~LoopHandler() = default;
};

class Watch;

class Loop {
public:
    Loop() = default;
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;
    ~Loop() = default;

    // False when the system has no descriptors or no memory left, which errno tells.
    bool open();

    // The handler is called from run() only; none: events are dropped.
    void set_handler(LoopHandler *handler) { handler_ = handler; }

    // Readable when run() has something to do.
    int fd() const { return epoll_.get(); }

    // Handles what is ready; if nothing is, waits for it so long (empty: for ever). False when a signal came first. Not
    // to be called by a handler. Only the waiting may be cancelled, where that state of the thread allows it.
    bool run(std::optional<Millis> limit = Millis(0), int cancel_state = PTHREAD_CANCEL_DISABLE);

    // Makes run() call on_wake. Any thread.
    void wake();

    // Makes run() call on_deadline once, at that time; empty: never.
    void set_deadline(std::optional<TimePoint> when);

    // This process is a forked child. It has the parent's epoll descriptor, and leaves alone what that watches.
    bool is_inherited() const { return fork_generation_ != fork_generation(); }

private:
    friend class Watch;

    template <class Call>
    void call_handler(Call call);
    int wait(int limit, int cancel_state);
    bool control(int operation, int fd, uint32_t events, void *source) const;
    void tell(void *source, uint32_t events);
    void forget(const Watch &watch);

    base::Fd epoll_;
    base::Fd wake_;
    base::Timer timer_;
    std::atomic<bool> woken_ = false;  // wake_ is readable, or about to be
    uint32_t fork_generation_ = 0;
    LoopHandler *handler_ = nullptr;

    std::array<epoll_event, 32> events_{};
    std::span<epoll_event> fetched_;  // of them: the one that is being told, and those that follow
};

// Told that a watched descriptor is ready.
class WatchHandler {
public:
    virtual void on_ready(uint32_t events) = 0;
    virtual void on_no_memory() noexcept = 0;

protected:
    ~WatchHandler() = default;
};

// A descriptor in the loop. Destroyed before the descriptor is closed. Its own handler and others may alter and destroy
// it: it is told of nothing that it was not watched for when told.
class Watch {
public:
    Watch(Loop &loop, int fd, WatchHandler &handler) : loop_(loop), handler_(handler), fd_(fd) {}
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;
    ~Watch();

    // Events as epoll's, told as long as they last; 0: not watched. After an error or a hang-up all of them are told:
    // whoever uses the descriptor then sees what it is, after what has come before it. With EPOLLONESHOT among them
    // they are told once, and then not before they are set again, which takes no memory.
    //
    // Throws std::bad_alloc when the system has no memory to watch the descriptor. Then it is not watched.
    void set(uint32_t events);

    // The same; false, and errno tells why, instead.
    bool try_set(uint32_t events);

    int fd() const { return fd_; }

private:
    friend class Loop;

    Loop &loop_;
    WatchHandler &handler_;
    int fd_;
    uint32_t events_ = 0;
};

}  // namespace mom
