// Records as they are stored: in one piece, and field by field.
#include "bytes.h"

#include <algorithm>
#include <memory>
#include <span>

#include "core/arena.h"
#include "record/message.h"
#include "record/record_type.h"
#include "records/decoding.h"

namespace {

std::string packed(const ProtobufCMessage &message) {
    std::string bytes(protobuf_c_message_get_packed_size(&message), '\0');
    protobuf_c_message_pack(&message, reinterpret_cast<uint8_t *>(bytes.data()));
    return bytes;
}

bool same(const ProtobufCMessage &one, const ProtobufCMessage &other) {
    return std::ranges::all_of(std::span(one.descriptor->fields, one.descriptor->n_fields),
                               [&](const auto &field) { return record::same(one, other, field); });
}

// protobuf-c takes more: it reads a truth value in whatever form it comes.
void decode_whole(const ProtobufCMessageDescriptor &type, std::string_view bytes) {
    mom::Arena arena;
    const ProtobufCMessage *message = mom::decode_message(type, bytes, arena);
    if (message == nullptr) {
        return;
    }
    const record::Message expected(
        protobuf_c_message_unpack(&type, nullptr, bytes.size(), reinterpret_cast<const uint8_t *>(bytes.data())));
    fuzz::expect(expected != nullptr, "protobuf-c decodes it, too");
    fuzz::expect(same(*message, *expected), "both decode the same");
}

void decode_fields(const ProtobufCMessageDescriptor &type, fuzz::Bytes &bytes) {
    mom::StoredFields fields;
    while (!bytes.empty()) {
        const uint32_t number = bytes.byte();
        fields.push_back({.number = number, .value = bytes.text()});
    }
    mom::Arena arena;
    if (const ProtobufCMessage *message = mom::decode_fields(type, fields, arena)) {
        decode_whole(type, packed(*message));
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Bytes bytes(data, size);
    const auto types = record::record_types();
    const ProtobufCMessageDescriptor &type = *types[bytes.below(types.size())].descriptor;
    if (bytes.coin()) {
        decode_fields(type, bytes);
    } else {
        decode_whole(type, bytes.rest());
    }
    return 0;
}
