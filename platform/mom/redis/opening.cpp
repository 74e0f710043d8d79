#include "redis/opening.h"

#include <new>
#include <poll.h>
#include <utility>

namespace mom::redis {

Opening::Opening(Loop &loop, Timekeeper &timekeeper, const Endpoint &endpoint, std::span<const Command> commands,
                 TimePoint until, Ended ended)
    : loop_(loop), timekeeper_(timekeeper), ended_(std::move(ended)), handshake_(endpoint, commands, until) {}

void Opening::step() noexcept {
    const Handshake::State state = advance();
    if (state != Handshake::State::kGoingOn) {
        const Ended ended = std::move(ended_);  // what is called may destroy this
        ended(handshake_, state);
    }
}

Handshake::State Opening::advance() noexcept {
    watch_.reset();  // what is watched may be closed now
    try {
        const Handshake::State state = handshake_.advance();
        if (state == Handshake::State::kGoingOn) {
            watch_ = std::make_unique<Watch>(loop_, handshake_.fd(), *this);
            watch_->set(handshake_.events() == POLLOUT ? EPOLLOUT : EPOLLIN);
            timekeeper_.due_changed();
        }
        return state;
    } catch (const std::bad_alloc &) {
        watch_.reset();
        handshake_.fail_for_memory();
        return Handshake::State::kFailed;
    }
}

}  // namespace mom::redis
