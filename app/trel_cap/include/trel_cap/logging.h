/* logging.h - the log level, and the name by which an application is known in log, level file and console. */
#ifndef TREL_CAP_LOGGING_H
#define TREL_CAP_LOGGING_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/*
 * Initialises logging: reads the log level from the files trel_cap_dbg.txt and then <app_name> in
 * /data/.oxos/vsd/0/sw-frame/cap/trel_cap/ (one decimal number each; one that is missing or no regular file leaves the
 * level alone, the second overrides the first, anything but a number is 0), and opens the category "trel_cap".
 * trel_cap_init() calls it.
 *
 * TREL_CAP_E_ARGUMENT  app_name is NULL
 */
int32_t trel_cap_zlog_init(const char *app_name);

/*
 * Sets the log level of the process: 0 nothing, 1 errors, 2 also progress, 3 also the node list, 4 or more, or a
 * negative number, everything. Any thread, at any time. A message is cut after 1,023 bytes.
 */
void trel_cap_log_level(int32_t level);

/*
 * Writes the base name of process pid's executable into dst, cut to size - 1 bytes and terminated; "app" when it cannot
 * be read, with the reason on standard error. Returns dst. size is at least 1. A NULL dst is logged and returned.
 *
 * It is the name as the system has it: behind that of a file that was replaced or removed stands " (deleted)". The
 * library's own level file, console module and collection go by the name without it, so that to an operator a program
 * that was upgraded in place is the same one still.
 */
char *trel_cap_get_app_name(pid_t pid, char *dst, size_t size);

/* 1 once logging has been initialised on the calling thread. To read; the library writes it. */
extern __thread uint8_t trel_cap_dbg_inited;

/* The process's. */
extern int32_t g_trel_cap_zlog_level;  /* the log level, compared as unsigned; 1 at first */
extern void *g_trel_cap_zlog_category; /* the category "trel_cap"; NULL until logging is initialised */

TREL_CAP_END_DECLS

#endif
