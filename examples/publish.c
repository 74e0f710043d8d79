/* The other side: publishes a capability, a line card in slot 1, and that the device is ready: publish URL INTEGER. */
#include <stdio.h>
#include <stdlib.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

enum { NODE = 17, SLOT = 1, LINE_CARD = 3, MODEL = 900 };
#define COUNT(array) ((uint32_t)(sizeof(array) / sizeof *(array)))

/* Each writes the named fields of one record, together with the notification that tells its followers. */

static int32_t capability(MomClient *client, char *url, int32_t value) {
    const int32_t field = TREL_CAP_FIELD_INT32;
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable record = CAP_TABLE__INIT;
    index.url = url;
    record.index = &index;
    record.int32_value = value;
    return ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &record.base, &field, 1);
}

static int32_t card_installed(MomClient *client, CardInfoIndex *place) {
    const int32_t fields[] = {6, 7, 14, 17};
    CardStaticInfo model = CARD_STATIC_INFO__INIT;
    CardInfo card = CARD_INFO__INIT;
    model.node_type = LINE_CARD;
    card.index = place;
    card.config_dev_type = MODEL;
    card.is_online = 1;
    card.static_info = &model;
    card.card_nodeid = NODE;
    return ox_mom_hmset_sync(client, TREL_CAP_DB_CARDS, &card.base, fields, COUNT(fields));
}

static int32_t card_checked(MomClient *client, CardInfoIndex *place) {
    const int32_t fields[] = {6, 7, 8};
    AppDfCardDenyCheckResult check = APP_DF_CARD_DENY_CHECK_RESULT__INIT;
    check.index = place;
    check.stat = APP_DF_CHECK_PASS;
    check.config_dev_type = MODEL;
    check.card_nodeid = NODE;
    return ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &check.base, fields, COUNT(fields));
}

static int32_t node_ready(MomClient *client) {
    const int32_t fields[] = {6, 7, 11, 12};
    CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
    CapFeReady node = CAP_FE_READY__INIT;
    index.node = NODE;
    index.config_dev_type = node.config_dev_type = MODEL;
    node.index = &index;
    node.ready = node.real_time = 1;
    node.node_type = LINE_CARD;
    return ox_mom_hmset_sync(client, TREL_CAP_DB_CAPABILITIES, &node.base, fields, COUNT(fields));
}

int main(int argc, char **argv) {
    if (argc != 3 || getenv("OX_MOM_STORE") == NULL) { /* an embedded store would end with this process */
        fprintf(stderr, "Usage: OX_MOM_STORE=STORE publish URL INTEGER, with the store of those who are to see it\n");
        return 2;
    }
    MomClient *client = ox_mom_client_create(NULL); /* the store that $OX_MOM_STORE names */
    CardInfoIndex place = CARD_INFO_INDEX__INIT;
    CapGlbState device = CAP_GLB_STATE__INIT;
    place.slotid = SLOT;
    device.ready = 1;

    const int failed = client == NULL || ox_mom_client_connect_sync(client, TREL_CAP_DB_CARDS) != 0 ||
                       ox_mom_client_connect_sync(client, TREL_CAP_DB_CAPABILITIES) != 0 ||
                       capability(client, argv[1], atoi(argv[2])) != 0 || card_installed(client, &place) != 0 ||
                       card_checked(client, &place) != 0 || node_ready(client) != 0 ||
                       ox_mom_set_sync(client, TREL_CAP_DB_CAPABILITIES, &device.base) != 0;
    if (failed) {
        fprintf(stderr, "publish: %s\n", ox_mom_last_error());
    }
    ox_mom_client_destroy(client);
    return failed;
}
