#include "records/encoding.h"

#include <cstddef>
#include <cstring>

#include "core/error.h"
#include "records/key.h"
#include "records/member.h"

namespace mom {

namespace {

constexpr size_t kUsualBytes = 256;  // of a record's fields

// The bytes that a field takes in its message, its quantifier apart.
size_t member_size(const ProtobufCFieldDescriptor &field) {
    if (field.label == PROTOBUF_C_LABEL_REPEATED) {
        return sizeof(void *);
    }
    switch (field.type) {
        case PROTOBUF_C_TYPE_INT64:
        case PROTOBUF_C_TYPE_SINT64:
        case PROTOBUF_C_TYPE_SFIXED64:
        case PROTOBUF_C_TYPE_UINT64:
        case PROTOBUF_C_TYPE_FIXED64:
        case PROTOBUF_C_TYPE_DOUBLE:
            return sizeof(uint64_t);
        case PROTOBUF_C_TYPE_STRING:
        case PROTOBUF_C_TYPE_MESSAGE:
            return sizeof(void *);
        case PROTOBUF_C_TYPE_BYTES:
            return sizeof(ProtobufCBinaryData);
        default:
            return sizeof(uint32_t);
    }
}

// Copies one field, with its quantifier if it has one.
void copy_field(const ProtobufCFieldDescriptor &field, const ProtobufCMessage &from, std::byte *to) {
    const auto *source = reinterpret_cast<const std::byte *>(&from);
    std::memcpy(to + field.offset, source + field.offset, member_size(field));
    if (field.quantifier_offset != 0) {
        const size_t size = field.label == PROTOBUF_C_LABEL_REPEATED ? sizeof(size_t) : sizeof(uint32_t);
        std::memcpy(to + field.quantifier_offset, source + field.quantifier_offset, size);
    }
}

void append_varint(std::string &to, uint64_t value) {
    for (; value > 0x7F; value >>= 7) {
        to += static_cast<char>(value | 0x80);
    }
    to += static_cast<char>(value);
}

void append_tag(std::string &to, const ProtobufCFieldDescriptor &field, unsigned wire_type) {
    append_varint(to, uint64_t{field.id} << 3 | wire_type);
}

void append_varint_field(std::string &to, const ProtobufCFieldDescriptor &field, uint64_t value) {
    if (value != 0) {
        append_tag(to, field, PROTOBUF_C_WIRE_TYPE_VARINT);
        append_varint(to, value);
    }
}

void append_message_field(std::string &to, const ProtobufCFieldDescriptor &field, const ProtobufCMessage *message) {
    if (message != nullptr) {
        const size_t size = protobuf_c_message_get_packed_size(message);
        append_tag(to, field, PROTOBUF_C_WIRE_TYPE_LENGTH_PREFIXED);
        append_varint(to, size);
        to.resize(to.size() + size);
        protobuf_c_message_pack(message, reinterpret_cast<uint8_t *>(to.data() + to.size() - size));
    }
}

void append_text_field(std::string &to, const ProtobufCFieldDescriptor &field, const char *text) {
    if (const size_t size = text != nullptr ? std::strlen(text) : 0) {
        append_tag(to, field, PROTOBUF_C_WIRE_TYPE_LENGTH_PREFIXED);
        append_varint(to, size);
        to.append(text, size);
    }
}

// Appends a field of the kinds that records have, in wire form: nothing when it is at its default. False when it is of
// another kind.
bool append_usual_field(std::string &to, const ProtobufCMessage &record, const ProtobufCFieldDescriptor &field) {
    if (field.label != PROTOBUF_C_LABEL_NONE || (field.flags & PROTOBUF_C_FIELD_FLAG_ONEOF) != 0) {
        return false;
    }
    switch (field.type) {
        case PROTOBUF_C_TYPE_INT32:
        case PROTOBUF_C_TYPE_ENUM:
            append_varint_field(to, field, static_cast<uint64_t>(int64_t{member<int32_t>(record, field.offset)}));
            return true;
        case PROTOBUF_C_TYPE_BOOL:
            append_varint_field(to, field, member<protobuf_c_boolean>(record, field.offset) != 0 ? 1U : 0U);
            return true;
        case PROTOBUF_C_TYPE_MESSAGE:
            append_message_field(to, field, member<const ProtobufCMessage *>(record, field.offset));
            return true;
        case PROTOBUF_C_TYPE_STRING:
            append_text_field(to, field, member<const char *>(record, field.offset));
            return true;
        default:
            return false;
    }
}

}  // namespace

int32_t EncodedFields::encode(const ProtobufCMessage &record, std::span<const int32_t> field_ids) {
    const ProtobufCMessageDescriptor &type = *record.descriptor;
    values_.clear();
    fields_.clear();
    values_.reserve(kUsualBytes);
    fields_.reserve(field_ids.size() + 1);
    append(record, *index_of(type));
    for (const int32_t id : field_ids) {
        const ProtobufCFieldDescriptor *field =
            id > 0 ? protobuf_c_message_descriptor_get_field(&type, static_cast<unsigned>(id)) : nullptr;
        if (field == nullptr) {
            return fail(OX_MOM_E_ARGUMENT, "%s has no field %d", type.name, id);
        }
        if (id != static_cast<int32_t>(kIndexField)) {
            append(record, *field);
        }
    }
    // Only now do the bytes stay where they are.
    const char *start = values_.data();
    for (StoredField &field : fields_) {
        field.value = {start, field.value.size()};
        start += field.value.size();
    }
    return 0;
}

void EncodedFields::append(const ProtobufCMessage &record, const ProtobufCFieldDescriptor &field) {
    const size_t start = values_.size();
    if (!append_usual_field(values_, record, field)) {
        append_alone(record, field);
    }
    fields_.push_back({.number = field.id, .value = std::string_view(values_).substr(start)});
}

// A message with nothing else in it packs to exactly this field, or to nothing when it is at its default.
void EncodedFields::append_alone(const ProtobufCMessage &record, const ProtobufCFieldDescriptor &field) {
    alone_.resize(record.descriptor->sizeof_message / sizeof(std::max_align_t) + 1);
    auto *message = reinterpret_cast<ProtobufCMessage *>(alone_.data());
    protobuf_c_message_init(record.descriptor, message);
    copy_field(field, record, reinterpret_cast<std::byte *>(message));
    const size_t start = values_.size();
    values_.resize(start + protobuf_c_message_get_packed_size(message));
    protobuf_c_message_pack(message, reinterpret_cast<uint8_t *>(values_.data()) + start);
}

std::string encode_object(const ProtobufCMessage &record) {
    std::string bytes(protobuf_c_message_get_packed_size(&record), '\0');
    protobuf_c_message_pack(&record, reinterpret_cast<uint8_t *>(bytes.data()));
    return bytes;
}

}  // namespace mom
