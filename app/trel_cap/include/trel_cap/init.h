/* init.h - start-up, reconnection, and the log level. */
#ifndef TREL_CAP_INIT_H
#define TREL_CAP_INIT_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include "ox_mom.h"
#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/*
 * Starts the library on the calling thread with its client `global`; `reg_name` names the application in the log.
 * In order: initialises logging (once per thread), sets up the node list (node_list.h), connects databases 1 and 28,
 * subscribes the records that the events asked for on this thread need (registration.h), installs the reconnection
 * handler for both databases, registers the operators' commands (diagnosis.h; without a console it goes on all the
 * same), and remembers the client in g_trel_cap_global. There is no counterpart: the library's state lives as long as
 * the thread.
 *
 * The same client again: 0, and nothing is done. Another client: a warning in the log, then start-up with that one.
 * After a failure g_trel_cap_global is what it was, so that the call can be made again; connections and subscriptions
 * already made stay.
 *
 * Subscribing that fails ends start-up, but is first tried again, once for the log when its level is 1 or more and once
 * for the result. When the last attempt succeeds the result is 0 and yet the library is not started: g_trel_cap_global
 * tells, and a second call completes it.
 *
 * TREL_CAP_E_ARGUMENT  reg_name (tested first) or global is NULL
 * OX_MOM_E_...         a database cannot be connected, a record not be subscribed, or a reconnection handler not be set
 */
int32_t trel_cap_init(MomClient *global, const char *reg_name);

/*
 * Writes the base name of process pid's executable into dst, cut to size - 1 bytes and terminated; "app" when it cannot
 * be read, with the reason on standard error. Returns dst. size is at least 1. A NULL dst is logged and returned.
 *
 * It is the name as the system has it: behind that of a file that was replaced or removed stands " (deleted)". The
 * library's own level file, console module and collection go by the name without it, so that to an operator a program
 * that was upgraded in place is the same one still.
 */
char *trel_cap_get_app_name(pid_t pid, char *dst, size_t size);

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
 * negative number, everything. Any thread, at any time.
 */
void trel_cap_log_level(int32_t level);

/*
 * The library's reconnection handler (MomReconnectCb): the client calls it once its connections are back. Clears the
 * calling thread's validated flags (processors.h) and subscribes again, so that readiness is rebuilt from the store.
 *
 * Subscribing that fails is tried again as in trel_cap_init(); g_trel_cap_config_reconnect then stays 1, whatever the
 * result.
 *
 * TREL_CAP_E_ARGUMENT  client is NULL
 * OX_MOM_E_...         a record cannot be subscribed
 */
int32_t trel_cap_reconnect_db_config(MomClient *client, int32_t db, int32_t type);

/*
 * Installs the library's own reconnection handler for database 28 again, with arg as its user data. fp appears in log
 * messages only: whatever it is, NULL included, the library's handler stays the one that runs.
 *
 * TREL_CAP_E_ARGUMENT  client is NULL
 * OX_MOM_E_...         the client's answer, unchanged
 */
int32_t trel_cap_set_g_cap_db_reconnect_cb(MomClient *client, void *fp, void *arg);

/* Releases a record of ox_mom_get_sync(). NULL is ignored, with result 0; otherwise the client's result. */
int32_t trel_cap_ox_obj_free(void *record);

/* The calling thread's state. To read; the library writes it. */
extern __thread MomClient *g_trel_cap_global;        /* the client; NULL until trel_cap_init() succeeds */
extern __thread uint8_t trel_cap_dbg_inited;         /* 1 once logging has been initialised on this thread */
extern __thread uint8_t g_trel_cap_config_reconnect; /* 1 from a reconnection until all is subscribed again */

/* The process's state. */
extern int32_t g_trel_cap_zlog_level;   /* the log level, compared as unsigned; 1 at first */
extern void *g_trel_cap_zlog_category;  /* the category "trel_cap"; NULL until logging is initialised */
extern int32_t g_trel_callback_reg_mem; /* bytes held for callback registrations; 32 at first */

TREL_CAP_END_DECLS

#endif
