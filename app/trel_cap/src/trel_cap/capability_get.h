// The one getter of all capabilities: those of the device, of a card class, and of a card node.
#pragma once

#include <cstring>

#include "record_read.h"

namespace trel_cap {

// The kinds of address: a capability that is addressed by its URL alone, one of the device or of a card class, or by a
// node and a URL. Each says in its own words what became of a request, and when the caller's variables are reset.
template <typename Table>
struct UrlCapability {
    using Record = Table;
    static constexpr bool kResetsBeforeReading = false;

    const char *url;

    UrlRequest<Record> request() const { return UrlRequest<Record>(url); }

    void log_entry(const Caller &caller, MomClient *global) const {
        TREL_CAP_LOG_AS(caller, kDetail, "global %p, enter url %s", static_cast<void *>(global), url);
    }
    void log_no_record(const Caller &caller) const { TREL_CAP_LOG_AS(caller, kError, "url %s, tmp NULL", url); }
    void log_no_value(const Caller &caller) const {
        TREL_CAP_LOG_AS(caller, kError, "url %s, value field invalid", url);
    }
    void log_value(const Caller &caller, int32_t value) const {
        TREL_CAP_LOG_AS(caller, kDetail, "url %s value %d", url, value);
    }
};

template <typename Table>
struct NodeCapability {
    using Record = Table;
    static constexpr bool kResetsBeforeReading = true;

    int32_t node;
    const char *url;

    NodeRequest<Record> request() const { return NodeRequest<Record>(node, url); }

    void log_entry(const Caller &caller, MomClient *global) const {
        TREL_CAP_LOG_AS(caller, kDetail, "global %p, node %d, url %s", static_cast<void *>(global), node, url);
    }
    void log_no_record(const Caller &caller) const {
        TREL_CAP_LOG_AS(caller, kError, "node %d, url %s, tmp NULL", node, url);
    }
    void log_no_value(const Caller &caller) const {
        TREL_CAP_LOG_AS(caller, kError, "node %d, url %s, value field invalid", node, url);
    }
    void log_value(const Caller &caller, int32_t value) const {
        TREL_CAP_LOG_AS(caller, kDetail, "node %d, url %s value %d", node, url, value);
    }
    void log_value(const Caller &caller, const char *str, uint32_t length) const {
        TREL_CAP_LOG_AS(caller, kDetail, "node %d, url %s, str: %s, length %d", node, url, str, length);
    }
};

// Where a value goes: the caller's variable, or the caller's buffer.
template <typename Value>
struct Variable {
    static constexpr int32_t kField = Value::kField;

    typename Value::Type *value;

    bool is_bad(const Caller &caller) const { return is_null(caller, "value", value); }
    void reset() const { *value = Value::kAbsent; }
    void answered() const {
        if constexpr (Value::kClassGetterPresets) {
            reset();
        }
    }

    template <typename Record>
    void store(const Record &record) const {
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): is_bad() has refused NULL before
        *value = Value::of(record);
    }
    template <typename Capability>
    void log_with(const Caller &caller, const Capability &capability) const {
        capability.log_value(caller, *value);
    }
};

struct Buffer {
    static constexpr int32_t kField = TREL_CAP_FIELD_STR;

    int32_t size;
    char *str;
    uint32_t *length;

    bool is_bad(const Caller &caller) const {
        if (is_null(caller, "str", str) || is_null(caller, "length", length)) {
            return true;
        }
        if (size >= 1) [[likely]] {
            return false;
        }
        TREL_CAP_LOG_AT_CALLER(caller, kError, "size %d error!\n", size);
        return true;
    }
    void reset() const {
        memset(str, 0, static_cast<size_t>(size));
        *length = 0;
    }

    template <typename Record>
    void store(const Record &record) const {
        *length = copy_into_zeroed(str, static_cast<size_t>(size), record.str_value);
    }
    template <typename Capability>
    void log_with(const Caller &caller, const Capability &capability) const {
        capability.log_value(caller, str, *length);
    }
};

template <typename Capability, typename Place>
int32_t get(const Caller &caller, MomClient *global, Capability capability, Place place) {
    if (is_bad_target(caller, global, capability.url) || place.is_bad(caller)) {
        return TREL_CAP_E_ARGUMENT;
    }
    capability.log_entry(caller, global);
    if constexpr (Capability::kResetsBeforeReading) {
        place.reset();
    }

    const auto request = capability.request();
    HashResult result = fetch_record(caller, global, capability.url, request.record.base);
    if (result == nullptr) {
        return TREL_CAP_E_NO_ANSWER;
    }
    if constexpr (!Capability::kResetsBeforeReading) {
        place.answered();
    }
    if (result->record == nullptr) {
        capability.log_no_record(caller);
        return TREL_CAP_E_NO_RECORD;
    }
    if (!has_field(*result, Place::kField)) {
        capability.log_no_value(caller);
        return TREL_CAP_E_NO_VALUE;
    }
    place.store(record_of<typename Capability::Record>(*result));
    place.log_with(caller, capability);

    result.reset();
    TREL_CAP_LOG_AS(caller, kDetail, "leave");
    return TREL_CAP_OK;
}

// The getter of a capability that is addressed by its URL alone.
template <typename Table, typename Value>
int32_t get_by_url(const Caller &caller, MomClient *global, const char *url, typename Value::Type *value) {
    return get(caller, global, UrlCapability<Table>{url}, Variable<Value>{value});
}

// The getters of a card node's capability.
template <typename Table, typename Value>
int32_t get_of_node(const Caller &caller, MomClient *global, int32_t node, const char *url,
                    typename Value::Type *value) {
    return get(caller, global, NodeCapability<Table>{node, url}, Variable<Value>{value});
}

template <typename Table>
int32_t get_of_node(const Caller &caller, MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                    uint32_t *length) {
    return get(caller, global, NodeCapability<Table>{node, url}, Buffer{size, str, length});
}

}  // namespace trel_cap
