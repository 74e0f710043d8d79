/* node_judge.h - judging what the node list says of a node. */
#ifndef TREL_CAP_NODE_JUDGE_H
#define TREL_CAP_NODE_JUDGE_H

#include <stdint.h>

#include "trel_cap/events.h"
#include "trel_cap/export.h"
#include "trel_cap/node_list.h"

TREL_CAP_BEGIN_DECLS

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

/* 1 when the calling thread's list has the node, and an entry of it is not yet in real time; else 0. */
int32_t trel_cap_is_preinstall_card(int32_t node);

TREL_CAP_END_DECLS

#endif
