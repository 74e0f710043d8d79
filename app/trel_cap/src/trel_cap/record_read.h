// Reading one value of a capability record: the steps that the getters and the notification readers share.
#ifndef TREL_CAP_RECORD_READ_H
#define TREL_CAP_RECORD_READ_H

#include <memory>

#include "log/arguments.h"
#include "request.h"

namespace trel_cap {

/*
 * The kinds of value: the type that a caller receives, the field that carries it, its name in messages, and what is
 * preset for a value that turns out to be absent. Where a class getter does not preset, the caller's variable keeps
 * what it held.
 */
struct BoolValue {
    using Type = uint8_t;
    static constexpr int32_t kField = TREL_CAP_FIELD_BOOL;
    static constexpr const char *kName = "bool";
    static constexpr Type kAbsent = 0;
    static constexpr bool kClassGetterPresets = false;

    template <typename Record>
    static Type of(const Record &record) {
        return record.bool_value != 0 ? 1 : 0;
    }
};

struct Int32Value {
    using Type = int32_t;
    static constexpr int32_t kField = TREL_CAP_FIELD_INT32;
    static constexpr const char *kName = "int32";
    static constexpr Type kAbsent = -1;
    static constexpr bool kClassGetterPresets = true;

    template <typename Record>
    static Type of(const Record &record) {
        return record.int32_value;
    }
};

struct HashResultFree {
    void operator()(MomHashResult *result) const { ox_mom_hash_res_free(result); }
};
using HashResult = std::unique_ptr<MomHashResult, HashResultFree>;

/* Asks the store for the record of a request; url is for messages. A failure is logged, and the result then empty. */
HashResult fetch_record(Caller caller, MomClient *global, const char *url, const ProtobufCMessage &request);

inline bool has_field(const MomHashResult &result, int32_t field) {
    for (uint32_t i = 0; i < result.n_field_ids; i++) {
        if (result.field_ids[i] == field) {
            return true;
        }
    }
    return false;
}

/* The record of a result that has one, as the type that was asked for. */
template <typename Record>
const Record &record_of(const MomHashResult &result) {
    return reinterpret_cast<const Record &>(*result.record);
}

/* The getter of a capability that is addressed by its URL alone: one of the device, or of a card class. */
template <typename Record, typename Value>
int32_t get_by_url(Caller caller, MomClient *global, const char *url, typename Value::Type *value) {
    if (is_bad_target(caller, global, url) || is_null(caller, "value", value)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "global %p, enter url %s", static_cast<void *>(global), url);

    const UrlRequest<Record> request(url);
    HashResult result = fetch_record(caller, global, url, request.record.base);
    if (result == nullptr) {
        return TREL_CAP_E_NO_ANSWER;
    }
    if constexpr (Value::kClassGetterPresets) {
        *value = Value::kAbsent;
    }
    if (result->record == nullptr) {
        TREL_CAP_LOG_AS(caller, kError, "url %s, tmp NULL", url);
        return TREL_CAP_E_NO_RECORD;
    }
    if (!has_field(*result, Value::kField)) {
        TREL_CAP_LOG_AS(caller, kError, "url %s, value field invalid", url);
        return TREL_CAP_E_NO_VALUE;
    }
    *value = Value::of(record_of<Record>(*result));
    TREL_CAP_LOG_AS(caller, kDetail, "url %s value %d", url, *value);

    result.reset();
    TREL_CAP_LOG_AS(caller, kDetail, "leave");
    return TREL_CAP_OK;
}

}  // namespace trel_cap

#endif
