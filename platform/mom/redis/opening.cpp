#include "redis/opening.h"

#include <new>
#include <poll.h>
#include <utility>

namespace mom::redis {

Opening::Opening(const Opener &opener, const Endpoint &endpoint, std::span<const Command> commands, TimePoint until,
                 Ended ended)
    : opener_(opener), ended_(std::move(ended)), handshake_(endpoint, commands, until, opener.resolver) {}

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
            watch_ = std::make_unique<Watch>(opener_.loop, handshake_.fd(), *this);
            watch_->set(handshake_.events() == POLLOUT ? EPOLLOUT : EPOLLIN);
            opener_.timekeeper.due_changed();
        }
        return state;
    } catch (const std::bad_alloc &) {
        watch_.reset();
        handshake_.fail_for_memory();
        return Handshake::State::kFailed;
    }
}

}  // namespace mom::redis
