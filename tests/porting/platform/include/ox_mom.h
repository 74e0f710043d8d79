/* ox_mom.h - the object-store client of another platform: what trel_cap needs of it, and not a word more. */
#ifndef OX_MOM_H
#define OX_MOM_H

#include <protobuf-c/protobuf-c.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    OX_MOM_CMD_WRITTEN = 1,
    OX_MOM_CMD_DELETED = 3,
    OX_MOM_CMD_DELIVERED = 4,
    OX_MOM_CMD_SUBSCRIBED = 29,
};

typedef struct MomClient MomClient;

typedef struct MomHashResult {
    ProtobufCMessage *record;
    int32_t *field_ids;
    uint32_t n_field_ids;
    uint32_t reserved[2];
    int32_t error_code;
} MomHashResult;

typedef struct MomMsg {
    MomClient *client;
    int32_t db;
    int32_t cmd;
    void *result;
} MomMsg;

typedef int32_t (*MomMsgCb)(MomClient *, MomMsg *);
typedef int32_t (*MomFieldCb)(MomClient *, MomMsg *, void *);
typedef int32_t (*MomReconnectCb)(MomClient *, int32_t, int32_t);

int32_t ox_mom_client_connect_sync(MomClient *, int32_t);
int32_t ox_mom_client_set_reconnect_cb(MomClient *, int32_t, MomReconnectCb, void *);
MomHashResult *ox_mom_hgetall_sync(MomClient *, int32_t, const ProtobufCMessage *);
void ox_mom_hash_res_free(MomHashResult *);
int32_t ox_mom_hmset_sync(MomClient *, int32_t, const ProtobufCMessage *, const int32_t *, uint32_t);
ProtobufCMessage *ox_mom_get_sync(MomClient *, int32_t, const ProtobufCMessage *, int32_t *);
int32_t ox_mom_ox_obj_free(ProtobufCMessage *);
int32_t ox_mom_subscribe(MomClient *, int32_t, const ProtobufCMessage *, int32_t, MomMsgCb, void *);
int32_t ox_mom_subscribe_field(MomClient *, int32_t, const ProtobufCMessage *, int32_t, const int32_t *,
                               const MomFieldCb *, void *const *, int32_t);
int32_t ox_mom_scan_sync(MomClient *, int32_t, const ProtobufCMessage *, int32_t, MomMsgCb, void *);

#ifdef __cplusplus
}
#endif

#endif
