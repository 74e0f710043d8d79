/* quib.h - the console of another platform. */
#ifndef QUIB_H
#define QUIB_H

#include "ox_mom.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*QuibHandler)(void);

int32_t quib_lib_init(MomClient *client, const char *module);
int32_t quib_reg_mod_cmd(const char *module, const char *command, int32_t reserved, const char *argument_format,
                         QuibHandler handler);

#ifdef __cplusplus
}
#endif

#endif
