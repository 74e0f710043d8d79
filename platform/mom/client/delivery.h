// What waits to be delivered, and the decoding of it for those who hear it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/subscriptions.h"
#include "core/fifo.h"
#include "core/store.h"
#include "ox_mom.h"
#include "records/notification.h"
#include "records/result.h"

namespace mom {

struct Delivery {
    enum class Kind : uint8_t {
        kNotification,  // a change
        kConfirmation,  // 29 for one record subscription
        kPresent,       // after a reconnection: a field channel's record as it is now
        kRestored       // the reconnection callback of a database
    };

    Kind kind = Kind::kNotification;
    uint64_t place = 0;  // in the order of all deliveries
    Channel *channel = nullptr;
    MomMsgCb cb = nullptr;
    int32_t db = 0;
};

class DeliveryQueue {
public:
    bool empty() const { return pieces_.empty(); }
    size_t size() const { return pieces_.count(); }
    bool is_full() const { return is_queue_full(pieces_.count(), pieces_.bytes()); }

    // The bytes of the notification apart.
    void push(const Delivery &delivery, std::string_view notification = {});
    // So many more without a notification will need no memory.
    void reserve(size_t more) { pieces_.reserve(more, sizeof(Delivery)); }
    // The memory of the text is used again.
    Delivery pop(std::string &notification);
    void clear() { pieces_.clear(); }

private:
    Fifo pieces_;
};

// What a notification is read and decoded into, kept from one delivery to the next. A delivery inside a delivery takes
// another one.
struct Scratch {
    ArenaPtr arena;
    Notification notification;
    std::unique_ptr<Scratch> next;  // in the pool
};

class ScratchPool {
public:
    // One scratch, for as long as this lives.
    class Lease {
    public:
        explicit Lease(ScratchPool &pool) : pool_(pool), scratch_(pool.take()) {}
        Lease(const Lease &) = delete;
        Lease &operator=(const Lease &) = delete;
        ~Lease() { pool_.give_back(std::move(scratch_)); }

        Arena &arena() const { return *scratch_->arena; }
        Notification &notification() const { return scratch_->notification; }

    private:
        ScratchPool &pool_;
        std::unique_ptr<Scratch> scratch_;
    };

private:
    std::unique_ptr<Scratch> take();
    void give_back(std::unique_ptr<Scratch> scratch) noexcept;

    std::unique_ptr<Scratch> idle_;
};

// A notification as its listeners get it: decoded when the first of them asks, and once for all whose type is the same.
class DecodedNotification {
public:
    DecodedNotification(Notification &notification, const Channel &channel, Arena &arena)
        : notification_(notification), channel_(channel), arena_(arena) {}

    // What a record callback's message points to; empty when the notification does not decode, which is reported.
    std::optional<void *> for_record(const ProtobufCMessageDescriptor &type);
    // The same for a field callback.
    std::optional<void *> for_field(const ProtobufCMessageDescriptor &type);

private:
    bool decode(const ProtobufCMessageDescriptor &type);

    Notification &notification_;
    const Channel &channel_;
    Arena &arena_;
    const ProtobufCMessageDescriptor *decoded_as_ = nullptr;
    MomHashResult *result_ = nullptr;
    bool good_ = false;
    bool no_record_ = false;  // is meant to be in the result
};

}  // namespace mom
