/* init.h - start-up and reconnection. Includes what start-up goes by: logging.h, records.h and registration.h. */
#ifndef TREL_CAP_INIT_H
#define TREL_CAP_INIT_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/export.h"
#include "trel_cap/logging.h"
#include "trel_cap/records.h"
#include "trel_cap/registration.h"

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

/* The calling thread's state. To read; the library writes it. */
extern __thread MomClient *g_trel_cap_global;        /* the client; NULL until trel_cap_init() succeeds */
extern __thread uint8_t g_trel_cap_config_reconnect; /* 1 from a reconnection until all is subscribed again */

TREL_CAP_END_DECLS

#endif
