/*
 * processors.h - following readiness: the callbacks that trel_cap_sub() gives to the client, and what they keep.
 *
 * Applications do not call these functions; the client does. They are exported so that messages can be processed
 * without a store, and so that a program may stand in front of them.
 */
#ifndef TREL_CAP_PROCESSORS_H
#define TREL_CAP_PROCESSORS_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/*
 * The processors: each takes the messages of one record type (MomMsgCb), keeps the calling thread's node list and
 * flags, and sends events. A message that says 29, that its subscription is established, makes it read what the store
 * already holds, set its validated flag and announce what is installed in advance. A message of a kind that it does not
 * know is ignored.
 *
 * Reading that fails is done again, once for the log when its level is 1 or more and once for the result; the flag
 * stays as it was whatever comes of it.
 *
 * TREL_CAP_E_ARGUMENT   the message, its record or the record's index is NULL
 * TREL_CAP_E_NO_ANSWER  a delivery has no result, or one with an error code
 * TREL_CAP_E_NO_NODE    no memory for a new node
 * OX_MOM_E_...          what the last attempt to read the store answered
 */

/* Readiness of the device, the fabric, the control modules and the HPS cards. Each report of being ready is sent. */
int32_t trel_cap_ce_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg);     /* CapGlbState */
int32_t trel_cap_ce_fab_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg); /* CapFabGlbState */
int32_t trel_cap_ce_cm_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg);  /* CapCmGlbState */
int32_t trel_cap_ce_hps_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg); /* CapHpsGlbState */

/* Readiness of nodes. Three of them read the same records, each for its own class. */
int32_t trel_cap_fe_node_pmsg_f(MomClient *client, MomMsg *pmsg);  /* CapFeReady */
int32_t trel_cap_fab_node_pmsg_f(MomClient *client, MomMsg *pmsg); /* CapFeReady */
int32_t trel_cap_cm_node_pmsg_f(MomClient *client, MomMsg *pmsg);  /* CapCmReady */
int32_t trel_cap_hps_node_pmsg_f(MomClient *client, MomMsg *pmsg); /* CapFeReady */

/* Installation and removal of cards of every class, and the application's check of line cards. */
int32_t trel_cap_install_node_pmsg_f(MomClient *client, MomMsg *pmsg); /* CardInfo */
int32_t trel_cap_app_df_pmsg_f(MomClient *client, MomMsg *pmsg);       /* AppDfCardDenyCheckResult */

/*
 * The announcement of cards installed in advance, for line cards, fabric, control modules and HPS cards. Once all
 * sources of the class have been read, the class is ready and its node events are asked for (for the fabric, in their
 * place, CM_NODE), walks the node list with the class's notifier (preinstall.h). Returns 0.
 */
int32_t trel_cap_notify_pre_install_node_pro(void);
int32_t trel_cap_notify_pre_fab_install_node_pro(void);
int32_t trel_cap_notify_pre_cm_install_node_pro(void);
int32_t trel_cap_notify_pre_hps_install_node_pro(void);

/* Whether all sources of a class have been read, as the validated flags below tell: 0, or something else. */
int32_t trel_cap_fe_ready_is_all_validated(void);
int32_t trel_cap_fab_ready_is_all_validated(void);
int32_t trel_cap_cm_ready_is_all_validated(void);
int32_t trel_cap_hps_ready_is_all_validated(void);

/* Clears the validated flags of all classes, so that readiness is judged afresh. The reconnection handler calls it. */
void trel_cap_fe_ready_clear_all_validated_flag(void);

/* Per thread: 1 once the records of a type have been read. */
extern __thread uint8_t g_trel_cap_install_validated;       /* CardInfo */
extern __thread uint8_t g_trel_cap_rec_disable_validated;   /* AppDfCardDenyCheckResult */
extern __thread uint8_t g_trel_cap_fe_node_validated;       /* CapFeReady */
extern __thread uint8_t g_trel_cap_cm_node_validated;       /* CapCmReady */
extern __thread uint8_t g_trel_cap_glb_ready_validated;     /* CapGlbState */
extern __thread uint8_t g_trel_cap_fab_glb_ready_validated; /* CapFabGlbState */
extern __thread uint8_t g_trel_cap_cm_glb_ready_validated;  /* CapCmGlbState */
extern __thread uint8_t g_trel_cap_hps_glb_ready_validated; /* CapHpsGlbState */

/* Per thread: whether the device (its line cards) or a class was ready when the store last told. */
extern __thread uint8_t g_trel_g_cap_calc_ready;
extern __thread uint8_t g_trel_g_fab_cap_calc_ready;
extern __thread uint8_t g_trel_g_cm_cap_calc_ready;
extern __thread uint8_t g_trel_g_hps_cap_calc_ready;

TREL_CAP_END_DECLS

#endif
