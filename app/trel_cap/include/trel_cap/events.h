/* events.h - the events that applications are told of, and what comes with them. */
#ifndef TREL_CAP_EVENTS_H
#define TREL_CAP_EVENTS_H

#include <stdint.h>

#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/*
 * The event codes. An event of a node comes with a CapNodeReady, which also tells when the node is no longer ready;
 * one of a whole class, or of the device, comes with NULL and says that it is ready.
 */
enum {
    TREL_CAP_EVENT_SYSTEM = 0,    /* the device */
    TREL_CAP_EVENT_FE_NODE = 1,   /* a node that is no HPS node, whatever its card; or any card's that was removed */
    TREL_CAP_EVENT_CM = 2,        /* the control modules */
    TREL_CAP_EVENT_FAB = 3,       /* the fabric cards */
    TREL_CAP_EVENT_FAB_NODE = 4,  /* a fabric node */
    TREL_CAP_EVENT_CM_NODE = 5,   /* a control-module node */
    TREL_CAP_EVENT_HPS_NODE = 6,  /* an HPS node */
    TREL_CAP_EVENT_HPS = 7,       /* the HPS cards */
    TREL_CAP_EVENT_LC_AND_HPS = 8 /* the line cards, or the HPS cards: sent once for each of the two */
};

/* The bit of an event in the mask that a callback is registered with. */
#define TREL_CAP_EVENT_BIT(event) (UINT32_C(1) << (event))

/* Comes with the event of a node. Valid during the call only. */
typedef struct CapNodeReady {
    uint32_t node; /* its number */
    uint8_t ready; /* 0 or 1 */
} CapNodeReady;

/*
 * An application's callback: the event, and a CapNodeReady or NULL. Its result is logged, and has no other effect. It
 * runs inside the client's callback, with the registration lock held for reading: it may call anything of the library,
 * and run its client's loop, but must not register a callback.
 *
 * It must return. One that throws, calls longjmp() or ends its thread leaves the dispatch where it was: an exception
 * does arrive at whoever called into the library, but the callbacks behind this one are not called, and the lock stays
 * held, so that every later registration of the process waits for ever.
 */
typedef int32_t (*CapEventCb)(int32_t event, void *arg);

TREL_CAP_END_DECLS

#endif
