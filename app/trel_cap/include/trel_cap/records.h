/*
 * records.h - the records in the object store, as protobuf-c messages. The library exports their descriptors and
 * functions, so that a program which publishes records needs nothing else.
 *
 * Database 1 holds CardInfo; database 28 holds all the others. The store itself takes any record into any database, but
 * in another one than its own nobody looks for it.
 */
#ifndef TREL_CAP_RECORDS_H
#define TREL_CAP_RECORDS_H

#include <stdint.h>

#include "p_dev.pb-c.h"
#include "p_libpub.pb-c.h"
#include "s_frame.pb-c.h"
#include "trel_cap/export.h"

/* The outcomes of an application's card check, by their own names. */
#define APP_DF_CHECK_DENY APP_DF_CARD_CHECK_STAT__APP_DF_CHECK_DENY
#define APP_DF_CHECK_PASS APP_DF_CARD_CHECK_STAT__APP_DF_CHECK_PASS

enum {
    TREL_CAP_DB_CARDS = 1,         /* "tunner_db" in messages */
    TREL_CAP_DB_CAPABILITIES = 28, /* "ce_global" in messages */

    /* The record fields that carry a capability's value and its state. */
    TREL_CAP_FIELD_BOOL = 6,
    TREL_CAP_FIELD_INT32 = 7,
    TREL_CAP_FIELD_STR = 8,
    TREL_CAP_FIELD_STATE = 22
};

TREL_CAP_BEGIN_DECLS

/* Releases a record of ox_mom_get_sync(). NULL is ignored, with result 0; otherwise the client's result. */
int32_t trel_cap_ox_obj_free(void *record);

TREL_CAP_END_DECLS

#endif
