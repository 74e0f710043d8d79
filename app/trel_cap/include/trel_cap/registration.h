/*
 * registration.h - asking to be told of events.
 *
 * An application registers its callbacks first, and then starts the library on the same thread: which records the
 * library follows is decided at start-up, by the events asked for on that thread until then.
 *
 * Registrations are the process's: a callback is called for the events of every thread that follows the store, on that
 * thread. They last as long as the process.
 */
#ifndef TREL_CAP_REGISTRATION_H
#define TREL_CAP_REGISTRATION_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/events.h"
#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/*
 * Registers a callback under a name, for the events whose bits are set in flag:
 *
 * trel_cap_event_callback_reg             SYSTEM, FE_NODE
 * trel_cap_fab_event_callback_reg         FAB, FAB_NODE
 * trel_cap_cm_event_callback_reg          CM, CM_NODE
 * trel_cap_hps_event_callback_reg         HPS, HPS_NODE
 * trel_cap_lc_and_hps_event_callback_reg  LC_AND_HPS
 *
 * A callback of the first kind is called for every event of its kind, whatever its own flag, and each such registration
 * replaces the thread's flags (g_trel_cap_flag). One of the other kinds is called for the events of its own flag only,
 * and its flag is added to the thread's.
 *
 * A name already registered for the same kind: 0, and the first registration stays as it is, but the thread's flags
 * change all the same. The first 100 bytes of a name are kept; a longer one is therefore never found again, and
 * is registered anew every time. Must not be called in a callback: it would wait for itself.
 *
 * TREL_CAP_E_ARGUMENT  reg_name or callback_handle is NULL
 * TREL_CAP_E_MEMORY    no memory; the thread's flags have changed
 */
int32_t trel_cap_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag);
int32_t trel_cap_fab_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag);
int32_t trel_cap_cm_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag);
int32_t trel_cap_hps_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag);
int32_t trel_cap_lc_and_hps_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag);

/*
 * Subscribes, with the client, the records that the calling thread's flags call for; without any, none. trel_cap_init()
 * calls it, and so does the reconnection handler.
 *
 * A subscription that fails is made again, once for the log when its level is 1 or more and once for the result, which
 * may then be 0; the ones after it are not made, those before it stay.
 *
 * TREL_CAP_E_ARGUMENT  global is NULL
 * OX_MOM_E_...         what the failing subscription's last attempt answered
 */
int32_t trel_cap_sub(MomClient *global);

/* The events asked for on the calling thread, as bits. To read; the registrations write them. */
extern __thread uint32_t g_trel_cap_flag;            /* SYSTEM, FE_NODE */
extern __thread uint32_t g_trel_fab_cm_cap_flag;     /* FAB, FAB_NODE, CM, CM_NODE */
extern __thread uint32_t g_trel_hps_cap_flag;        /* HPS, HPS_NODE */
extern __thread uint32_t g_trel_lc_and_hps_cap_flag; /* LC_AND_HPS */

/* Bytes held for the registrations of the whole process; 32 at first. To read; the library writes it. */
extern int32_t g_trel_callback_reg_mem;

TREL_CAP_END_DECLS

#endif
