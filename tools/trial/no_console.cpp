// A trial's library has no operators: in place of the console it finds these, which the whole program has.
#include <quib.h>

int32_t quib_lib_init(MomClient *, const char *) { return 0; }

int32_t quib_reg_mod_cmd(const char *, const char *, int32_t, const char *, QuibHandler) { return 0; }
