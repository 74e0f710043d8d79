// Reading a capability out of a notification.
#include <cstring>

#include "delivery.h"
#include "record_read.h"
#include "repeat.h"
#include "trel_cap/capability.h"

using namespace trel_cap;

namespace {

// 0 for a result whose record has an index and the wanted value; anything else is logged.
template <typename Value>
int32_t check_result(const Caller &caller, const MomHashResult *result) {
    if (const int32_t rv = check_delivery(caller, result); rv != 0) {
        return rv;
    }
    if (result->record == nullptr) {
        TREL_CAP_LOG_AS(caller, kError, "view is NULL, may be not exist");
        return TREL_CAP_E_NO_RECORD;
    }
    if (record_of<CapTable>(*result).index == nullptr) {
        TREL_CAP_LOG_AS(caller, kError, "view index is NULL");
        return TREL_CAP_E_NO_INDEX;
    }
    if (!has_field(*result, Value::kField)) {
        TREL_CAP_LOG_AS(caller, kError, "%s value field invalid", Value::kName);
        return TREL_CAP_E_NO_VALUE;
    }
    return TREL_CAP_OK;
}

template <typename Value>
int32_t read_notification(const Caller &caller, const MomMsg *pmsg, uint32_t size, char *url,
                          typename Value::Type *value, uint32_t *length) {
    // The URL is checked as the caller's buffer holds it on entry.
    if (is_null(caller, "pmsg", pmsg) || is_bad_url(caller, url) || is_null(caller, "value", value) ||
        is_null(caller, "length", length)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "enter size %d", size);
    memset(url, 0, size);
    *length = 0;
    *value = Value::kAbsent;

    const auto *const result = static_cast<const MomHashResult *>(pmsg->result);
    if (const int32_t rv = check_result<Value>(caller, result); rv != 0) {
        return rv;
    }
    const auto &record = record_of<CapTable>(*result);
    *length = copy_into_zeroed(url, size, record.index->url);
    *value = Value::of(record);
    TREL_CAP_LOG_AS(caller, kDetail, "url %s, value is %d length %d", url, *value, *length);
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_ce_get_g_cap_bool_by_pmsg(MomMsg *pmsg, uint32_t size, char *url, uint8_t *value, uint32_t *length) {
    return read_notification<BoolValue>(TREL_CAP_CALLER, pmsg, size, url, value, length);
}

int32_t trel_cap_ce_get_g_cap_int32_by_pmsg(MomMsg *pmsg, uint32_t size, char *url, int32_t *value, uint32_t *length) {
    return read_notification<Int32Value>(TREL_CAP_CALLER, pmsg, size, url, value, length);
}

int32_t trel_cap_get_glb_view_bool_by_pmsg(MomMsg *pmsg, uint32_t size, char *url, uint8_t *value, uint32_t *length) {
    return repeat_on_failure(TREL_CAP_CALLER,
                             [=] { return trel_cap_ce_get_g_cap_bool_by_pmsg(pmsg, size, url, value, length); });
}
