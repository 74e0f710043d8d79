// Reading the capabilities of a card class.
#include "capability_get.h"
#include "trel_cap/class_capability.h"

using namespace trel_cap;

int32_t trel_cap_ce_get_hps_g_cap_bool(MomClient *global, const char *url, uint8_t *value) {
    return get_by_url<CapHpsTable, BoolValue>(TREL_CAP_CALLER, global, url, value);
}

int32_t trel_cap_ce_get_hps_g_cap_int32(MomClient *global, const char *url, int32_t *value) {
    return get_by_url<CapHpsTable, Int32Value>(TREL_CAP_CALLER, global, url, value);
}

int32_t trel_cap_ce_get_fab_g_cap_bool(MomClient *global, const char *url, uint8_t *value) {
    return get_by_url<CapFabTable, BoolValue>(TREL_CAP_CALLER, global, url, value);
}

int32_t trel_cap_ce_get_fab_g_cap_int32(MomClient *global, const char *url, int32_t *value) {
    return get_by_url<CapFabTable, Int32Value>(TREL_CAP_CALLER, global, url, value);
}

int32_t trel_cap_ce_get_cm_g_cap_bool(MomClient *global, const char *url, uint8_t *value) {
    return get_by_url<CapCmTable, BoolValue>(TREL_CAP_CALLER, global, url, value);
}

int32_t trel_cap_ce_get_cm_g_cap_int32(MomClient *global, const char *url, int32_t *value) {
    return get_by_url<CapCmTable, Int32Value>(TREL_CAP_CALLER, global, url, value);
}
