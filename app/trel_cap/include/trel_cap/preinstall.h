/* preinstall.h - announcing cards that are installed in advance. */
#ifndef TREL_CAP_PREINSTALL_H
#define TREL_CAP_PREINSTALL_H

#include <stdint.h>

#include "trel_cap/export.h"
#include "trel_cap/node_list.h"

TREL_CAP_BEGIN_DECLS

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

TREL_CAP_END_DECLS

#endif
