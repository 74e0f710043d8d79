// Reading one value of a capability record: the steps that the getters and the notification readers share.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>

#include "log/arguments.h"
#include "request.h"

namespace trel_cap {

// The kinds of value: the type that a caller receives, the field that carries it, its name in messages, and what is
// preset for a value that turns out to be absent. Where a class getter does not preset, the caller's variable keeps
// what it held.
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

// Asks the store for the record of a request; url is for messages. A failure is logged, and the result then empty.
HashResult fetch_record(const Caller &caller, MomClient *global, const char *url, const ProtobufCMessage &request);

inline bool has_field(const MomHashResult &result, int32_t field) {
    for (uint32_t i = 0; i < result.n_field_ids; i++) {
        if (result.field_ids[i] == field) {
            return true;
        }
    }
    return false;
}

// The record of a result that has one, as the type that was asked for.
template <typename Record>
const Record &record_of(const MomHashResult &result) {
    return reinterpret_cast<const Record &>(*result.record);
}

// The most that a caller gets of a received string, a URL or a value, however large the buffer.
inline constexpr size_t kStringMax = 255;

// Copies a received string into a zeroed buffer of size bytes, cut to it and to kStringMax; returns its length.
inline uint32_t copy_into_zeroed(char *dst, size_t size, const char *string) {
    if (string == nullptr || size == 0) {
        return 0;
    }
    const size_t length = std::min<size_t>(strnlen(string, kStringMax), size - 1);
    memcpy(dst, string, length);
    return static_cast<uint32_t>(length);
}

}  // namespace trel_cap
