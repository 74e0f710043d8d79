/* Reads an integer capability of the device: read_capability URL. */
#include <stdio.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

int main(int argc, char **argv) {
    int32_t value = 0;

    if (argc != 2) {
        fprintf(stderr, "Usage: read_capability URL\n");
        return 2;
    }
    MomClient *client = ox_mom_client_create(NULL); /* the store that $OX_MOM_STORE names */
    if (client == NULL || trel_cap_init(client, "read_capability") != TREL_CAP_OK) {
        fprintf(stderr, "read_capability: %s\n", ox_mom_last_error());
        ox_mom_client_destroy(client);
        return 1;
    }

    const int32_t rv = trel_cap_ce_get_g_cap_int32(client, argv[1], &value);
    switch (rv) {
        case TREL_CAP_OK:
            printf("%s = %d\n", argv[1], (int)value);
            break;
        case TREL_CAP_E_NO_RECORD:
            printf("%s was never published\n", argv[1]);
            break;
        case TREL_CAP_E_NO_VALUE:
            printf("%s is not an integer\n", argv[1]);
            break;
        case TREL_CAP_E_ARGUMENT:
            fprintf(stderr, "read_capability: a URL has at most %d bytes\n", TREL_CAP_URL_MAX);
            break;
        default: /* TREL_CAP_E_NO_ANSWER */
            fprintf(stderr, "read_capability: %s\n", ox_mom_last_error());
    }
    ox_mom_client_destroy(client);
    return rv != TREL_CAP_OK;
}
