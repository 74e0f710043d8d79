// Writing the capabilities of the whole device, one field at a time.
#include "capability_write.h"

#include "log/arguments.h"
#include "repeat.h"
#include "request.h"
#include "trel_cap/capability.h"

using namespace trel_cap;

__thread int32_t trel_cap::latest_write_status;

namespace {

// Where the setters differ. The label is what a message has between the URL and the value.
struct Field {
    int32_t number;
    int32_t CapTable::*member;
    const char *label;
    bool refusal_is_returned;
};

constexpr Field kBool{TREL_CAP_FIELD_BOOL, &CapTable::bool_value, ", value ", true};
constexpr Field kInt32{TREL_CAP_FIELD_INT32, &CapTable::int32_value, ", ", true};
constexpr Field kState{TREL_CAP_FIELD_STATE, &CapTable::state, " state ", false};

int32_t set_field(const Caller &caller, const Field &field, MomClient *global, const char *url, int32_t value) {
    if (is_bad_target(caller, global, url)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "global %p, url %s%s%d", static_cast<void *>(global), url, field.label, value);

    UrlRequest<CapTable> request(url);
    request.record.*field.member = value;
    const int32_t rv = ox_mom_hmset_sync(global, TREL_CAP_DB_CAPABILITIES, &request.record.base, &field.number, 1);
    latest_write_status = rv;
    if (rv != 0) {
        TREL_CAP_LOG_AS(caller, kError, "global %p, url %s%s%d, rv %d", static_cast<void *>(global), url, field.label,
                        value, rv);
        if (field.refusal_is_returned) {
            return rv;
        }
    }
    TREL_CAP_LOG_AS(caller, kDetail, "leave");
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_ce_set_g_cap_bool(MomClient *global, const char *url, int32_t value) {
    return set_field(TREL_CAP_CALLER, kBool, global, url, value);
}

int32_t trel_cap_ce_set_g_cap_int32(MomClient *global, const char *url, int32_t value) {
    return set_field(TREL_CAP_CALLER, kInt32, global, url, value);
}

int32_t trel_cap_ce_set_g_cap_state(MomClient *global, const char *url, int32_t state) {
    return set_field(TREL_CAP_CALLER, kState, global, url, state);
}

int32_t trel_cap_ce_set_cap_view_state(MomClient *global, const char *url, int32_t state) {
    return repeat_on_failure(TREL_CAP_CALLER, [=] { return trel_cap_ce_set_g_cap_state(global, url, state); });
}
