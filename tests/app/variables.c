/* The exported variables as a C program sees them. */

#include "variables.h"

#include "trel_cap/trel_cap.h"

struct library_variables library_variables_of_this_thread(void) {
    struct library_variables variables = {
        &g_trel_cap_global,
        &trel_cap_dbg_inited,
        &g_trel_cap_config_reconnect,
        &g_trel_cap_zlog_level,
        &g_trel_cap_zlog_category,
        &g_trel_callback_reg_mem,
        &cap_nodes_list,
        {&g_trel_cap_flag, &g_trel_fab_cm_cap_flag, &g_trel_hps_cap_flag, &g_trel_lc_and_hps_cap_flag},
        {&g_trel_cap_install_validated, &g_trel_cap_rec_disable_validated, &g_trel_cap_fe_node_validated,
         &g_trel_cap_cm_node_validated, &g_trel_cap_glb_ready_validated, &g_trel_cap_fab_glb_ready_validated,
         &g_trel_cap_cm_glb_ready_validated, &g_trel_cap_hps_glb_ready_validated},
        {&g_trel_g_cap_calc_ready, &g_trel_g_fab_cap_calc_ready, &g_trel_g_cm_cap_calc_ready,
         &g_trel_g_hps_cap_calc_ready},
    };
    return variables;
}

int32_t read_through_c(MomClient *client, const char *url, uint8_t *value) {
    if (trel_cap_init(client, "c program") != TREL_CAP_OK) {
        return -1;
    }
    return trel_cap_ce_get_g_cap_bool(client, url, value);
}
