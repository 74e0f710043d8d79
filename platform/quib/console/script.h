// Commands from a pipe or a file.
#pragma once

#include "module_connection.h"

namespace console {

// Has each line of standard input run, in order, whatever becomes of the others; ends with it, or at "quit" or "exit".
// Comments are left out. Returns the exit status of the last command that failed. Throws a Failure when the module
// answers no more.
int run_script(ModuleConnection &connection);

}  // namespace console
