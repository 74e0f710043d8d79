// A descriptor in the loop of a client.
#pragma once

#include <cstdint>
#include <new>

#include "mom/client/attachment.h"
#include "ox_mom.h"

namespace quib {

// Destroyed before the descriptor is closed.
class Watch {
public:
    // Events as epoll's. Throws std::bad_alloc, also when the system cannot watch one more.
    Watch(MomClient *client, int fd, uint32_t events, const MomAttachment &attachment)
        : client_(client), fd_(fd), events_(events) {
        if (ox_mom_attach(client, fd, events, &attachment) != 0) {
            throw std::bad_alloc();
        }
    }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;
    // Refused in a forked child, and when it is the client that goes: it has let go already.
    ~Watch() { end(); }

    uint32_t events() const { return events_; }

    // False when that cannot be.
    bool set(uint32_t events) {
        if (events != events_ && ox_mom_alter(client_, fd_, events) != 0) {
            return false;
        }
        events_ = events;
        return true;
    }

    void end() { ox_mom_detach(client_, fd_); }

private:
    MomClient *client_;
    int fd_;
    uint32_t events_;
};

}  // namespace quib
