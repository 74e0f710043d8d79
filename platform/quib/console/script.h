// Commands from a pipe or a file.
#ifndef QUIB_CONSOLE_SCRIPT_H
#define QUIB_CONSOLE_SCRIPT_H

#include "connection.h"

namespace console {

// Has each line of standard input run, in order, whatever becomes of the others; ends with it, or at "quit" or "exit".
// Returns the exit code of the last command that failed. Throws a Failure when the module answers no more.
int run_script(Connection &connection);

}  // namespace console

#endif
