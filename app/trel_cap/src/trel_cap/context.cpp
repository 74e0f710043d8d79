// The library's exported variables: the calling thread's state, and the process's.
#include "trel_cap/init.h"

__thread MomClient *g_trel_cap_global;
__thread uint8_t trel_cap_dbg_inited;
__thread uint8_t g_trel_cap_config_reconnect;

int32_t g_trel_cap_zlog_level = 1;
void *g_trel_cap_zlog_category;
int32_t g_trel_callback_reg_mem = 32;
