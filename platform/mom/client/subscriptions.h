// Who follows what. Kept by channel, as notifications come by channel.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ox_mom.h"

namespace mom {

// A subscription hears only what came after its own place in the order of deliveries.
struct RecordSubscription {
    const ProtobufCMessageDescriptor *type;
    MomMsgCb cb;
    uint64_t since;
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
};

class Subscriptions {
public:
    // A channel stays where it is as long as the client lives: deliveries point at it.
    Channel *find(std::string_view name);
    Channel &find_or_add(const std::string &name, int32_t db, std::string_view key);

    // Adds the subscription, or puts the one of the same callback in its place in the order.
    static void put_record(Channel &channel, const RecordSubscription &subscription);
    static const RecordSubscription *find_record(const Channel &channel, MomMsgCb cb);

    void forget_records();

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
