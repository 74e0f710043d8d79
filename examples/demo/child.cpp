#include "child.h"

extern char **environ;

namespace demo {

bool spawn_apart(const char *program, const posix_spawn_file_actions_t *actions, char *const *arguments, pid_t &pid) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    const int failed = posix_spawnp(&pid, program, actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    return failed == 0;
}

}  // namespace demo
