/* Prints an integer capability of the device, and then each value that it gets, until killed: follow_capability URL. */
#include <stdio.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

/* Runs inside ox_mom_client_process(). The user data is the number of changes so far. */
static int32_t on_change(MomClient *client, MomMsg *message, void *user_data) {
    char url[TREL_CAP_URL_MAX + 1] = ""; /* must hold a string on entry */
    uint32_t length = 0;
    int32_t value = 0;
    int *const changes = user_data;
    const int32_t rv = trel_cap_ce_get_g_cap_int32_by_pmsg(message, sizeof url, url, &value, &length);

    (void)client;
    ++*changes;
    if (rv == TREL_CAP_OK) {
        printf("change %d: %s = %d\n", *changes, url, (int)value);
    } else {
        printf("change %d: %s\n", *changes, rv == TREL_CAP_E_NO_RECORD ? "deleted" : "not readable");
    }
    return 0;
}

static int follow(MomClient *client, const char *url) {
    int changes = 0;
    int32_t value = 0;

    if (trel_cap_ce_subscribe_g_cap_int32_ext(client, url, on_change, &changes) != TREL_CAP_OK) {
        return -1;
    }
    /* What is there already is not a change. Read after subscribing, nothing is missed between the two. */
    if (trel_cap_ce_get_g_cap_int32(client, url, &value) == TREL_CAP_OK) {
        printf("at first: %s = %d\n", url, (int)value);
    } else {
        printf("at first: %s has no value\n", url);
    }
    /* A lost connection is no error here: the client restores it, and tells the value once more when it is back. */
    while (ox_mom_client_process(client, -1) >= 0) {
    }
    return -1;
}

int main(int argc, char **argv) {
    int rv = -1;

    if (argc != 2) {
        fprintf(stderr, "Usage: follow_capability URL\n");
        return 2;
    }
    setvbuf(stdout, NULL, _IOLBF, 0);
    MomClient *client = ox_mom_client_create(NULL); /* the store that $OX_MOM_STORE names */
    if (client != NULL && trel_cap_init(client, "follow_capability") == TREL_CAP_OK) {
        rv = follow(client, argv[1]);
    }
    if (rv != 0) {
        fprintf(stderr, "follow_capability: %s\n", ox_mom_last_error());
    }
    ox_mom_client_destroy(client);
    return rv != 0;
}
