// Which sources of readiness have been read from the store on this thread.
#include "trel_cap/processors.h"

// Each answers as the last flag does that is looked at.

int32_t trel_cap_fe_ready_is_all_validated() {
    const bool others =
        g_trel_cap_install_validated != 0 && g_trel_cap_glb_ready_validated != 0 && g_trel_cap_fe_node_validated != 0;
    return others ? g_trel_cap_rec_disable_validated : 0;
}

// The readiness of fabric nodes, and of HPS nodes, comes in the same records as that of line-card nodes.
int32_t trel_cap_fab_ready_is_all_validated() {
    const bool others = g_trel_cap_install_validated != 0 && g_trel_cap_fab_glb_ready_validated != 0;
    return others ? g_trel_cap_fe_node_validated : 0;
}

int32_t trel_cap_cm_ready_is_all_validated() {
    const bool others = g_trel_cap_install_validated != 0 && g_trel_cap_cm_glb_ready_validated != 0;
    return others ? g_trel_cap_cm_node_validated : 0;
}

int32_t trel_cap_hps_ready_is_all_validated() {
    const bool others = g_trel_cap_install_validated != 0 && g_trel_cap_hps_glb_ready_validated != 0;
    return others ? g_trel_cap_fe_node_validated : 0;
}

void trel_cap_fe_ready_clear_all_validated_flag() {
    g_trel_cap_install_validated = 0;
    g_trel_cap_glb_ready_validated = 0;
    g_trel_cap_fe_node_validated = 0;
    g_trel_cap_rec_disable_validated = 0;
    g_trel_cap_cm_node_validated = 0;
    g_trel_cap_fab_glb_ready_validated = 0;
    g_trel_cap_cm_glb_ready_validated = 0;
    g_trel_cap_hps_glb_ready_validated = 0;
}
