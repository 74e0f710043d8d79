// The exported functions for records: read, written, deleted.
#include "client/call.h"
#include "client/requests.h"
#include "records/result.h"

using namespace mom;

extern "C" {

MomHashResult *ox_mom_hgetall_sync(MomClient *client, int32_t db, const ProtobufCMessage *request) {
    ArenaPtr arena;
    call(client, request, [&](Client &opened, const auto &) { return read_hash(opened, db, *request, arena); });
    return arena ? Arena::first<MomHashResult>(arena.release()) : nullptr;
}

void ox_mom_hash_res_free(MomHashResult *result) {
    if (result != nullptr) {
        Arena::destroy(Arena::of(result));
    }
}

int32_t ox_mom_hmset_sync(MomClient *client, int32_t db, const ProtobufCMessage *record, const int32_t *field_ids,
                          uint32_t n_field_ids) {
    return call(client, db, record, [&](Client &opened, const auto &) {
        return write_hash(opened, db, *record, {field_ids, field_ids ? n_field_ids : 0});
    });
}

ProtobufCMessage *ox_mom_get_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t *error) {
    ProtobufCMessage *record = nullptr;
    const int32_t code = load(client, db, request,
                              [&](Client &opened, const auto &) { return read_object(opened, db, *request, record); });
    if (error != nullptr) {
        *error = code;
    }
    return record;
}

int32_t ox_mom_ox_obj_free(ProtobufCMessage *record) {
    if (record != nullptr) {
        Arena::destroy(Arena::of(record));
    }
    return 0;
}

int32_t ox_mom_set_sync(MomClient *client, int32_t db, const ProtobufCMessage *record) {
    return call(client, db, record, [&](Client &opened, const auto &) { return write_object(opened, db, *record); });
}

int32_t ox_mom_del_sync(MomClient *client, int32_t db, const ProtobufCMessage *request) {
    return call(client, db, request, [&](Client &opened, const auto &) { return remove_record(opened, db, *request); });
}

}  // extern "C"
