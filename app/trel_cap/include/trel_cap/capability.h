/*
 * capability.h - capabilities: typed values addressed by URL.
 *
 * Every getter reads the store anew; nothing is cached. The statuses of a getter, unless it says otherwise:
 *
 * TREL_CAP_E_ARGUMENT   an argument is NULL, or the URL too long
 * TREL_CAP_E_NO_ANSWER  the store did not answer, or answered with an error (its code is in the log)
 * TREL_CAP_E_NO_RECORD  there is no record of this URL
 * TREL_CAP_E_NO_VALUE   there is a record, but the value of this type was never set
 */
#ifndef TREL_CAP_CAPABILITY_H
#define TREL_CAP_CAPABILITY_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/* Reading a capability of the whole device (CapTable). */

/* Reads a boolean. On a failure *value keeps what it held. */
int32_t trel_cap_ce_get_g_cap_bool(MomClient *global, const char *url, uint8_t *value);

/* Reads an integer. After TREL_CAP_E_NO_RECORD and TREL_CAP_E_NO_VALUE *value is -1; any other failure leaves it. */
int32_t trel_cap_ce_get_g_cap_int32(MomClient *global, const char *url, int32_t *value);

/*
 * As trel_cap_ce_get_g_cap_bool(), but a failing read is made again, once for the log when its level is 1 or more and
 * once for the result, so that a passing fault may be overcome.
 */
int32_t trel_cap_ce_get_glb_view_bool(MomClient *global, const char *url, uint8_t *value);

/* The same as trel_cap_ce_get_g_cap_int32(), without repetition. */
int32_t trel_cap_ce_get_glb_view_int32(MomClient *global, const char *url, int32_t *value);

/*
 * Reading a capability out of a notification, in the callback of a subscription. No store call is made.
 *
 * url is a buffer of size bytes, size at least 1, that must hold a terminated string on entry: make it empty. It
 * receives the capability's URL, cut to size - 1 bytes (and to TREL_CAP_URL_MAX), and *length the number of bytes
 * it received. After a failure other than TREL_CAP_E_ARGUMENT the buffer is empty, *length 0, and *value 0 (boolean) or
 * -1 (integer).
 *
 * TREL_CAP_E_ARGUMENT   an argument is NULL, or the string in url on entry is longer than TREL_CAP_URL_MAX
 * TREL_CAP_E_NO_ANSWER  the notification carries no result, or an error
 * TREL_CAP_E_NO_RECORD  it carries no record: the capability was deleted
 * TREL_CAP_E_NO_INDEX   its record has no index
 * TREL_CAP_E_NO_VALUE   its record has no value of this type
 */
int32_t trel_cap_ce_get_g_cap_bool_by_pmsg(MomMsg *pmsg, uint32_t size, char *url, uint8_t *value, uint32_t *length);
int32_t trel_cap_ce_get_g_cap_int32_by_pmsg(MomMsg *pmsg, uint32_t size, char *url, int32_t *value, uint32_t *length);

/* As trel_cap_ce_get_g_cap_bool_by_pmsg(), repeated on failure as trel_cap_ce_get_glb_view_bool() is. */
int32_t trel_cap_get_glb_view_bool_by_pmsg(MomMsg *pmsg, uint32_t size, char *url, uint8_t *value, uint32_t *length);

/*
 * Writing a capability of the whole device: one field of its record, created if there is none. The other fields stay.
 *
 * TREL_CAP_E_ARGUMENT  an argument is NULL, or the URL too long
 * OX_MOM_E_...         the store's code
 */
int32_t trel_cap_ce_set_g_cap_bool(MomClient *global, const char *url, int32_t value);
int32_t trel_cap_ce_set_g_cap_int32(MomClient *global, const char *url, int32_t value);

/* Writes the state. A store that refuses is logged only: the result is then 0 too. */
int32_t trel_cap_ce_set_g_cap_state(MomClient *global, const char *url, int32_t state);

/* As trel_cap_ce_set_g_cap_state(), repeated on failure as trel_cap_ce_get_glb_view_bool() is. */
int32_t trel_cap_ce_set_cap_view_state(MomClient *global, const char *url, int32_t state);

/*
 * Following a capability of the whole device. fp is called, on this thread inside ox_mom_client_process(), whenever the
 * value is written, with arg as its user data (NULL without), and reads it with the functions for notifications above.
 * It is not called for the value that is there already: read that once, after subscribing.
 *
 * Nothing is remembered here: every call is one more subscription, which the client keeps as long as it lives, across
 * reconnections.
 *
 * TREL_CAP_E_ARGUMENT  an argument but arg is NULL, or the URL too long
 * OX_MOM_E_...         the store's code
 */
int32_t trel_cap_ce_subscribe_g_cap_bool_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg);
int32_t trel_cap_ce_subscribe_g_cap_int32_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg);

/* The same without user data. */
int32_t trel_cap_ce_subscribe_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp);
int32_t trel_cap_ce_subscribe_g_cap_int32(MomClient *global, const char *url, MomFieldCb fp);

/* As trel_cap_ce_subscribe_g_cap_bool(), repeated on failure as trel_cap_ce_get_glb_view_bool() is. */
int32_t trel_cap_subscribe_glb_view_bool(MomClient *global, const char *url, MomFieldCb fp);

TREL_CAP_END_DECLS

#endif
