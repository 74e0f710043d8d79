/* Waits for the store, follows the cards and the device, and reads a capability once the device is ready. */
#include <inttypes.h>
#include <stdio.h>
#include <unistd.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

static MomClient *client;

/* Event 1 tells of fabric cards, too. A card that was removed is in the list no more. */
static const char *kind_of(int32_t node) {
    const CapNode *entry = trel_cap_sw_node_search(node);
    if (entry == NULL) {
        return "removed card";
    }
    return entry->record.node_type == 5 ? "fabric card" : "line card";
}

static void read_capacity(void) {
    int32_t capacity = 0;
    const int32_t rv = trel_cap_ce_get_g_cap_int32(client, "/l3/arp/capacity", &capacity);
    if (rv == TREL_CAP_OK) {
        printf("room for %" PRId32 " ARP entries\n", capacity);
    } else {
        printf("no ARP capacity: %s\n", trel_cap_strerror(rv));
    }
}

/* Runs inside ox_mom_client_process(). */
static int32_t on_event(int32_t event, void *argument) {
    if (event == TREL_CAP_EVENT_FE_NODE) {
        const CapNodeReady *node = argument;
        printf("%s %" PRIu32 " is %s\n", kind_of((int32_t)node->node), node->node, node->ready ? "ready" : "not ready");
    } else if (event == TREL_CAP_EVENT_SYSTEM) {
        printf("the device is ready\n");
        read_capacity();
    }
    return 0;
}

/* At boot the store may come up later than the application. */
static void start(void) {
    while (trel_cap_init(client, "first_application") != TREL_CAP_OK || g_trel_cap_global != client) {
        fprintf(stderr, "waiting for the store: %s\n", ox_mom_last_error());
        sleep(1);
    }
}

int main(void) {
    const uint32_t wanted = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_SYSTEM) | TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE);

    setvbuf(stdout, NULL, _IOLBF, 0);
    client = ox_mom_client_create(NULL); /* the store that $OX_MOM_STORE names */
    /* First the callback: trel_cap_init() follows what has been asked for until then. */
    if (client == NULL || trel_cap_event_callback_reg("first_application", on_event, wanted) != TREL_CAP_OK) {
        fprintf(stderr, "first_application: %s\n", ox_mom_last_error());
        return 1;
    }
    start();
    while (ox_mom_client_process(client, -1) >= 0) {
    }
    fprintf(stderr, "first_application: %s\n", ox_mom_last_error());
    return 1;
}
