// Following the capabilities of the whole device.
#include "capability_subscribe.h"

#include "repeat.h"
#include "trel_cap/capability.h"

using namespace trel_cap;

int32_t trel_cap_ce_subscribe_g_cap_bool_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    return subscribe_value<CapTable>(TREL_CAP_CALLER, global, url, TREL_CAP_FIELD_BOOL, fp, arg);
}

int32_t trel_cap_ce_subscribe_g_cap_int32_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    return subscribe_value<CapTable>(TREL_CAP_CALLER, global, url, TREL_CAP_FIELD_INT32, fp, arg);
}

int32_t trel_cap_ce_subscribe_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp) {
    return trel_cap_ce_subscribe_g_cap_bool_ext(global, url, fp, nullptr);
}

int32_t trel_cap_ce_subscribe_g_cap_int32(MomClient *global, const char *url, MomFieldCb fp) {
    return trel_cap_ce_subscribe_g_cap_int32_ext(global, url, fp, nullptr);
}

int32_t trel_cap_subscribe_glb_view_bool(MomClient *global, const char *url, MomFieldCb fp) {
    return repeat_on_failure(TREL_CAP_CALLER, [=] { return trel_cap_ce_subscribe_g_cap_bool(global, url, fp); });
}
