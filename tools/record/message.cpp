#include "record/message.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace record {

namespace {

void *allocated(size_t size) {
    void *memory = std::malloc(std::max<size_t>(size, 1));  // as protobuf-c does, which releases it
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

template <class T>
T member(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    T value;
    std::memcpy(&value, reinterpret_cast<const char *>(&message) + field.offset, sizeof value);
    return value;
}

template <class T>
void set_member(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field, T value) {
    std::memcpy(reinterpret_cast<char *>(&message) + field.offset, &value, sizeof value);
}

ProtobufCMessage *raw_message(const ProtobufCMessageDescriptor &type) {
    auto *message = static_cast<ProtobufCMessage *>(allocated(type.sizeof_message));
    protobuf_c_message_init(&type, message);
    return message;
}

void set_text(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field, const std::string &text) {
    auto *copy = static_cast<char *>(allocated(text.size() + 1));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    auto *old = member<char *>(message, field);
    if (old != field.default_value) {
        std::free(old);
    }
    set_member(message, field, copy);
}

void set_bytes(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field, const std::string &bytes) {
    ProtobufCBinaryData data = {bytes.size(), nullptr};
    if (!bytes.empty()) {
        data.data = static_cast<uint8_t *>(allocated(bytes.size()));
        std::memcpy(data.data, bytes.data(), bytes.size());
    }
    std::free(member<ProtobufCBinaryData>(message, field).data);
    set_member(message, field, data);
}

template <class T>
using Owned = std::conditional_t<std::is_same_v<T, std::string_view>, std::string, T>;

[[noreturn]] void refuse(const ProtobufCFieldDescriptor &field) {
    throw std::logic_error(std::string(field.name) + ": no record has a field of its kind");
}

bool same_messages(const ProtobufCMessage *a, const ProtobufCMessage *b) {
    if (a == nullptr || b == nullptr) {
        return a == b;
    }
    const std::span fields(a->descriptor->fields, a->descriptor->n_fields);
    return std::all_of(fields.begin(), fields.end(), [&](const auto &field) { return same(*a, *b, field); });
}

}  // namespace

Message make_message(const ProtobufCMessageDescriptor &type) { return Message(raw_message(type)); }

Message copy_of(const ProtobufCMessage &message) {
    std::vector<uint8_t> bytes(protobuf_c_message_get_packed_size(&message));
    protobuf_c_message_pack(&message, bytes.data());
    Message copy(protobuf_c_message_unpack(message.descriptor, nullptr, bytes.size(), bytes.data()));
    if (!copy) {
        throw std::bad_alloc();
    }
    return copy;
}

const ProtobufCMessage *message_in(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    return member<const ProtobufCMessage *>(message, field);
}

ProtobufCMessage &make_message_in(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    if (message_in(message, field) == nullptr) {
        set_member(message, field, raw_message(*static_cast<const ProtobufCMessageDescriptor *>(field.descriptor)));
    }
    return *member<ProtobufCMessage *>(message, field);
}

void clear_message_in(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    const Message old(member<ProtobufCMessage *>(message, field));
    set_member<ProtobufCMessage *>(message, field, nullptr);
}

ValueView view_of(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    switch (field.type) {
        case PROTOBUF_C_TYPE_BOOL:
            return member<protobuf_c_boolean>(message, field) != 0;
        case PROTOBUF_C_TYPE_INT32:
        case PROTOBUF_C_TYPE_ENUM:
            return member<int32_t>(message, field);
        case PROTOBUF_C_TYPE_STRING: {
            const char *text = member<const char *>(message, field);
            return std::string_view(text == nullptr ? "" : text);
        }
        case PROTOBUF_C_TYPE_BYTES: {
            const auto data = member<ProtobufCBinaryData>(message, field);
            return std::string_view(reinterpret_cast<const char *>(data.data), data.len);
        }
        default:
            refuse(field);
    }
}

Value value_of(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    return std::visit([](auto value) { return Value(Owned<decltype(value)>(value)); }, view_of(message, field));
}

Value default_of(const ProtobufCFieldDescriptor &field) {
    switch (field.type) {
        case PROTOBUF_C_TYPE_BOOL:
            return false;
        case PROTOBUF_C_TYPE_INT32:
        case PROTOBUF_C_TYPE_ENUM:
            return int32_t{0};
        case PROTOBUF_C_TYPE_STRING:
        case PROTOBUF_C_TYPE_BYTES:
            return std::string();
        default:
            refuse(field);
    }
}

void set_value(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field, const Value &value) {
    switch (field.type) {
        case PROTOBUF_C_TYPE_BOOL:
            set_member<protobuf_c_boolean>(message, field, std::get<bool>(value) ? 1 : 0);
            return;
        case PROTOBUF_C_TYPE_INT32:
        case PROTOBUF_C_TYPE_ENUM:
            set_member(message, field, std::get<int32_t>(value));
            return;
        case PROTOBUF_C_TYPE_STRING:
            set_text(message, field, std::get<std::string>(value));
            return;
        case PROTOBUF_C_TYPE_BYTES:
            set_bytes(message, field, std::get<std::string>(value));
            return;
        default:
            refuse(field);
    }
}

bool same(const ProtobufCMessage &a, const ProtobufCMessage &b, const ProtobufCFieldDescriptor &field) {
    if (field.type == PROTOBUF_C_TYPE_MESSAGE) {
        return same_messages(message_in(a, field), message_in(b, field));
    }
    return view_of(a, field) == view_of(b, field);
}

}  // namespace record
