// The embedded store's messages for one client: put in by whoever writes, on any thread, taken out by the client.
#pragma once

#include <cstddef>
#include <mutex>
#include <string_view>

#include "core/fifo.h"
#include "core/loop.h"

namespace mom {

// Notifications, each with its channel.
class Notifications {
public:
    void push(std::string_view channel, std::string_view notification);
    bool empty() const { return pieces_.empty(); }
    bool is_full() const;
    size_t count() const { return pieces_.count(); }
    // The oldest, until pop().
    std::string_view channel();
    std::string_view notification();
    void pop() { pieces_.pop(); }
    void clear() { pieces_.clear(); }
    void swap(Notifications &other) noexcept { pieces_.swap(other.pieces_); }

private:
    struct Head {
        size_t channel_size;
    };

    Fifo pieces_;
};

class Incoming {
public:
    explicit Incoming(Loop &loop) : loop_(loop) {}
    Incoming(const Incoming &) = delete;
    Incoming &operator=(const Incoming &) = delete;

    // A message that does not fit is this follower's loss, not the writer's.
    void put(std::string_view channel, std::string_view notification) noexcept;

    // Loses what has come: the owner will load afresh when it next takes.
    void overflow() noexcept;

    // Everything that has come; false when it was too much to keep, and is lost.
    bool take(Notifications &notifications);

    size_t size();

    // As if nothing had come, and nothing been lost.
    void clear();

private:
    Loop &loop_;
    std::mutex mutex_;
    Notifications notifications_;
    bool overflown_ = false;
};

}  // namespace mom
