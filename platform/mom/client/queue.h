// The messages that a client has to call back for, in order.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "client/subscriptions.h"
#include "core/fifo.h"
#include "core/queue_limit.h"
#include "ox_mom.h"

namespace mom {

struct Queued {
    enum class Kind : uint8_t {
        kNotification,  // a change
        kConfirmation,  // 29 for one record subscription
        kPresent,       // after a reconnection: a field channel's record as it is now
        kRestored       // the reconnection callback of a database
    };

    Kind kind = Kind::kNotification;
    uint64_t place = 0;  // among all that is ever queued
    Channel *channel = nullptr;
    MomMsgCb cb = nullptr;
    int32_t db = 0;
};

class Queue {
public:
    bool empty() const { return pieces_.empty(); }
    size_t size() const { return pieces_.count(); }
    bool is_full() const { return is_queue_full(pieces_.count(), pieces_.bytes()); }

    // The bytes of the notification apart.
    void push(const Queued &queued, std::string_view notification = {});
    // So many more without a notification will need no memory.
    void reserve(size_t more) { pieces_.reserve(more, sizeof(Queued)); }
    // The memory of the text is used again.
    Queued pop(std::string &notification);
    void clear() { pieces_.clear(); }

private:
    Fifo pieces_;
};

}  // namespace mom
