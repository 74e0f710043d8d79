/*
 * A C program that knows the installed tree only. Without arguments it publishes a capability on the embedded store and
 * reads it back; with a store's name and a URL it prints that integer.
 */
#include <stdio.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

static int32_t publish(MomClient *client, const char *url, int32_t value) {
    const int32_t field = TREL_CAP_FIELD_INT32;
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable record = CAP_TABLE__INIT;
    index.url = (char *)url;
    record.index = &index;
    record.int32_value = value;
    return ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &record.base, &field, 1);
}

int main(int argc, char **argv) {
    const char *store = argc > 1 ? argv[1] : "mem:";
    const char *url = argc > 2 ? argv[2] : "/outside/c";
    int32_t value = 0;
    int32_t rv = 0;

    MomClient *client = ox_mom_client_create(store);
    if (client == NULL || trel_cap_init(client, "outside") != TREL_CAP_OK) {
        fprintf(stderr, "%s: %s\n", store, ox_mom_last_error());
        return 1;
    }
    rv = argc > 2 ? 0 : publish(client, url, 48);
    if (rv == 0) {
        rv = trel_cap_ce_get_g_cap_int32(client, url, &value);
    }
    printf("%d %s\n", (int)value, trel_cap_strerror(rv));
    ox_mom_client_destroy(client);
    return rv != 0;
}
