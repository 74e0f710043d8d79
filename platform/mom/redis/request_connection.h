// The connection for requests to one database. It is opened when it is needed, and used by one request at a time,
// asleep on its own descriptor: the client's loop has no part in it.
#pragma once

#include <memory>
#include <optional>

#include "core/backoff.h"
#include "core/store_name.h"
#include "redis/connection.h"
#include "redis/resolution.h"

namespace mom::redis {

class RequestConnection {
public:
    bool is_open() const { return connection_.has_value(); }
    void close() { connection_.reset(); }

    // Connects to the server at that address, logs in and selects the database. 0, or a code with the reason in
    // last_error(). patience: how long a request sleeps at first.
    int32_t open(const Endpoint &server, const Address &address, const StoreName &name, int32_t db, TimePoint until,
                 Millis patience, Resolver &resolver);

    // Whether the next request can be made on it: a server may have closed it while it was not used.
    bool is_fresh(TimePoint now) {
        const bool used_lately = now - used_ < kMoment;
        used_ = now;
        return used_lately || connection_->is_quiet();
    }

    void add(std::span<const std::string_view> command) { connection_->add(command); }
    void add_encoded(std::string_view commands) { connection_->add_encoded(commands); }

    // A reply that has come already.
    const Reply *take(Arena &arena) { return connection_->take_reply(arena); }

    // Sends what was added and waits for one reply, until it is late: so long before the end that the rest of the time
    // is the patience. nullptr: TIMEOUT when it has not come yet, LOST when the connection is.
    const Reply *await(Arena &arena, TimePoint end, int32_t *code);

    // Waits for a reply that is late.
    const Reply *await_late(Arena &arena, TimePoint end, int32_t *code);

private:
    // Shorter than any time after which a server closes what is idle, and long beside a look at the socket.
    static constexpr Millis kMoment{1};

    const Reply *poll_until(Arena &arena, TimePoint until, int32_t *code);
    bool wait_for(short events, TimePoint until) const;

    std::optional<Connection> connection_;
    TimePoint used_{};
    Millis patience_{0};
};

}  // namespace mom::redis
