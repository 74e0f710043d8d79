// The library's exported variables: the calling thread's state, and the process's.
#include "trel_cap/init.h"
#include "trel_cap/processors.h"
#include "trel_cap/registration.h"

__thread MomClient *g_trel_cap_global;
__thread uint8_t trel_cap_dbg_inited;
__thread uint8_t g_trel_cap_config_reconnect;

__thread uint32_t g_trel_cap_flag;
__thread uint32_t g_trel_fab_cm_cap_flag;
__thread uint32_t g_trel_hps_cap_flag;
__thread uint32_t g_trel_lc_and_hps_cap_flag;

__thread uint8_t g_trel_cap_install_validated;
__thread uint8_t g_trel_cap_rec_disable_validated;
__thread uint8_t g_trel_cap_fe_node_validated;
__thread uint8_t g_trel_cap_cm_node_validated;
__thread uint8_t g_trel_cap_glb_ready_validated;
__thread uint8_t g_trel_cap_fab_glb_ready_validated;
__thread uint8_t g_trel_cap_cm_glb_ready_validated;
__thread uint8_t g_trel_cap_hps_glb_ready_validated;

__thread uint8_t g_trel_g_cap_calc_ready;
__thread uint8_t g_trel_g_fab_cap_calc_ready;
__thread uint8_t g_trel_g_cm_cap_calc_ready;
__thread uint8_t g_trel_g_hps_cap_calc_ready;

int32_t g_trel_cap_zlog_level = 1;
void *g_trel_cap_zlog_category;
int32_t g_trel_callback_reg_mem = 32;
