#include "record_codec.h"

#include <charconv>
#include <cstddef>
#include <cstring>

#include "error.h"

namespace mom {

namespace {

template <class T>
const T &member(const ProtobufCMessage &message, size_t offset) {
    return *reinterpret_cast<const T *>(reinterpret_cast<const std::byte *>(&message) + offset);
}

template <class Number>
void append_number(std::string &text, Number number) {
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

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

int32_t append_index_value(const ProtobufCMessage &index, const ProtobufCFieldDescriptor &field, bool last,
                           std::string &key) {
    key += ':';
    switch (field.type) {
        case PROTOBUF_C_TYPE_INT32:
        case PROTOBUF_C_TYPE_SINT32:
        case PROTOBUF_C_TYPE_SFIXED32:
        case PROTOBUF_C_TYPE_ENUM:
        case PROTOBUF_C_TYPE_BOOL:
            append_number(key, member<int32_t>(index, field.offset));
            return 0;
        case PROTOBUF_C_TYPE_UINT32:
        case PROTOBUF_C_TYPE_FIXED32:
            append_number(key, member<uint32_t>(index, field.offset));
            return 0;
        case PROTOBUF_C_TYPE_STRING:
            // Taken as it is: nothing follows that a colon in it could be mistaken for.
            if (last) {
                const char *text = member<const char *>(index, field.offset);
                key += text ? text : "";
                return 0;
            }
            break;
        default:
            break;
    }
    return fail(OX_MOM_E_ARGUMENT, "%s: index field %s can't address a record", index.descriptor->name, field.name);
}

}  // namespace

const ProtobufCFieldDescriptor *index_of(const ProtobufCMessageDescriptor &type) {
    for (const ProtobufCFieldDescriptor &field : std::span(type.fields, type.n_fields)) {
        if (field.id == kIndexField) {
            const bool is_index = field.type == PROTOBUF_C_TYPE_MESSAGE && std::strcmp(field.name, "index") == 0;
            return is_index ? &field : nullptr;
        }
    }
    return nullptr;
}

int32_t append_key(const ProtobufCMessage &message, std::string &key) {
    const ProtobufCMessageDescriptor &type = *message.descriptor;
    key += type.name;
    const ProtobufCFieldDescriptor *index_field = index_of(type);
    if (!index_field) {
        return 0;
    }
    const auto *index = member<const ProtobufCMessage *>(message, index_field->offset);
    if (!index) {
        return fail(OX_MOM_E_ARGUMENT, "%s: its index is NULL", type.name);
    }
    const std::span fields(index->descriptor->fields, index->descriptor->n_fields);
    for (const ProtobufCFieldDescriptor &field : fields) {
        if (const int32_t code = append_index_value(*index, field, &field == &fields.back(), key)) {
            return code;
        }
    }
    return 0;
}

int32_t EncodedFields::encode(const ProtobufCMessage &record, std::span<const int32_t> field_ids) {
    const ProtobufCMessageDescriptor &type = *record.descriptor;
    append(record, *index_of(type));
    for (const int32_t id : field_ids) {
        const ProtobufCFieldDescriptor *field =
            id > 0 ? protobuf_c_message_descriptor_get_field(&type, static_cast<unsigned>(id)) : nullptr;
        if (!field) {
            return fail(OX_MOM_E_ARGUMENT, "%s has no field %d", type.name, id);
        }
        if (id != static_cast<int32_t>(kIndexField)) {
            append(record, *field);
        }
    }
    // Only now do the bytes stay where they are.
    for (size_t i = 0; i < fields_.size(); ++i) {
        const size_t end = i + 1 < starts_.size() ? starts_[i + 1] : values_.size();
        fields_[i].value = std::string_view(values_).substr(starts_[i], end - starts_[i]);
    }
    return 0;
}

void EncodedFields::append(const ProtobufCMessage &record, const ProtobufCFieldDescriptor &field) {
    // A message with nothing else in it packs to exactly this field, or to nothing when it is at its default.
    alone_.resize(record.descriptor->sizeof_message / sizeof(std::max_align_t) + 1);
    auto *message = reinterpret_cast<ProtobufCMessage *>(alone_.data());
    protobuf_c_message_init(record.descriptor, message);
    copy_field(field, record, reinterpret_cast<std::byte *>(message));
    const size_t start = values_.size();
    values_.resize(start + protobuf_c_message_get_packed_size(message));
    protobuf_c_message_pack(message, reinterpret_cast<uint8_t *>(values_.data()) + start);
    starts_.push_back(start);
    fields_.push_back({.number = field.id, .value = {}});
}

std::string encode_object(const ProtobufCMessage &record) {
    std::string bytes(protobuf_c_message_get_packed_size(&record), '\0');
    protobuf_c_message_pack(&record, reinterpret_cast<uint8_t *>(bytes.data()));
    return bytes;
}

}  // namespace mom
