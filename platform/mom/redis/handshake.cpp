#include "redis/handshake.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>

#include "core/error.h"

namespace mom::redis {

Handshake::Handshake(const Endpoint &endpoint, std::span<const Command> commands, TimePoint until, Resolver &resolver,
                     const Address &known)
    : peer_(endpoint.text()),
      expected_(commands.size()),
      start_(Clock::now()),
      until_(until),
      due_(until),
      resolution_(endpoint, known, resolver) {
    for (const Command &command : commands) {
        append_command(request_, command);
    }
    replies_.reserve(expected_);
}

int Handshake::fd() const { return connection_ ? connection_->fd() : socket_ ? socket_.get() : resolution_.fd(); }

short Handshake::events() const { return socket_ || (connection_ && connection_->has_unsent()) ? POLLOUT : POLLIN; }

void Handshake::fail_for_memory() noexcept { code_ = fail(OX_MOM_E_MEMORY, "no memory to connect to a server"); }

Handshake::State Handshake::advance() {
    if (connection_) {
        return speak();
    }
    return socket_ ? finish_connecting() : resolve();
}

Handshake::State Handshake::resolve() {
    if (!resolution_.has_ended()) {
        return Clock::now() >= due_ ? time_out() : State::kGoingOn;
    }
    addresses_ = resolution_.take_addresses();
    if (addresses_.empty()) {
        code_ = fail(OX_MOM_E_CONNECT, "cannot connect to %s: %s", peer_.c_str(), resolution_.why().c_str());
        return State::kFailed;
    }
    return connect_next(0);
}

// why: an errno, how the address before ended; none of use when there was none.
Handshake::State Handshake::connect_next(int why) {
    socket_ = base::Fd();
    while (next_ < addresses_.size()) {
        const TimePoint now = Clock::now();
        due_ = now + std::max(until_ - now, Clock::duration(0)) / static_cast<int>(addresses_.size() - next_);
        socket_ = begin_to_connect(addresses_[next_++]);
        if (socket_) {
            return State::kGoingOn;
        }
        why = errno;
    }
    if (why == ETIMEDOUT) {
        return time_out();
    }
    code_ = fail(OX_MOM_E_CONNECT, "cannot connect to %s: %s", peer_.c_str(), strerror(why));
    return State::kFailed;
}

Handshake::State Handshake::finish_connecting() {
    pollfd connecting{.fd = socket_.get(), .events = POLLOUT, .revents = 0};
    const int ready = poll(&connecting, 1, 0);
    if (ready < 0 && errno != EINTR) {
        return connect_next(errno);
    }
    if (ready <= 0) {
        return Clock::now() >= due_ ? connect_next(ETIMEDOUT) : State::kGoingOn;
    }
    if (const int why = connecting_ended(socket_)) {
        return connect_next(why);
    }
    connection_ = std::make_unique<Connection>(std::move(socket_), peer_);
    connection_->add_encoded(request_);
    due_ = until_;
    return speak();
}

Handshake::State Handshake::speak() {
    code_ = OX_MOM_E_LOST;
    const bool sent = connection_->send();
    for (;;) {
        // A server that sends clients away says why before it closes, and may have done both by now.
        const Connection::Received received = connection_->receive();
        if (received == Connection::Received::kLost || (received == Connection::Received::kNothing && !sent)) {
            return State::kFailed;
        }
        while (replies_.size() < expected_) {
            Reply *reply = connection_->take_reply(arena_);
            if (reply == nullptr) {
                break;
            }
            replies_.push_back(reply);
        }
        if (replies_.size() == expected_) {
            return State::kDone;
        }
        if (connection_->reader().is_broken()) {
            return State::kFailed;
        }
        if (received == Connection::Received::kNothing) {
            return Clock::now() >= due_ ? time_out() : State::kGoingOn;
        }
    }
}

Handshake::State Handshake::time_out() {
    const auto waited = std::chrono::round<Millis>(until_ - start_);
    code_ = fail(OX_MOM_E_TIMEOUT, "%s: no answer in %lld ms", peer_.c_str(), static_cast<long long>(waited.count()));
    return State::kFailed;
}

bool finish(Handshake &handshake) {
    for (;;) {
        const Handshake::State state = handshake.advance();
        if (state != Handshake::State::kGoingOn) {
            return state == Handshake::State::kDone;
        }
        const auto left = std::chrono::ceil<Millis>(handshake.due() - Clock::now());
        pollfd waiting{.fd = handshake.fd(), .events = handshake.events(), .revents = 0};
        if (poll(&waiting, 1, static_cast<int>(std::max<Millis::rep>(left.count(), 0))) < 0 && errno != EINTR) {
            handshake.fail_for_memory();
            return false;
        }
    }
}

}  // namespace mom::redis
