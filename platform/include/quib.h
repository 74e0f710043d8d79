/*
 * quib.h - the console: commands of a running program that an operator calls from another terminal.
 *
 * A program registers a module and its commands. The operator's program, quib, finds the module by its name, reads a
 * command with its arguments and has it run; what the command prints on standard output while it runs is shown to the
 * operator.
 *
 * Conventions:
 *
 *  1. Threads. A module belongs to the thread that made it, that of its client. Its commands run there, inside
 *     ox_mom_client_process(), and so show that thread's state. All functions are called on that thread.
 *  2. Output. Descriptor 1 is the process's: what other threads print while a command runs goes to the operator too.
 *     Commands of several threads run one after another.
 *  3. Where. A module listens on the Unix socket DIR/MODULE, mode 0600, DIR being $QUIB_DIR, else
 *     $XDG_RUNTIME_DIR/quib, else /run/quib; a directory that is missing is made, mode 0700. Only the user of the
 *     process and root are served. The directory, and all above it, belongs to the user or to root, and others may not
 *     write to it, except above it where a directory is sticky. /run/quib alone is shared by all users: root makes it,
 *     mode 1777.
 *  4. Limits. A module serves eight operators at a time, and lets one go who sends no command for ten minutes, or for
 *     $QUIB_IDLE_MS milliseconds. A line that is longer than 4096 bytes is refused; what a command prints is cut after
 *     64 MiB.
 */
#ifndef QUIB_H
#define QUIB_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
/* A program may define these functions itself and be called instead, even one that hides its symbols by default. */
#pragma GCC visibility push(default)

enum {
    QUIB_NAME_MAX = 126, /* bytes of a module's name */
    QUIB_TEXT_MAX = 100, /* bytes of what a command is for */

    QUIB_E_ARGUMENT = -201,
    QUIB_E_MEMORY = -202,
    QUIB_E_CLIENT = -203,
    QUIB_E_SOCKET = -204,
    QUIB_E_IN_USE = -205,
    QUIB_E_MODULE = -206
};

/* A client of the object store: ox_mom.h. */
typedef struct MomClient MomClient;

/*
 * A command's function, cast to this. It is called with the arguments that its format names, in their order: %d as
 * int32_t, %s as const char *, valid until it returns. It returns an int32_t status; a negative one is a failure, of
 * which the operator is told when the command has printed nothing.
 */
typedef void (*QuibHandler)(void);

/*
 * Makes a module of that name, served from the client's loop until the client is destroyed. When there is one of that
 * name already, of another thread or another process, this one's socket is MODULE.2, MODULE.3 and so on; its sockets
 * that the user's dead processes have left are removed. Again on the same thread with the same client: success, nothing
 * done. 0, or:
 *
 * QUIB_E_ARGUMENT   an argument is NULL, or the name is empty, longer than QUIB_NAME_MAX, begins with a '.' or holds a
 *                   '/'
 * QUIB_E_MEMORY     out of memory
 * QUIB_E_CLIENT     the client belongs to another thread or process
 * QUIB_E_SOCKET     the socket cannot be made; why is printed on standard error
 * QUIB_E_IN_USE     the names of a thousand instances are taken
 */
int32_t quib_lib_init(MomClient *client, const char *module);

/*
 * Adds a command to this thread's module of that name; one of the same name is replaced. argument_format is "void" or
 * words separated by one blank, each NAME=%d, NAME=%s, %d or %s; an operator gives arguments by name or in order, a %d
 * as a decimal number, or as its 32 bits in hexadecimal: 0xffffffff is -1.
 * reserved is 0. 0, or:
 *
 * QUIB_E_ARGUMENT   an argument is NULL, the command's name is no word, the format is not understood
 * QUIB_E_MEMORY     out of memory
 * QUIB_E_MODULE     this thread has no module of that name
 */
int32_t quib_reg_mod_cmd(const char *module, const char *command, int32_t reserved, const char *argument_format,
                         QuibHandler handler);

/*
 * The two functions below are this console's alone. A program that is to run on other platforms, too, declares them
 * weak, and calls them where they are there.
 */

/*
 * Says in a line what a command of this thread's module is for, as "reads a number of a card"; help shows it. It goes
 * when the command is replaced. 0, or:
 *
 * QUIB_E_ARGUMENT   an argument is NULL, the module has no such command, the text is empty or longer than QUIB_TEXT_MAX
 *                   bytes, or holds a control character
 * QUIB_E_MEMORY     out of memory
 * QUIB_E_MODULE     this thread has no module of that name
 */
int32_t quib_describe_mod_cmd(const char *module, const char *command, const char *text);

/*
 * Called by a command, or by what it calls: the command has failed with this negative status, even if its function
 * returns another that does not tell. The operator is told, and quib exits 1. 0, or:
 *
 * QUIB_E_ARGUMENT   the status is not negative
 * QUIB_E_MODULE     no command runs on this thread
 */
int32_t quib_fail_mod_cmd(int32_t status);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
