// What waits to be delivered, and the decoding of it for those who hear it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "notice.h"
#include "ox_mom.h"
#include "result.h"
#include "subscriptions.h"

namespace mom {

struct Delivery {
    enum class Kind : uint8_t {
        kNotice,        // a change
        kConfirmation,  // 29 for one record subscription
        kPresent,       // after a reconnection: a field channel's record as it is now
        kRestored       // the reconnection callback of a database
    };

    Kind kind;
    uint64_t place;  // in the order of all deliveries
    Subscriptions::ChannelPtr channel = {};
    std::string notice = {};
    MomMsgCb cb = nullptr;
    int32_t db = 0;
};

// Arenas that results are decoded into; a delivery inside a delivery takes another one.
class ArenaPool {
public:
    // One arena, for as long as this lives.
    class Lease {
    public:
        explicit Lease(ArenaPool &pool) : pool_(pool), arena_(pool.take()) {}
        Lease(const Lease &) = delete;
        Lease &operator=(const Lease &) = delete;
        ~Lease() { pool_.give_back(std::move(arena_)); }

        ResultArena &operator*() const { return *arena_; }

    private:
        ArenaPool &pool_;
        ResultArenaPtr arena_;
    };

private:
    ResultArenaPtr take();
    void give_back(ResultArenaPtr arena);

    std::vector<ResultArenaPtr> idle_;
};

// A notice as its listeners get it: decoded when the first of them asks, and once for all whose type is the same.
class DecodedNotice {
public:
    DecodedNotice(Notice &notice, const Channel &channel, ArenaPool &pool);
    DecodedNotice(const DecodedNotice &) = delete;
    DecodedNotice &operator=(const DecodedNotice &) = delete;

    // What a record callback's message points to; empty when the notice does not decode, which is reported.
    std::optional<void *> for_record(const ProtobufCMessageDescriptor &type);
    // The same for a field callback.
    std::optional<void *> for_field(const ProtobufCMessageDescriptor &type);

private:
    bool decode(const ProtobufCMessageDescriptor &type);

    Notice &notice_;
    const Channel &channel_;
    ArenaPool::Lease arena_;
    const ProtobufCMessageDescriptor *decoded_as_ = nullptr;
    MomHashResult *result_ = nullptr;
    bool good_ = false;
};

}  // namespace mom
