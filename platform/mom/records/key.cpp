#include "records/key.h"

#include <charconv>
#include <cstring>
#include <span>

#include "core/error.h"
#include "records/member.h"

namespace mom {

namespace {

constexpr size_t kUsualBytes = 256;

template <class Number>
void append_number(std::string &text, Number number) {
    char digits[24];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
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
                key += text != nullptr ? text : "";
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
    key.reserve(kUsualBytes);
    key += type.name;
    const ProtobufCFieldDescriptor *index_field = index_of(type);
    if (index_field == nullptr) {
        return 0;
    }
    const auto *index = member<const ProtobufCMessage *>(message, index_field->offset);
    if (index == nullptr) {
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

}  // namespace mom
