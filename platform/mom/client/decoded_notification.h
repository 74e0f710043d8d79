// A notification as its callbacks get it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "client/subscriptions.h"
#include "core/arena.h"
#include "ox_mom.h"
#include "records/notification.h"
#include "records/result.h"

namespace mom {

// The room that a notification is decoded into, kept from one to the next. One that is told inside another takes
// another one.
struct Scratch {
    Arena arena;
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

        Arena &arena() const { return scratch_->arena; }
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

    // A record callback's message points to it; empty when the notification does not decode, which is reported.
    std::optional<void *> for_record(const RecordSubscription &subscription);
    // The same for a field callback.
    std::optional<void *> for_field(const ProtobufCMessageDescriptor &type);

private:
    bool decode(const ProtobufCMessageDescriptor &type, bool is_hash);

    Notification &notification_;
    const Channel &channel_;
    Arena &arena_;
    const ProtobufCMessageDescriptor *decoded_as_ = nullptr;
    MomHashResult *result_ = nullptr;
    bool good_ = false;
    bool no_record_ = false;  // is meant to be in the result
};

// Whether what is stored, of a key that is there, can be told of. If not, this is reported: who follows it is told that
// the record is gone.
bool can_be_told(const ProtobufCMessageDescriptor &type, std::string_view key, const StoredFields &fields);
bool can_be_told(const ProtobufCMessageDescriptor &type, std::string_view object);

// The latest call failed because what is stored is no record.
void report_as_gone();

}  // namespace mom
