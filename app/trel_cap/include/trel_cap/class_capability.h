/*
 * class_capability.h - capabilities of a whole card class: typed values addressed by URL, one per class and URL.
 *
 * The records are CapHpsTable, CapFabTable (fabric cards) and CapCmTable (control modules). A class whose record is
 * missing has no value: the device's (capability.h) does not stand in for it.
 *
 * Statuses and the caller's variables are as in trel_cap_ce_get_g_cap_bool() and trel_cap_ce_get_g_cap_int32(), and the
 * subscriptions as in trel_cap_ce_subscribe_g_cap_bool_ext().
 */
#ifndef TREL_CAP_CLASS_CAPABILITY_H
#define TREL_CAP_CLASS_CAPABILITY_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/* Reads a boolean of a class. */
int32_t trel_cap_ce_get_hps_g_cap_bool(MomClient *global, const char *url, uint8_t *value);
int32_t trel_cap_ce_get_fab_g_cap_bool(MomClient *global, const char *url, uint8_t *value);
int32_t trel_cap_ce_get_cm_g_cap_bool(MomClient *global, const char *url, uint8_t *value);

/* Reads an integer of a class. */
int32_t trel_cap_ce_get_hps_g_cap_int32(MomClient *global, const char *url, int32_t *value);
int32_t trel_cap_ce_get_fab_g_cap_int32(MomClient *global, const char *url, int32_t *value);
int32_t trel_cap_ce_get_cm_g_cap_int32(MomClient *global, const char *url, int32_t *value);

/* Follows a capability of a class, with user data. */
int32_t trel_cap_ce_subscribe_hps_g_cap_bool_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg);
int32_t trel_cap_ce_subscribe_hps_g_cap_int32_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg);
int32_t trel_cap_ce_subscribe_fab_g_cap_bool_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg);
int32_t trel_cap_ce_subscribe_fab_g_cap_int32_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg);
int32_t trel_cap_ce_subscribe_cm_g_cap_bool_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg);
int32_t trel_cap_ce_subscribe_cm_g_cap_int32_ext(MomClient *global, const char *url, MomFieldCb fp, void *arg);

/* The same without user data. */
int32_t trel_cap_ce_subscribe_hps_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp);
int32_t trel_cap_ce_subscribe_hps_g_cap_int32(MomClient *global, const char *url, MomFieldCb fp);
int32_t trel_cap_ce_subscribe_fab_g_cap_int32(MomClient *global, const char *url, MomFieldCb fp);
int32_t trel_cap_ce_subscribe_cm_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp);
int32_t trel_cap_ce_subscribe_cm_g_cap_int32(MomClient *global, const char *url, MomFieldCb fp);

/*
 * Despite its name this follows the device's boolean, as trel_cap_ce_subscribe_g_cap_bool() does, and stays so for the
 * programs that rely on it. trel_cap_ce_subscribe_fab_g_cap_bool_ext() follows the fabric cards'.
 */
int32_t trel_cap_ce_subscribe_fab_g_cap_bool(MomClient *global, const char *url, MomFieldCb fp);

TREL_CAP_END_DECLS

#endif
