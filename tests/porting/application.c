/* An application on the other platform: it uses each of the platform's functions through the library. */
#include <stdio.h>
#include <string.h>

#include <trel_cap/trel_cap.h>

#include "depot.h"

static int mistakes;

static void expect(int condition, const char *what) {
    if (!condition) {
        printf("not so: %s\n", what);
        mistakes++;
    }
}

static int32_t on_event(int32_t event, void *arg) {
    const CapNodeReady *node = arg;
    if (node != NULL) {
        printf("event %d: node %u %s\n", (int)event, (unsigned)node->node, node->ready ? "ready" : "not ready");
    } else {
        printf("event %d\n", (int)event);
    }
    return 0;
}

static int32_t on_value(MomClient *client, MomMsg *msg, void *arg) {
    char url[TREL_CAP_URL_MAX + 1];
    int32_t value = 0;
    uint32_t length = 0;
    (void)client;
    expect(trel_cap_ce_get_g_cap_int32_by_pmsg(msg, sizeof url, url, &value, &length) == 0, "a notification is read");
    printf("%s: %d\n", url, (int)value);
    *(int *)arg += 1;
    return 0;
}

static void use_capabilities(MomClient *client) {
    int32_t value = 0;
    int told = 0;
    expect(trel_cap_ce_get_g_cap_int32(client, "/ports", &value) == TREL_CAP_E_NO_RECORD, "nothing is there");
    expect(trel_cap_ce_set_g_cap_int32(client, "/ports", 48) == 0, "a number is written");
    expect(trel_cap_ce_get_g_cap_int32(client, "/ports", &value) == 0 && value == 48, "it is read");
    expect(trel_cap_ce_subscribe_g_cap_int32_ext(client, "/ports", on_value, &told) == 0 && told == 1,
           "it is followed");
}

int main(void) {
    MomClient *client = depot_open();
    CapFabGlbState fabric = CAP_FAB_GLB_STATE__INIT;
    uint8_t ready = 0;
    fabric.ready = 1;
    depot_put(client, &fabric.base);

    expect(trel_cap_fab_event_callback_reg("application", on_event, TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FAB)) == 0,
           "a callback is registered");
    expect(trel_cap_init(client, "application") == 0, "the library starts");
    depot_deliver(client);
    expect(trel_cap_ce_get_fab_glb_ready(client, &ready) == 0 && ready == 1, "the fabric is ready");
    use_capabilities(client);
    expect(strcmp(trel_cap_strerror(0), "success") == 0, "success has a text");
    expect(strcmp(trel_cap_strerror(TREL_CAP_E_NO_RECORD), "there is no such record") == 0, "a status has a text");
    expect(strcmp(trel_cap_strerror(-7), "a code of the object-store client") == 0, "the client's code has a text");
    expect(depot_held() == 0, "all that was handed out was given back");
    return mistakes != 0;
}
