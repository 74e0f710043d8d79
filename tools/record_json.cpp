#include "record_json.h"

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/utf8.h"
#include "command_line/streams.h"
#include "command_line/text.h"

namespace capctl {

using namespace command_line;

namespace {

using Json = nlohmann::ordered_json;

constexpr uint32_t kIndexField = 5;

bool is_utf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t length = base::sequence_length(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

template <class Value>
Value member(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    Value value;
    std::memcpy(&value, reinterpret_cast<const char *>(&message) + field.offset, sizeof value);
    return value;
}

Json value_json(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    switch (field.type) {
        case PROTOBUF_C_TYPE_BOOL:
            return member<protobuf_c_boolean>(message, field) != 0;
        case PROTOBUF_C_TYPE_INT32:
            return member<int32_t>(message, field);
        case PROTOBUF_C_TYPE_STRING: {
            const char *text = member<const char *>(message, field);
            return text == nullptr ? "" : text;
        }
        default:
            throw std::logic_error(std::string(field.name) + ": no JSON for a field of its type");
    }
}

void add_member(Json &object, const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    Json value = value_json(message, field);
    const std::string raw = value.is_string() ? value.get<std::string>() : "";
    object[field.name] = std::move(value);
    if (!is_utf8(raw)) {
        object[std::string(field.name) + "_hex"] = hex(raw);
    }
}

std::span<const ProtobufCFieldDescriptor> fields_of(const ProtobufCMessage &message) {
    return {message.descriptor->fields, message.descriptor->n_fields};
}

// The field of the index, or NULL: a single object has none.
const ProtobufCFieldDescriptor *index_of(const ProtobufCMessage &record) {
    const auto *field = protobuf_c_message_descriptor_get_field(record.descriptor, kIndexField);
    return field != nullptr && field->type == PROTOBUF_C_TYPE_MESSAGE ? field : nullptr;
}

Json key_json(const ProtobufCMessage &record) {
    Json key = Json::object();
    const ProtobufCFieldDescriptor *index = index_of(record);
    const auto *message = index == nullptr ? nullptr : member<const ProtobufCMessage *>(record, *index);
    if (message != nullptr) {
        for (const ProtobufCFieldDescriptor &field : fields_of(*message)) {
            add_member(key, *message, field);
        }
    }
    return key;
}

}  // namespace

Json record_json(const ProtobufCMessage &record, std::span<const int32_t> fields) {
    Json values = Json::object();
    for (const ProtobufCFieldDescriptor &field : fields_of(record)) {
        const bool named = std::find(fields.begin(), fields.end(), static_cast<int32_t>(field.id)) != fields.end();
        if (named && &field != index_of(record)) {
            add_member(values, record, field);
        }
    }
    return {{"type", record.descriptor->name}, {"key", key_json(record)}, {"fields", std::move(values)}};
}

Json field_json(const ProtobufCMessage &record, int32_t field) {
    const auto *descriptor = protobuf_c_message_descriptor_get_field(record.descriptor, static_cast<unsigned>(field));
    return value_json(record, *descriptor);
}

void print_json(const Json &value) { write_output(value.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"); }

}  // namespace capctl
