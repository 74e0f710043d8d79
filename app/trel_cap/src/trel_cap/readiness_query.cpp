// Asking the store for the readiness of the device and of its card classes.
#include <memory>

#include "log/arguments.h"
#include "request.h"
#include "trel_cap/readiness.h"
#include "trel_cap/records.h"

using namespace trel_cap;

namespace {

template <typename State>
struct StateFree {
    void operator()(State *state) const { trel_cap_ox_obj_free(state); }
};

template <typename State>
int32_t query_ready(const Caller &caller, MomClient *global, uint8_t *ready) {
    if (is_null(caller, "global", global) || is_null(caller, "ready", ready)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "enter %p", static_cast<void *>(global));

    const State request = initial<State>();
    int32_t error = 0;
    std::unique_ptr<State, StateFree<State>> state(
        reinterpret_cast<State *>(ox_mom_get_sync(global, TREL_CAP_DB_CAPABILITIES, &request.base, &error)));
    if (error != 0) {
        TREL_CAP_LOG_AS(caller, kError, "errorcode %d", error);
        *ready = 0;
        return TREL_CAP_E_NO_ANSWER;
    }
    if (state == nullptr) {
        TREL_CAP_LOG_AS(caller, kError, "tmp_state is NULL");
        *ready = 0;
        return TREL_CAP_OK;
    }
    // An error's severity, so that the default log tells when the device became ready.
    TREL_CAP_LOG_AS(caller, kError, "ready is %d", state->ready);
    *ready = state->ready != 0 ? 1 : 0;

    state.reset();
    TREL_CAP_LOG_AS(caller, kDetail, "leave");
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_ce_get_glb_ready(MomClient *global, uint8_t *ready) {
    return query_ready<CapGlbState>(TREL_CAP_CALLER, global, ready);
}

int32_t trel_cap_ce_get_hps_glb_ready(MomClient *global, uint8_t *ready) {
    return query_ready<CapHpsGlbState>(TREL_CAP_CALLER, global, ready);
}

int32_t trel_cap_ce_get_cm_glb_ready(MomClient *global, uint8_t *ready) {
    return query_ready<CapCmGlbState>(TREL_CAP_CALLER, global, ready);
}

int32_t trel_cap_ce_get_fab_glb_ready(MomClient *global, uint8_t *ready) {
    return query_ready<CapFabGlbState>(TREL_CAP_CALLER, global, ready);
}
