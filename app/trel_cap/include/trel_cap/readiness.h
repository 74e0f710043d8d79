/* readiness.h - whether the device's capabilities, or those of a card class, have been computed and published. */
#ifndef TREL_CAP_READINESS_H
#define TREL_CAP_READINESS_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/export.h"

TREL_CAP_BEGIN_DECLS

/*
 * Asks the store whether the device, the HPS cards, the control modules or the fabric cards are ready. *ready is 1 or
 * 0; a state that nobody has published yet is 0, with success, and so is one that cannot be read, without. The answer
 * is logged at level 1.
 *
 * TREL_CAP_E_ARGUMENT   an argument is NULL: *ready is untouched
 * TREL_CAP_E_NO_ANSWER  the store reported an error: *ready is 0
 */
int32_t trel_cap_ce_get_glb_ready(MomClient *global, uint8_t *ready);
int32_t trel_cap_ce_get_hps_glb_ready(MomClient *global, uint8_t *ready);
int32_t trel_cap_ce_get_cm_glb_ready(MomClient *global, uint8_t *ready);
int32_t trel_cap_ce_get_fab_glb_ready(MomClient *global, uint8_t *ready);

TREL_CAP_END_DECLS

#endif
