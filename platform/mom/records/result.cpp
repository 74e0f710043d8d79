#include "records/result.h"

#include <algorithm>
#include <new>

#include "core/error.h"
#include "records/decoding.h"
#include "records/notification.h"

namespace mom {

size_t result_capacity(const ProtobufCMessageDescriptor &type, size_t stored_bytes, size_t n_fields) {
    constexpr size_t kSubmessages = 256;
    return sizeof(MomHashResult) + n_fields * sizeof(int32_t) + type.sizeof_message + kSubmessages + 2 * stored_bytes;
}

MomHashResult *make_result(Arena &arena) {
    void *memory = arena.allocate(sizeof(MomHashResult));
    return memory != nullptr ? new (memory) MomHashResult{} : nullptr;
}

int32_t decode_hash(const ProtobufCMessageDescriptor &type, const StoredFields &fields, std::string_view where,
                    Arena &arena, MomHashResult &result) {
    if (fields.empty()) {
        return 0;
    }
    const auto refuse = [&](int32_t code, const char *why) {
        return result.error_code = fail(code, "%.*s %s", static_cast<int>(where.size()), where.data(), why);
    };
    if (index_in(fields).empty()) {
        return refuse(OX_MOM_E_DECODE, "has no index");
    }
    auto *ids = static_cast<int32_t *>(arena.allocate(fields.size() * sizeof(int32_t)));
    ProtobufCMessage *record = ids != nullptr ? decode_fields(type, fields, arena) : nullptr;
    if (record == nullptr) {
        return arena.exhausted() ? refuse(OX_MOM_E_MEMORY, "does not fit into memory")
                                 : refuse(OX_MOM_E_DECODE, "does not decode as its type");
    }
    bool ascending = true;
    int32_t before = 0;
    int32_t *next = ids;
    for (const StoredField &field : fields) {
        *next++ = static_cast<int32_t>(field.number);
        ascending &= before <= static_cast<int32_t>(field.number);
        before = static_cast<int32_t>(field.number);
    }
    if (!ascending) {
        std::sort(ids, next);
    }
    result.record = record;
    result.field_ids = ids;
    result.n_field_ids = static_cast<uint32_t>(fields.size());
    return 0;
}

}  // namespace mom
