/* dispatch.h - sending events to the registered callbacks. Includes what decides on them: node_judge.h and
 * preinstall.h. */
#ifndef TREL_CAP_DISPATCH_H
#define TREL_CAP_DISPATCH_H

#include <stdint.h>

#include "trel_cap/events.h"
#include "trel_cap/export.h"
#include "trel_cap/node_judge.h"
#include "trel_cap/preinstall.h"

TREL_CAP_BEGIN_DECLS

/*
 * Each calls the callbacks of one kind of registration (registration.h) with the event and its argument, in the order
 * in which they were registered: the first all of them, the others those whose flag has the event's bit. The
 * registrations are locked for reading meanwhile; a callback may dispatch again. Returns the result of the unlocking,
 * which is 0.
 */
int32_t trel_cap_callback_hander(int32_t event, void *arg);
int32_t trel_cap_fab_callback_hander(int32_t event, void *arg);
int32_t trel_cap_cm_callback_hander(int32_t event, void *arg);
int32_t trel_cap_hps_callback_hander(int32_t event, void *arg);
int32_t trel_cap_lc_and_hps_callback_hander(int32_t event, void *arg);

TREL_CAP_END_DECLS

#endif
