/* Follows whether the device is ready, and also that it no longer is, which no event tells. Runs until killed. */
#include <stdint.h>
#include <stdio.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

static void tell(int ready) { printf("the device is %s\n", ready ? "ready" : "not ready"); }

/* The record as it was written; at 29 the subscription stands, and what is stored is asked for. */
static int32_t on_state(MomClient *client, MomMsg *msg) {
    if (msg->cmd == OX_MOM_CMD_WRITTEN && msg->result != NULL) {
        const CapGlbState *state = msg->result;
        tell(state->ready);
    } else if (msg->cmd == OX_MOM_CMD_DELETED) {
        tell(0);
    } else if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
        uint8_t ready = 0;
        if (trel_cap_ce_get_glb_ready(client, &ready) == TREL_CAP_OK) {
            tell(ready);
        }
    }
    return 0;
}

static int32_t subscribe(MomClient *client) {
    const CapGlbState request = CAP_GLB_STATE__INIT;
    return ox_mom_subscribe(client, TREL_CAP_DB_CAPABILITIES, &request.base, 0, on_state, NULL);
}

/* A subscription of a type ends with the connection. The library's handler first, because it stands here in its place.
 */
static int32_t on_reconnect(MomClient *client, int32_t db, int32_t type) {
    const int32_t rv = trel_cap_reconnect_db_config(client, db, type);
    return rv != 0 ? rv : subscribe(client);
}

int main(void) {
    setvbuf(stdout, NULL, _IOLBF, 0);
    MomClient *client = ox_mom_client_create(NULL);
    if (client != NULL && trel_cap_init(client, "follow_device") == TREL_CAP_OK && subscribe(client) == 0 &&
        ox_mom_client_set_reconnect_cb(client, TREL_CAP_DB_CAPABILITIES, on_reconnect, NULL) == 0) {
        while (ox_mom_client_process(client, -1) >= 0) {
        }
    }
    fprintf(stderr, "follow_device: %s\n", ox_mom_last_error());
    ox_mom_client_destroy(client);
    return 1;
}
