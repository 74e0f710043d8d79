// Starting another program.
#pragma once

#include <spawn.h>
#include <sys/types.h>

namespace demo {

// Starts it, found in PATH, in a process group of its own: a Ctrl-C is for the demo, which ends it in its own time.
bool spawn_apart(const char *program, const posix_spawn_file_actions_t *actions, char *const *arguments, pid_t &pid);

}  // namespace demo
