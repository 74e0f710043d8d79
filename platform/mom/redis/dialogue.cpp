#include "redis/dialogue.h"

#include <utility>

#include "core/error.h"
#include "ox_mom.h"

namespace mom {

Dialogue::Dialogue(Loop &loop, Done done, Failed failed)
    : loop_(loop), done_(std::move(done)), failed_(std::move(failed)) {}

Dialogue::~Dialogue() { watch_.reset(); }

int32_t Dialogue::start(const Endpoint &endpoint, std::span<const Command> commands) {
    connection_ = Connection::open(endpoint, &code_);
    if (!connection_) {
        return code_;
    }
    for (const Command &command : commands) {
        connection_->add(command);
    }
    expected_ = commands.size();
    watch_ = std::make_unique<Watch>(loop_, connection_->fd(), *this);
    watch_->set(EPOLLOUT);
    return 0;
}

void Dialogue::on_ready(uint32_t events) {
    const bool going_on = advance(events);
    if (going_on && replies_.size() < expected_) {
        return;
    }
    watch_.reset();
    // Moved out first: what is called may destroy this.
    if (going_on) {
        const auto done = std::move(done_);
        done(std::move(connection_), replies_);
    } else {
        const auto failed = std::move(failed_);
        failed(code_);
    }
}

void Dialogue::on_no_memory() noexcept {
    watch_.reset();
    const auto failed = std::move(failed_);
    if (failed) {
        failed(fail(OX_MOM_E_MEMORY, "out of memory"));
    }
}

// False when the connection failed.
bool Dialogue::advance(uint32_t events) {
    if (!connected_) {
        code_ = OX_MOM_E_CONNECT;
        if (!connection_->finish_connecting()) {
            return false;
        }
        connected_ = true;
    }
    code_ = OX_MOM_E_LOST;
    if (!connection_->send() || ((events & EPOLLIN) && connection_->receive() < 0)) {
        return false;
    }
    while (replies_.size() < expected_) {
        Reply *reply = connection_->next_reply(arena_);
        if (!reply) {
            break;
        }
        replies_.push_back(reply);
    }
    watch_->set(connection_->has_unsent() ? EPOLLIN | EPOLLOUT : EPOLLIN);
    return !connection_->is_broken();
}

}  // namespace mom
