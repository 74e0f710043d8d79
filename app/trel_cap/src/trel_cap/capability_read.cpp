// Reading the capabilities of the whole device.
#include "capability_get.h"
#include "repeat.h"
#include "trel_cap/capability.h"

using namespace trel_cap;

int32_t trel_cap_ce_get_g_cap_bool(MomClient *global, const char *url, uint8_t *value) {
    return get_by_url<CapTable, BoolValue>(TREL_CAP_CALLER, global, url, value);
}

int32_t trel_cap_ce_get_g_cap_int32(MomClient *global, const char *url, int32_t *value) {
    return get_by_url<CapTable, Int32Value>(TREL_CAP_CALLER, global, url, value);
}

int32_t trel_cap_ce_get_glb_view_bool(MomClient *global, const char *url, uint8_t *value) {
    return repeat_on_failure(TREL_CAP_CALLER, [=] { return trel_cap_ce_get_g_cap_bool(global, url, value); });
}

int32_t trel_cap_ce_get_glb_view_int32(MomClient *global, const char *url, int32_t *value) {
    return trel_cap_ce_get_g_cap_int32(global, url, value);
}
