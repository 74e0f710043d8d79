/* dispatch.h - sending events to the registered callbacks, and judging what the node list says of a node. */
#ifndef TREL_CAP_DISPATCH_H
#define TREL_CAP_DISPATCH_H

#include <stdint.h>

#include "trel_cap/events.h"
#include "trel_cap/export.h"
#include "trel_cap/node_list.h"

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

/*
 * Visitors of the node list, whose param is a CapNodeReady. For an entry of its node they set its `ready` to 1
 *
 * trel_cap_judge_node_ready      when the entry is ready, in real time, installed, checked and not denied
 * trel_cap_judge_node_real_time  when the entry is not yet in real time
 *
 * and never to 0, so that after a walk it tells whether any entry of the node is so. Return 0.
 *
 * TREL_CAP_E_ARGUMENT  pos or param is NULL
 */
int32_t trel_cap_judge_node_ready(CapNode *pos, void *param);
int32_t trel_cap_judge_node_real_time(CapNode *pos, void *param);

/*
 * Visitors of the node list that announce cards installed in advance: for an entry of their class that is ready,
 * installed and not yet in real time they send the class's node event, provided that the class itself is ready. param
 * is ignored. Return 0.
 *
 * TREL_CAP_E_ARGUMENT  pos is NULL
 */
int32_t trel_cap_notify_pre_install_node_ready(CapNode *pos, void *param);
int32_t trel_cap_notify_pre_fab_install_node_ready(CapNode *pos, void *param);
int32_t trel_cap_notify_pre_cm_install_node_ready(CapNode *pos, void *param);
int32_t trel_cap_notify_pre_hps_install_node_ready(CapNode *pos, void *param);

/* 1 when the calling thread's list has the node, and an entry of it is not yet in real time; else 0. */
int32_t trel_cap_is_preinstall_card(int32_t node);

TREL_CAP_END_DECLS

#endif
