/* The exported variables as a C program sees them. */
#pragma once

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/node_list.h"

#ifdef __cplusplus
extern "C" {
#endif

struct library_variables {  // NOLINT(readability-identifier-naming): C
    MomClient **global;
    uint8_t *dbg_inited;
    uint8_t *config_reconnect;
    int32_t *zlog_level;
    void **zlog_category;
    int32_t *callback_reg_mem;
    CapNodeList *nodes;
    uint32_t *flags[4];
    uint8_t *validated[8];
    uint8_t *calc_ready[4];
};

struct library_variables library_variables_of_this_thread(void);
int32_t read_through_c(MomClient *client, const char *url, uint8_t *value);

#ifdef __cplusplus
}
#endif
