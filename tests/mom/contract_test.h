// What the tests of the contract begin with: those that take any object-store client behind ox_mom.h, and any store.
#pragma once

#include "recorder.h"
#include "records.h"
#include "store_fixture.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>

namespace mom_test {

using std::chrono::milliseconds;
using test_support::ClientPtr;
using test_support::kRequestLimit;
using test_support::StoreTest;

struct HashResultDeleter {
    void operator()(MomHashResult *result) const { ox_mom_hash_res_free(result); }
};
using HashResultPtr = std::unique_ptr<MomHashResult, HashResultDeleter>;

struct ObjectDeleter {
    void operator()(ProtobufCMessage *record) const { ox_mom_ox_obj_free(record); }
};
using ObjectPtr = std::unique_ptr<ProtobufCMessage, ObjectDeleter>;

inline int32_t put(const ClientPtr &client, const ProtobufCMessage *record, const std::vector<int32_t> &fields,
                   int32_t db = kGlobalDb) {
    return ox_mom_hmset_sync(client.get(), db, record, fields.data(), static_cast<uint32_t>(fields.size()));
}

inline int32_t put_int(const ClientPtr &client, const std::string &url, int32_t value) {
    return put(client, Cap(url, value).message(), {kInt});
}

template <typename Record>
int32_t set(const ClientPtr &client, bool ready, int32_t db = kGlobalDb) {
    return ox_mom_set_sync(client.get(), db, Single<Record>(ready).message());
}

inline int32_t del(const ClientPtr &client, const ProtobufCMessage *request, int32_t db = kGlobalDb) {
    return ox_mom_del_sync(client.get(), db, request);
}

inline HashResultPtr read(const ClientPtr &client, const ProtobufCMessage *request, int32_t db = kGlobalDb) {
    return HashResultPtr(ox_mom_hgetall_sync(client.get(), db, request));
}

inline std::vector<int32_t> fields_of(const HashResultPtr &result) {
    return {result->field_ids, result->field_ids + result->n_field_ids};
}

template <typename Record>
const Record &as(const HashResultPtr &result) {
    return *reinterpret_cast<const Record *>(result->record);
}

// The integer that the store has under that URL, or -1 when there is none or the call fails.
inline int32_t stored_int(const ClientPtr &client, const std::string &url, int32_t db = kGlobalDb) {
    const HashResultPtr result = read(client, Cap(url).message(), db);
    return result != nullptr && result->record != nullptr ? as<CapTable>(result).int32_value : -1;
}

inline int32_t error_of_read(const ClientPtr &client, const std::string &url = "/any") {
    const HashResultPtr result = read(client, Cap(url).message());
    return result == nullptr ? 1 : result->error_code;
}

template <typename Record>
int32_t follow(const ClientPtr &client, MomMsgCb cb = on_notification<0>, int32_t db = kGlobalDb) {
    Record request;
    protobuf_c_message_init(descriptor<Record>(), &request);
    return ox_mom_subscribe(client.get(), db, &request.base, 0, cb, nullptr);
}

inline int32_t follow_field(const ClientPtr &client, const ProtobufCMessage *request, int32_t field,
                            MomFieldCb cb = on_field<0>, void *arg = nullptr, int32_t db = kGlobalDb) {
    return ox_mom_subscribe_field(client.get(), db, request, 1, &field, &cb, &arg, 1);
}

inline Slot &slot(int number = 0) { return recorder().slots.at(static_cast<size_t>(number)); }

inline bool pump_until(const ClientPtr &client, const std::function<bool()> &done, milliseconds limit = kLongEnough) {
    return pump_until(client.get(), done, limit);
}

// The same for what comes without a callback, so that process() does not return for it.
inline bool process_until(const ClientPtr &client, const std::function<bool()> &done) {
    const Stopwatch watch;
    while (!done() && watch.elapsed() < kLongEnough) {
        EXPECT_GE(ox_mom_client_process(client.get(), 5), 0);
    }
    return done();
}

inline bool settle(const ClientPtr &client, const ClientPtr &publisher, int32_t db = kGlobalDb) {
    return settle(client.get(), publisher.get(), db);
}

template <typename Record>
State stored_state(const ClientPtr &client, int32_t db = kGlobalDb) {
    Record request;
    protobuf_c_message_init(descriptor<Record>(), &request);
    return stored_state(client.get(), db, &request.base);
}

}  // namespace mom_test
