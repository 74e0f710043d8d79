/* The object-store client of another platform. Its store has one record of each type; nobody else writes into it. */
#include "depot.h"

#include <stdlib.h>
#include <string.h>

enum { kRecords = 32, kIndexField = 5 };

struct MomClient {
    struct {
        const ProtobufCMessageDescriptor *type;
        uint8_t bytes[256];
        size_t size;
        int32_t field;
    } records[kRecords];
    struct {
        const ProtobufCMessageDescriptor *type;
        int32_t db;
        MomMsgCb callback;
    } followed[kRecords];
    int n_records;
    int n_followed;
};

static MomClient the_client;
static int held;

static ProtobufCMessage *stored(MomClient *client, const ProtobufCMessageDescriptor *type, int32_t *field) {
    for (int i = 0; i < client->n_records; i++) {
        if (client->records[i].type == type) {
            *field = client->records[i].field;
            return protobuf_c_message_unpack(type, NULL, client->records[i].size, client->records[i].bytes);
        }
    }
    return NULL;
}

static int32_t store(MomClient *client, const ProtobufCMessage *record, int32_t field) {
    int i = 0;
    while (i < client->n_records && client->records[i].type != record->descriptor) {
        i++;
    }
    if (i == kRecords || protobuf_c_message_get_packed_size(record) > sizeof client->records[i].bytes) {
        return -1;
    }
    client->n_records += i == client->n_records;
    client->records[i].type = record->descriptor;
    client->records[i].field = field;
    client->records[i].size = protobuf_c_message_pack(record, client->records[i].bytes);
    return 0;
}

static MomHashResult *hash_of(ProtobufCMessage *record, int32_t field) {
    MomHashResult *result = calloc(1, sizeof *result);
    int32_t *fields = calloc(2, sizeof *fields);
    if (result == NULL || fields == NULL) {
        abort();
    }
    fields[0] = kIndexField;
    fields[1] = field;
    result->record = record;
    result->field_ids = fields;
    result->n_field_ids = record != NULL ? 2 : 0;
    held++;
    return result;
}

MomClient *depot_open(void) { return &the_client; }

void depot_put(MomClient *client, const ProtobufCMessage *record) { store(client, record, 0); }

void depot_deliver(MomClient *client) {
    for (int i = 0; i < client->n_followed; i++) {
        MomMsg msg = {client, client->followed[i].db, OX_MOM_CMD_SUBSCRIBED, NULL};
        client->followed[i].callback(client, &msg);
    }
}

int depot_held(void) { return held; }

int32_t ox_mom_client_connect_sync(MomClient *client, int32_t db) { return client == &the_client && db > 0 ? 0 : -1; }

int32_t ox_mom_client_set_reconnect_cb(MomClient *client, int32_t db, MomReconnectCb cb, void *arg) {
    return client == &the_client && db > 0 && cb != NULL && arg == NULL ? 0 : -1;
}

MomHashResult *ox_mom_hgetall_sync(MomClient *client, int32_t db, const ProtobufCMessage *request) {
    (void)db;
    int32_t field = 0;
    ProtobufCMessage *record = stored(client, request->descriptor, &field);
    return hash_of(record, field);
}

void ox_mom_hash_res_free(MomHashResult *result) {
    if (result == NULL) {
        return;
    }
    if (result->record != NULL) {
        protobuf_c_message_free_unpacked(result->record, NULL);
    }
    free(result->field_ids);
    free(result);
    held--;
}

int32_t ox_mom_hmset_sync(MomClient *client, int32_t db, const ProtobufCMessage *record, const int32_t *field_ids,
                          uint32_t n_field_ids) {
    (void)db;
    return n_field_ids == 1 ? store(client, record, field_ids[0]) : -1;
}

ProtobufCMessage *ox_mom_get_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t *error) {
    (void)db;
    int32_t field = 0;
    ProtobufCMessage *record = stored(client, request->descriptor, &field);
    held += record != NULL;
    *error = 0;
    return record;
}

int32_t ox_mom_ox_obj_free(ProtobufCMessage *record) {
    protobuf_c_message_free_unpacked(record, NULL);
    held--;
    return 0;
}

int32_t ox_mom_subscribe(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t flags, MomMsgCb cb,
                         void *arg) {
    if (flags != 0 || arg != NULL || client->n_followed == kRecords) {
        return -1;
    }
    client->followed[client->n_followed].type = request->descriptor;
    client->followed[client->n_followed].db = db;
    client->followed[client->n_followed].callback = cb;
    client->n_followed++;
    return 0;
}

int32_t ox_mom_subscribe_field(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t n_requests,
                               const int32_t *field_ids, const MomFieldCb *cbs, void *const *args, int32_t n_fields) {
    if (n_requests != 1 || n_fields != 1) {
        return -1;
    }
    /* A platform may deliver at once, where ours does so later. */
    int32_t field = 0;
    ProtobufCMessage *record = stored(client, request->descriptor, &field);
    MomHashResult *result = hash_of(record, field);
    MomMsg msg = {client, db, OX_MOM_CMD_DELIVERED, result};
    if (field == field_ids[0]) {
        cbs[0](client, &msg, args != NULL ? args[0] : NULL);
    }
    ox_mom_hash_res_free(result);
    return 0;
}

int32_t ox_mom_scan_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t flags, MomMsgCb cb,
                         void *arg) {
    if (flags != 0 || arg != NULL) {
        return -1;
    }
    int32_t field = 0;
    ProtobufCMessage *record = stored(client, request->descriptor, &field);
    if (record == NULL) {
        return 0;
    }
    MomMsg msg = {client, db, OX_MOM_CMD_WRITTEN, record};
    MomHashResult *result = NULL;
    if (field != 0) {
        result = hash_of(record, field);
        msg.cmd = OX_MOM_CMD_DELIVERED;
        msg.result = result;
    }
    cb(client, &msg);
    if (result != NULL) {
        ox_mom_hash_res_free(result);
    } else {
        protobuf_c_message_free_unpacked(record, NULL);
    }
    return 0;
}
