#include "loop.h"

#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace mom {

namespace {

constexpr int kOwnDescriptors = 8;  // more than libuv opens for itself

// The handler is asked for anew after a failure: the call may have ended it.
template <class Find, class Call>
void guarded(Find handler, Call call) {
    try {
        if (handler()) {
            call(*handler());
        }
    } catch (const std::bad_alloc &) {
        if (handler()) {
            handler()->on_no_memory();
        }
    }
}

// libuv ends the process when it finds no memory for its list of descriptors. Where it is about to need some, it is
// asked for here first, and given back at once.
bool has_room(const uv_loop_t &loop, int fd) {
    if (static_cast<size_t>(fd) < loop.nwatchers) {
        return true;
    }
    const size_t needed = std::bit_ceil(static_cast<size_t>(fd) + 3);  // as libuv counts
    void *room = std::malloc(needed * sizeof(void *));
    // Seen by nobody, the pair could be left out by the compiler.
    asm volatile("" : : "r"(room) : "memory");
    std::free(room);
    return room != nullptr;
}

// libuv also ends the process when the system has no memory to watch a descriptor. So it is watched for nothing before
// libuv adds it, which then finds it there.
bool reserve(const uv_loop_t &loop, int fd) {
    epoll_event nothing{.events = 0, .data = {.fd = fd}};
    return epoll_ctl(uv_backend_fd(&loop), EPOLL_CTL_ADD, fd, &nothing) == 0 || errno == EEXIST;
}

}  // namespace

Loop::~Loop() {
    if (!opened_) {
        return;
    }
    handler_ = nullptr;
    uv_close(reinterpret_cast<uv_handle_t *>(&wake_), nullptr);
    uv_close(reinterpret_cast<uv_handle_t *>(&timer_), nullptr);
    uv_run(&loop_, UV_RUN_DEFAULT);
    uv_loop_close(&loop_);
    close(timer_fd_);
}

bool Loop::open() {
    timer_fd_ = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (timer_fd_ < 0) {
        return false;
    }
    if (!has_room(loop_, timer_fd_ + kOwnDescriptors) || uv_loop_init(&loop_) != 0) {
        close(timer_fd_);
        return false;
    }
    const auto on_wake = [](uv_async_t *wake) {
        guarded([wake] { return static_cast<Loop *>(wake->data)->handler_; },
                [](LoopHandler &handler) { handler.on_wake(); });
    };
    if (uv_async_init(&loop_, &wake_, on_wake) != 0) {
        uv_loop_close(&loop_);
        close(timer_fd_);
        return false;
    }
    wake_.data = this;
    uv_poll_init(&loop_, &timer_, timer_fd_);
    timer_.data = this;
    uv_poll_start(&timer_, UV_READABLE, [](uv_poll_t *timer, int, int) {
        auto *loop = static_cast<Loop *>(timer->data);
        uint64_t expirations = 0;
        if (read(loop->timer_fd_, &expirations, sizeof expirations) > 0) {
            guarded([loop] { return loop->handler_; }, [](LoopHandler &handler) { handler.on_deadline(); });
        }
    });
    opened_ = true;
    run();
    return true;
}

void Loop::run() {
    guarded([this] { return handler_; }, [](LoopHandler &handler) { handler.before_run(); });
    do {
        unarmed_ = false;
        uv_run(&loop_, UV_RUN_NOWAIT);
    } while (unarmed_);
}

bool Loop::wait(std::optional<Millis> timeout) const {
    pollfd waiting{.fd = fd(), .events = POLLIN, .revents = 0};
    timespec limit{};
    if (timeout) {
        limit.tv_sec = static_cast<time_t>(timeout->count() / 1000);
        limit.tv_nsec = static_cast<long>(timeout->count() % 1000) * 1000000L;
    }
    return ppoll(&waiting, 1, timeout ? &limit : nullptr, nullptr) >= 0 || errno != EINTR;
}

void Loop::wake() { uv_async_send(&wake_); }

void Loop::set_deadline(std::optional<TimePoint> when) {
    itimerspec setting{};
    if (when) {
        const auto since_start = when->time_since_epoch();
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since_start);
        setting.it_value.tv_sec = static_cast<time_t>(seconds.count());
        setting.it_value.tv_nsec = static_cast<long>(std::chrono::nanoseconds(since_start - seconds).count());
    }
    timerfd_settime(timer_fd_, TFD_TIMER_ABSTIME, &setting, nullptr);
}

Watch::Watch(Loop &loop, int fd, WatchHandler &handler) : loop_(loop) {
    if (!has_room(*loop.raw(), fd)) {
        throw std::bad_alloc();
    }
    auto handle = std::make_unique<Handle>(Handle{.poll = {}, .handler = &handler, .events = 0});
    if (uv_poll_init(loop.raw(), &handle->poll, fd) != 0) {
        throw std::bad_alloc();  // it can be polled, so it is the system that has no memory
    }
    handle_ = handle.release();
    handle_->poll.data = handle_;
}

Watch::~Watch() {
    handle_->handler = nullptr;
    uv_close(reinterpret_cast<uv_handle_t *>(&handle_->poll), [](uv_handle_t *closed) {
        delete static_cast<Handle *>(closed->data);  // NOLINT(cppcoreguidelines-owning-memory): libuv held it
    });
}

void Watch::set(int events) {
    if (events == std::exchange(handle_->events, events)) {
        return;
    }
    // Stops watching for what was asked before. The loop begins to watch for the new when it runs.
    uv_poll_start(&handle_->poll, events, [](uv_poll_t *poll, int status, int ready) {
        // An error shows itself when the socket is used, after what has come before it. libuv stops watching at one.
        if (status < 0) {
            static_cast<Handle *>(poll->data)->events = 0;
        }
        guarded([poll] { return static_cast<Handle *>(poll->data)->handler; },
                [&](WatchHandler &handler) { handler.on_ready(status < 0 ? UV_READABLE | UV_WRITABLE : ready); });
    });
    if (events == 0) {
        return;
    }
    int fd = -1;
    uv_fileno(reinterpret_cast<uv_handle_t *>(&handle_->poll), &fd);
    if (!reserve(*loop_.raw(), fd)) {
        uv_poll_stop(&handle_->poll);
        handle_->events = 0;
        throw std::bad_alloc();
    }
    loop_.must_arm();
}

}  // namespace mom
