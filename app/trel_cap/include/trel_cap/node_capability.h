/*
 * node_capability.h - capabilities of one card node: typed values addressed by node number and URL.
 *
 * The records are CapGlbTable for line cards ("fe") and CapCmGlbTable for control modules ("cm"). HPS and fabric cards
 * have none of their own: the getters named after them ("hps", "fab") are second names of the line cards' and read what
 * those read.
 *
 * Every getter resets the caller's variables before it asks the store, so that after any failure but
 * TREL_CAP_E_ARGUMENT, which leaves them alone, a boolean is 0, an integer -1, a string empty and its length 0.
 *
 * TREL_CAP_E_ARGUMENT   an argument is NULL, the URL too long, or size below 1
 * TREL_CAP_E_NO_ANSWER  the store did not answer, or answered with an error (its code is in the log)
 * TREL_CAP_E_NO_RECORD  there is no record of this node and URL
 * TREL_CAP_E_NO_VALUE   there is a record, but the value of this type was never set
 */
#ifndef TREL_CAP_NODE_CAPABILITY_H
#define TREL_CAP_NODE_CAPABILITY_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/* Reads a boolean of a node. */
int32_t trel_cap_ce_get_fe_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value);
int32_t trel_cap_ce_get_cm_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value);
int32_t trel_cap_ce_get_hps_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value);
int32_t trel_cap_ce_get_fab_cap_bool(MomClient *global, int32_t node, const char *url, uint8_t *value);

/* Reads an integer of a node. */
int32_t trel_cap_ce_get_fe_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value);
int32_t trel_cap_ce_get_cm_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value);
int32_t trel_cap_ce_get_hps_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value);
int32_t trel_cap_ce_get_fab_cap_int32(MomClient *global, int32_t node, const char *url, int32_t *value);

/*
 * Reads a string of a node.
 *
 * str is a buffer of size bytes, all of which are zeroed first. It receives the string, cut to size - 1 bytes and to
 * 255, however large the buffer; *length is the number of bytes it received. A string with a zero byte ends there.
 */
int32_t trel_cap_ce_get_fe_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                   uint32_t *length);
int32_t trel_cap_ce_get_cm_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                   uint32_t *length);
int32_t trel_cap_ce_get_hps_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                    uint32_t *length);
int32_t trel_cap_ce_get_fab_cap_str(MomClient *global, int32_t node, const char *url, int32_t size, char *str,
                                    uint32_t *length);

TREL_CAP_END_DECLS

#endif
