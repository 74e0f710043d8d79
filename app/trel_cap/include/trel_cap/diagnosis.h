/*
 * diagnosis.h - the commands by which an operator looks into a running application, and their registration.
 *
 * Applications need none of these functions: trel_cap_init() registers the commands, and the console (quib.h) calls
 * them. Each writes to standard output, shows the state of the thread that it runs on, and works with that thread's
 * client, g_trel_cap_global; while there is none, the commands that need one fail with TREL_CAP_E_ARGUMENT.
 */
#ifndef TREL_CAP_DIAGNOSIS_H
#define TREL_CAP_DIAGNOSIS_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/export.h"
#include "trel_cap/node_list.h"

TREL_CAP_BEGIN_DECLS

/*
 * Registers the module trel_cap_<app_name>, its name cut to 126 bytes, with the commands below. trel_cap_init() passes
 * the name of the executable, which stays the same when its file is replaced or removed (trel_cap_get_app_name()).
 *
 * log-level %d                     trel_cap_log_level(), logging.h
 * dump_status
 * set_g_cap_state url=%s state=%d
 * ce_set_g_cap_bool url=%s val=%d
 * ce_set_g_cap_int32 url=%s val=%d
 * ce_get_g_cap_int32 url=%s
 * ce_get_g_cap_bool url=%s
 * ce_get_fe_cap_bool node=%d url=%s
 * ce_get_fe_cap_int32 node=%d url=%s
 * ce_get_fe_cap_str node=%d url=%s
 * show_memory
 * dump_node                        trel_cap_sw_dump_all_node(), node_list.h
 * dump_all
 * collect
 *
 * trel_cap_init() calls it, and goes on without the commands when the console refuses the module.
 *
 * TREL_CAP_E_ARGUMENT  an argument is NULL
 * TREL_CAP_E_REFUSED   the console refuses the module; why is in the log
 */
int32_t trel_cap_quib_init(MomClient *global, const char *app_name);

/* Prints the thread's client, flags and log level. Returns what the last printf returned. */
int32_t trel_cap_dbg_dump_status(void);

/*
 * Writing and reading capabilities. Each prints its arguments, then calls the function of its name in capability.h; a
 * value that is read is printed. A failure is tried again twice: the second attempt's status is printed, the third's
 * returned, so that a passing fault may be overcome although it is reported.
 */
int32_t trel_cap_dbg_ce_set_g_cap_state(const char *url, int32_t state);
int32_t trel_cap_dbg_ce_set_g_cap_bool(const char *url, int32_t val);
int32_t trel_cap_dbg_ce_set_g_cap_int32(const char *url, int32_t val);
int32_t trel_cap_dbg_ce_get_g_cap_int32(const char *url);
int32_t trel_cap_dbg_ce_get_g_cap_bool(const char *url);
int32_t trel_cap_dbg_ce_get_fe_cap_bool(int32_t node, const char *url);
int32_t trel_cap_dbg_ce_get_fe_cap_int32(int32_t node, const char *url);
int32_t trel_cap_dbg_ce_get_fe_cap_str(int32_t node, const char *url);

/* Prints an estimate of the bytes that the thread's node list takes: fixed figures for the list and for a node. */
int32_t trel_cap_dbg_show_memory(void);

/*
 * The visitor that counts a node: adds a node's bytes to the size_t that param points to.
 *
 * TREL_CAP_E_ARGUMENT  pos or param is NULL
 */
int32_t trel_cap_calc_node_list_mem(CapNode *pos, void *param);

/* Prints the status, the node list and the memory estimate. Returns 0. */
int32_t trel_cap_dbg_dump_all(void);

/*
 * Prints the same into the file /data/collect//data/collect/trel_cap_<application>.log, making the directory
 * /data/collect if it is missing. The file is written over from its beginning, not cut. When it cannot be opened, as it
 * cannot while /data/collect has no directory data/collect in it, everything is shown on standard output as
 * usual. Until it returns, what other threads print goes to the file too, and so does what the program has printed
 * before and not flushed. Returns what closing the saved standard output returned.
 */
int32_t trel_cap_dbg_collect(void);

TREL_CAP_END_DECLS

#endif
