// The event loop of one client: libuv, arranged so that one descriptor tells a foreign poll loop of everything.
#pragma once

#include <optional>

#include <uv.h>

#include "backoff.h"

namespace mom {

// Told what happened in the loop, on the thread that runs it. What they throw for want of memory comes back to them as
// on_no_memory(): it may not cross libuv.
class LoopHandler {
public:
    virtual void on_wake() = 0;
    virtual void on_deadline() = 0;
    virtual void on_no_memory() noexcept = 0;

    // Before the loop looks what is ready: the time to alter what it watches.
    virtual void before_run() {}

protected:
    ~LoopHandler() = default;
};

class Loop {
public:
    Loop() = default;
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;
    ~Loop();

    // False when the system has no descriptors left.
    bool open();

    // The handler is called from run() only; none: events are dropped.
    void set_handler(LoopHandler *handler) { handler_ = handler; }

    // Readable when run() has something to do.
    int fd() const { return uv_backend_fd(&loop_); }

    // Handles what is ready, without waiting.
    void run();

    // Waits until run() has something to do, or the time is up (empty: for ever). False when a signal came first.
    bool wait(std::optional<Millis> timeout) const;

    // Makes run() call on_wake. Any thread.
    void wake();

    // Makes run() call on_deadline once, at that time; empty: never. A timer of libuv would not make fd() readable.
    void set_deadline(std::optional<TimePoint> when);

    uv_loop_t *raw() { return &loop_; }

    // A watch was added or altered: libuv arms it only when it runs again.
    void must_arm() { unarmed_ = true; }

private:
    uv_loop_t loop_{};
    uv_async_t wake_{};
    uv_poll_t timer_{};
    int timer_fd_ = -1;
    bool opened_ = false;
    bool unarmed_ = false;
    LoopHandler *handler_ = nullptr;
};

// Told that a watched socket is ready.
class WatchHandler {
public:
    virtual void on_ready(int events) = 0;
    virtual void on_no_memory() noexcept = 0;

protected:
    ~WatchHandler() = default;
};

// A socket in the loop. Destroyed before the socket is closed; may be destroyed from its own handler.
class Watch {
public:
    Watch(Loop &loop, int fd, WatchHandler &handler);
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;
    ~Watch();

    // Events as libuv's: UV_READABLE, UV_WRITABLE, UV_DISCONNECT; 0: not watched. Throws std::bad_alloc, also when it
    // is the system that has no memory to watch the socket; then it is not watched.
    void set(int events);

private:
    // Outlives the watch until libuv has let go of it.
    struct Handle {
        uv_poll_t poll;
        WatchHandler *handler;
        int events;
    };

    Loop &loop_;
    Handle *handle_ = nullptr;
};

}  // namespace mom
