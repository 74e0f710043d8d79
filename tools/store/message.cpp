#include "store/message.h"

#include <vector>

namespace store {

using record::Record;

Record whole_object(const ProtobufCMessage &message) {
    std::vector<int32_t> fields;
    for (const ProtobufCFieldDescriptor &field : record::type_of(*message.descriptor).fields()) {
        fields.push_back(static_cast<int32_t>(field.id));
    }
    return {message, fields};
}

std::optional<Record> record_in(const MomMsg &message) {
    if (message.result == nullptr) {
        return std::nullopt;
    }
    switch (message.cmd) {
        case OX_MOM_CMD_WRITTEN:
            return whole_object(*static_cast<const ProtobufCMessage *>(message.result));
        case OX_MOM_CMD_DELETED:
            return Record(*static_cast<const ProtobufCMessage *>(message.result), {});
        case OX_MOM_CMD_DELIVERED: {
            const auto &result = *static_cast<const MomHashResult *>(message.result);
            if (result.record == nullptr) {
                return std::nullopt;
            }
            return Record(*result.record, {result.field_ids, result.n_field_ids});
        }
        default:
            return std::nullopt;
    }
}

}  // namespace store
