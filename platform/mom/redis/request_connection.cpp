#include "redis/request_connection.h"

#include <cerrno>
#include <new>
#include <poll.h>
#include <string>

#include "core/error.h"
#include "redis/handshake.h"
#include "redis/login.h"

namespace mom::redis {

int32_t RequestConnection::open(const Endpoint &server, const Address &address, const StoreName &name, int32_t db,
                                TimePoint until, Millis patience, Resolver &resolver) {
    const std::string number = std::to_string(db);
    std::vector<Command> commands = login(name);
    commands.push_back({"SELECT", number});
    Handshake handshake(server, commands, until, resolver, address);
    const bool done = finish(handshake);
    if (const Reply *error = first_error(handshake.replies())) {
        // Others may give theirs up: that is a server that can't be reached at the moment.
        return fail(says(*error, "ERR max number of clients") ? OX_MOM_E_CONNECT : OX_MOM_E_REFUSED, "%s",
                    explain(server.text(), name, *error).c_str());
    }
    if (!done) {
        return handshake.code();
    }
    connection_.emplace(std::move(*handshake.take_connection()));
    connection_->set_sleep(patience);
    patience_ = patience;
    return 0;
}

bool RequestConnection::wait_for(short events, TimePoint until) const {
    pollfd waiting{.fd = connection_->fd(), .events = events, .revents = 0};
    for (TimePoint now = Clock::now(); now < until; now = Clock::now()) {
        const auto left = std::chrono::ceil<Millis>(until - now);
        const int ready = poll(&waiting, 1, static_cast<int>(left.count()));
        if (ready > 0) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            throw std::bad_alloc();  // it does not sleep then, so that trying again would keep the processor busy
        }
    }
    return false;
}

// Most answers come whole, to a thread that sleeps in recv(). Sleeping in poll() before it is better on a busy machine,
// but a good deal worse on an idle one, where the thread is awake later. What is left of an answer then is waited for
// in poll(), which can be told how long that may still take.
const Reply *RequestConnection::await(Arena &arena, TimePoint end, int32_t *code) {
    Connection &connection = *connection_;
    *code = OX_MOM_E_LOST;
    if (!connection.send()) {
        return nullptr;
    }
    const TimePoint late = end - patience_;
    const bool sleeps = !connection.has_unsent() && Clock::now() < late;  // and is awake before the end
    if (sleeps && connection.receive_asleep() == Connection::Received::kLost) {
        return nullptr;
    }
    return poll_until(arena, late, code);
}

const Reply *RequestConnection::await_late(Arena &arena, TimePoint end, int32_t *code) {
    return poll_until(arena, end, code);
}

const Reply *RequestConnection::poll_until(Arena &arena, TimePoint until, int32_t *code) {
    Connection &connection = *connection_;
    *code = OX_MOM_E_LOST;
    const Reply *reply = connection.take_reply(arena);
    while (reply == nullptr && !connection.reader().is_broken()) {
        const bool sending = connection.has_unsent();
        if (!wait_for(sending ? POLLOUT : POLLIN, until)) {
            *code = fail(OX_MOM_E_TIMEOUT, "%s: no answer in time", connection.peer().c_str());
            return nullptr;
        }
        if (sending ? !connection.send() : connection.receive() == Connection::Received::kLost) {
            return nullptr;
        }
        reply = connection.take_reply(arena);
    }
    return reply;
}

}  // namespace mom::redis
