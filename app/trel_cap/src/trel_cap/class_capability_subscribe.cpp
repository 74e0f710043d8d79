// Following the capabilities of a card class.
#include "capability_subscribe.h"
#include "trel_cap/capability.h"
#include "trel_cap/class_capability.h"

using namespace trel_cap;

int32_t trel_cap_ce_subscribe_hps_g_cap_bool_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    return subscribe_value<CapHpsTable>(TREL_CAP_CALLER, global, url, TREL_CAP_FIELD_BOOL, fp, arg);
}

int32_t trel_cap_ce_subscribe_hps_g_cap_int32_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    return subscribe_value<CapHpsTable>(TREL_CAP_CALLER, global, url, TREL_CAP_FIELD_INT32, fp, arg);
}

int32_t trel_cap_ce_subscribe_fab_g_cap_bool_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    return subscribe_value<CapFabTable>(TREL_CAP_CALLER, global, url, TREL_CAP_FIELD_BOOL, fp, arg);
}

int32_t trel_cap_ce_subscribe_fab_g_cap_int32_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    return subscribe_value<CapFabTable>(TREL_CAP_CALLER, global, url, TREL_CAP_FIELD_INT32, fp, arg);
}

int32_t trel_cap_ce_subscribe_cm_g_cap_bool_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    return subscribe_value<CapCmTable>(TREL_CAP_CALLER, global, url, TREL_CAP_FIELD_BOOL, fp, arg);
}

int32_t trel_cap_ce_subscribe_cm_g_cap_int32_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg) {
    return subscribe_value<CapCmTable>(TREL_CAP_CALLER, global, url, TREL_CAP_FIELD_INT32, fp, arg);
}

int32_t trel_cap_ce_subscribe_hps_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp) {
    return trel_cap_ce_subscribe_hps_g_cap_bool_ext(global, url, fp, nullptr);
}

int32_t trel_cap_ce_subscribe_hps_g_cap_int32(MomClient *global, const char *url, MomFieldCb fp) {
    return trel_cap_ce_subscribe_hps_g_cap_int32_ext(global, url, fp, nullptr);
}

// The device's capability, not the class's: so programs know it.
int32_t trel_cap_ce_subscribe_fab_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp) {
    return trel_cap_ce_subscribe_g_cap_bool_ext(global, url, fp, nullptr);
}

int32_t trel_cap_ce_subscribe_fab_g_cap_int32(MomClient *global, const char *url, MomFieldCb fp) {
    return trel_cap_ce_subscribe_fab_g_cap_int32_ext(global, url, fp, nullptr);
}

int32_t trel_cap_ce_subscribe_cm_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp) {
    return trel_cap_ce_subscribe_cm_g_cap_bool_ext(global, url, fp, nullptr);
}

int32_t trel_cap_ce_subscribe_cm_g_cap_int32(MomClient *global, const char *url, MomFieldCb fp) {
    return trel_cap_ce_subscribe_cm_g_cap_int32_ext(global, url, fp, nullptr);
}
