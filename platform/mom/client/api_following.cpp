// The exported functions for following and for scanning.
#include "client/call.h"
#include "client/requests.h"

using namespace mom;

extern "C" {

int32_t ox_mom_subscribe(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t, MomMsgCb cb, void *) {
    return call(client, db, request, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        return cb != nullptr ? opened.subscribe(db, type, cb)
                             : fail(OX_MOM_E_ARGUMENT, "%s: the callback is NULL", type.name);
    });
}

int32_t ox_mom_subscribe_field(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t n_requests,
                               const int32_t *field_ids, const MomFieldCb *cbs, void *const *args, int32_t n_fields) {
    return call(client, db, request, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        if (n_requests != 1) {
            return fail(OX_MOM_E_ARGUMENT, "%s: one request expected, not %d", type.name, n_requests);
        }
        if (field_ids == nullptr || cbs == nullptr || n_fields < 1) {
            return fail(OX_MOM_E_ARGUMENT, "%s: no field named to follow, or no callback", type.name);
        }
        for (int32_t i = 0; i < n_fields; ++i) {
            const auto number = static_cast<unsigned>(field_ids[i]);
            if (cbs[i] == nullptr || protobuf_c_message_descriptor_get_field(&type, number) == nullptr) {
                return fail(OX_MOM_E_ARGUMENT, "%s: field %d is none of its fields, or has no callback", type.name,
                            field_ids[i]);
            }
        }
        const int32_t code = expect_kind(type, true);
        return code != 0 ? code
                         : opened.subscribe_fields(db, *request, {field_ids, static_cast<size_t>(n_fields)}, cbs, args);
    });
}

int32_t ox_mom_scan_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t, MomMsgCb cb, void *) {
    return load(client, db, request, [&](Client &opened, const ProtobufCMessageDescriptor &type) {
        return cb != nullptr ? opened.scan(db, type, cb)
                             : fail(OX_MOM_E_ARGUMENT, "%s: the callback is NULL", type.name);
    });
}

}  // extern "C"
