// Requests: a command and its answer, or a batch of them, each on the connection of its database and within its time.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "core/loop.h"
#include "core/store.h"
#include "core/store_name.h"
#include "redis/link.h"
#include "redis/request_connection.h"

namespace mom::redis {

class Requests {
public:
    Requests(StoreName name, Loop &loop, StoreListener &listener, Millis timeout)
        : name_(std::move(name)), timeout_(timeout), link_(name_, loop, listener, timeout, [this] { close_all(); }) {}
    Requests(const Requests &) = delete;
    Requests &operator=(const Requests &) = delete;

    Link &link() { return link_; }

    // When a request that begins now must have ended.
    TimePoint limit() const { return Clock::now() + timeout_; }
    Millis timeout() const { return timeout_; }

    // Opens the database's connection, and the link if it is not up. 0 or a code, with the reason in last_error().
    int32_t connect(int32_t db);

    // A connection that ends without an answer leaves open whether a write was done: that is LOST. A read is made
    // again, once, on a new connection.
    enum class Repeat : uint8_t { kNever, kOnce };

    // One command; nullptr, with the code, when there is no answer. The arena is cleared for it.
    const Reply *make(int32_t db, std::span<const std::string_view> command, Repeat repeat, TimePoint end, Arena &arena,
                      int32_t *code);

    // So many commands as they go to a server, reads all of them. 0 or a code. The arena is cleared for the replies.
    int32_t make_batch(int32_t db, std::string_view commands, size_t count, TimePoint end, Arena &arena,
                       std::vector<const Reply *> &replies);

private:
    // The database's connection, open; nullptr, with the code, when there is none.
    RequestConnection *connection(int32_t db, TimePoint end, int32_t *code);
    int32_t open(RequestConnection &connection, int32_t db, TimePoint end);
    int32_t try_batch(int32_t db, std::string_view commands, size_t count, TimePoint end, Arena &arena,
                      std::vector<const Reply *> &replies);
    const Reply *await(RequestConnection &connection, TimePoint end, Arena &arena, int32_t *code);
    const Reply *await_in_time(RequestConnection &connection, TimePoint end, Arena &arena, int32_t *code);
    int32_t give_up(RequestConnection &connection, int32_t code);
    bool is_fit(const Reply &reply, int32_t *code);
    void close_all() noexcept;

    StoreName name_;
    Millis timeout_;
    std::array<RequestConnection, kDatabases> connections_;
    Link link_;
};

}  // namespace mom::redis
