// Reading the capabilities of one card node.
#include "capability_get.h"
#include "trel_cap/node_capability.h"

using namespace trel_cap;

int32_t trel_cap_ce_get_fe_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value) {
    return get_of_node<CapGlbTable, BoolValue>(TREL_CAP_CALLER, global, node, url, value);
}

int32_t trel_cap_ce_get_fe_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value) {
    return get_of_node<CapGlbTable, Int32Value>(TREL_CAP_CALLER, global, node, url, value);
}

int32_t trel_cap_ce_get_fe_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                   uint32_t *length) {
    return get_of_node<CapGlbTable>(TREL_CAP_CALLER, global, node, url, size, str, length);
}

int32_t trel_cap_ce_get_cm_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value) {
    return get_of_node<CapCmGlbTable, BoolValue>(TREL_CAP_CALLER, global, node, url, value);
}

int32_t trel_cap_ce_get_cm_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value) {
    return get_of_node<CapCmGlbTable, Int32Value>(TREL_CAP_CALLER, global, node, url, value);
}

int32_t trel_cap_ce_get_cm_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                   uint32_t *length) {
    return get_of_node<CapCmGlbTable>(TREL_CAP_CALLER, global, node, url, size, str, length);
}

// HPS and fabric cards have no records of their own: these are second names of the line-card getters.

int32_t trel_cap_ce_get_hps_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value) {
    return trel_cap_ce_get_fe_cap_bool(global, node, url, value);
}

int32_t trel_cap_ce_get_hps_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value) {
    return trel_cap_ce_get_fe_cap_int32(global, node, url, value);
}

int32_t trel_cap_ce_get_hps_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                    uint32_t *length) {
    return trel_cap_ce_get_fe_cap_str(global, node, url, size, str, length);
}

int32_t trel_cap_ce_get_fab_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value) {
    return trel_cap_ce_get_fe_cap_bool(global, node, url, value);
}

int32_t trel_cap_ce_get_fab_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value) {
    return trel_cap_ce_get_fe_cap_int32(global, node, url, value);
}

int32_t trel_cap_ce_get_fab_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                    uint32_t *length) {
    return trel_cap_ce_get_fe_cap_str(global, node, url, size, str, length);
}
