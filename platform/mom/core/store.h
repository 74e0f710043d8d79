// The boundary between a client and a store: requests, and what the store tells. Records are bytes here.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/loop.h"
#include "core/store_name.h"

namespace mom {

constexpr int32_t kDatabases = 29;  // as many as are used: 0 to 28

// How a record is found: database, type, and a key that tells it from all other records of the database.
struct RecordName {
    int32_t db;
    std::string_view type;  // the full name of the message type
    std::string_view key;
};

// A field of a hash as stored: its value in wire form. A number of 0 is none: the field was not written by us.
struct StoredField {
    uint32_t number;
    std::string_view value;
};
using StoredFields = std::vector<StoredField>;

constexpr uint32_t kHighestField = (1U << 29) - 1;

// A field's number as its stored name has it; 0 when it is none.
inline uint32_t field_number(std::string_view name) {
    constexpr size_t kMostDigits = 9;
    if (name.size() > kMostDigits) {
        return 0;
    }
    uint32_t number = 0;
    for (const char digit : name) {
        if (digit < '0' || digit > '9') {
            return 0;
        }
        number = number * 10 + static_cast<uint32_t>(digit - '0');
    }
    return number <= kHighestField ? number : 0;
}

// Channels: one a type, one a record. A record's begins with its type's, as its key begins with the type's name.
void append_channel(std::string &text, int32_t db, std::string_view type_or_key);
std::string channel_of(int32_t db, std::string_view type_or_key);

// The client, as its store sees it. Called from the loop only.
class StoreListener {
public:
    virtual void on_notification(std::string_view channel, std::string_view notification) = 0;

    // Connected: for the first time, or one database more.
    virtual void on_up() noexcept = 0;

    // The connection is lost, or an attempt to restore it failed. The next attempt is made in so long; 0: at once.
    virtual void on_lost(int32_t code, std::string_view why, Millis until_next) noexcept = 0;

    // The connection was lost and is back. Only the channels of lasting_channels() are still followed.
    virtual void on_restored() = 0;
    virtual std::vector<std::string> lasting_channels() const = 0;

protected:
    ~StoreListener() = default;
};

// Told of each hash of a scan, with no request under way, so that it may make some. False ends the scan.
class ScanVisitor {
public:
    virtual bool on_hash(std::string_view key, const StoredFields &fields) = 0;

protected:
    ~ScanVisitor() = default;
};

// All functions return 0 or a code, with the reason in last_error(). Views that they give live until the next call.
class Store {
public:
    Store() = default;
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;
    virtual ~Store() = default;

    virtual int32_t connect(int32_t db) = 0;
    virtual bool is_connected(int32_t db) const = 0;

    // No such record: no fields.
    virtual int32_t read_hash(const RecordName &name, StoredFields &fields) = 0;
    // written: the numbers of the fields that followers are told of.
    virtual int32_t write_hash(const RecordName &name, const StoredFields &fields,
                               std::span<const int32_t> written) = 0;
    // index: that field alone, as which it is told when the key holds no hash.
    virtual int32_t remove_hash(const RecordName &name, const StoredFields &index) = 0;

    virtual int32_t read_object(const RecordName &name, std::string_view &bytes, bool &found) = 0;
    virtual int32_t write_object(const RecordName &name, std::string_view bytes) = 0;
    virtual int32_t remove_object(const RecordName &name) = 0;

    virtual int32_t scan_hashes(int32_t db, std::string_view type, ScanVisitor &visitor) = 0;

    // Returns once every later change is sure to be told.
    virtual int32_t follow(const std::string &channel) = 0;

    // Treats the connection as lost: the client fell too far behind, or found no memory for what it was told.
    virtual void fall_behind(const char *why) noexcept = 0;

    // Notifications that have come and that the client has not been told of.
    virtual size_t untold() = 0;
};

std::unique_ptr<Store> make_mem_store(const std::string &name, Loop &loop, StoreListener &listener);
std::unique_ptr<Store> make_redis_store(StoreName name, Loop &loop, StoreListener &listener, Millis timeout);

}  // namespace mom
