/* The console of another platform: it counts the commands, on standard error. */
#include <stdio.h>

#include "quib.h"

int32_t quib_lib_init(MomClient *client, const char *module) {
    fprintf(stderr, "module %s\n", module);
    return client != NULL ? 0 : -1;
}

int32_t quib_reg_mod_cmd(const char *module, const char *command, int32_t reserved, const char *argument_format,
                         QuibHandler handler) {
    fprintf(stderr, "command %s of %s, %s\n", command, module, argument_format);
    return reserved == 0 && handler != NULL ? 0 : -1;
}
