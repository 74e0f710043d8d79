#include "store/message.h"

namespace store {

using record::View;

std::optional<View> record_in(const MomMsg &message) {
    if (message.result == nullptr) {
        return std::nullopt;
    }
    const auto view = [](const ProtobufCMessage &of, std::span<const int32_t> fields) {
        return View(record::type_of(*of.descriptor), of, fields);
    };
    switch (message.cmd) {
        case OX_MOM_CMD_WRITTEN:
            return View::whole(*static_cast<const ProtobufCMessage *>(message.result));
        case OX_MOM_CMD_DELETED:
            return view(*static_cast<const ProtobufCMessage *>(message.result), {});
        case OX_MOM_CMD_DELIVERED: {
            const auto &result = *static_cast<const MomHashResult *>(message.result);
            if (result.record == nullptr) {
                return std::nullopt;
            }
            return view(*result.record, {result.field_ids, result.n_field_ids});
        }
        default:
            return std::nullopt;
    }
}

}  // namespace store
