// Who follows what. Kept by channel, as notifications come by channel.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/told_records.h"
#include "ox_mom.h"

namespace mom {

// A subscription hears only what came after its own place in the queue. One that is made again keeps it, once it has
// been confirmed: what waits for it may be a deletion, of which the scan that follows says nothing.
struct RecordSubscription {
    enum class State : uint8_t {
        kUnconfirmed,  // its message 29 waits
        kConfirmed,
        kLapsed  // the connection was lost, and the callback has not followed the type again
    };

    const ProtobufCMessageDescriptor *type;
    bool is_hash;  // the type, found out once
    MomMsgCb cb;
    uint64_t since;
    uint64_t confirmation = since;  // the place of its message 29
    State state = State::kUnconfirmed;
    bool lapsed_before = false;  // and not told yet what has vanished meanwhile

    bool stands() const { return state != State::kLapsed; }
    bool is_unconfirmed() const { return state == State::kUnconfirmed; }
    bool has_been_confirmed() const { return stands() && (!is_unconfirmed() || since != confirmation); }
};

struct FieldSubscription {
    const ProtobufCMessageDescriptor *type;
    int32_t field;
    MomFieldCb cb;
    void *arg;
    uint64_t since;
};

struct Channel {
    std::string name;
    int32_t db;
    std::string key;  // of the record, or the type's name
    std::vector<RecordSubscription> records;
    std::vector<FieldSubscription> fields;
    ToldRecords told = {};                // to the callbacks of records
    bool is_compared = true;              // told with the store, since the latest loss
    bool fields_know_it_is_gone = false;  // the record, whose deletion may come late

    bool has_records() const { return std::ranges::any_of(records, &RecordSubscription::stands); }
};

class Subscriptions {
public:
    // A channel stays where it is as long as the client lives: the queue points at it.
    Channel *find(std::string_view name);
    Channel &find_or_add(const std::string &name, int32_t db, std::string_view key);

    // Adds the subscription, or puts the one of the same callback in its place in the order.
    static void put_record(Channel &channel, const RecordSubscription &subscription);
    // The one that a confirmation at that place is for; nullptr when it was renewed or has lapsed since.
    static RecordSubscription *find_unconfirmed(Channel &channel, MomMsgCb cb, uint64_t place);

    // All subscriptions of records lapse.
    void lapse_records() noexcept;

    // The channels that are followed again after a loss, and not compared yet.
    std::vector<Channel *> to_compare() const;

    struct Count {
        size_t records = 0;
        size_t fields = 0;
    };
    Count count() const;

    // The channels that carry field subscriptions.
    std::vector<Channel *> with_fields() const;

private:
    std::map<std::string, std::unique_ptr<Channel>, std::less<>> channels_;
    Channel *last_found_ = nullptr;  // notifications of one channel tend to come together
};

}  // namespace mom
