// Messages by their descriptors: their fields as values, copies, comparison.
#pragma once

#include <cstring>
#include <memory>
#include <protobuf-c/protobuf-c.h>
#include <string>
#include <string_view>
#include <variant>

namespace record {

// Of a field: int32_t for enumerations too, std::string for bytes as well as for strings.
using Value = std::variant<bool, int32_t, std::string>;
// The same where it lies in its message.
using ValueView = std::variant<bool, int32_t, std::string_view>;

struct MessageDeleter {
    void operator()(ProtobufCMessage *message) const { protobuf_c_message_free_unpacked(message, nullptr); }
};
using Message = std::unique_ptr<ProtobufCMessage, MessageDeleter>;

// With every field at its default.
Message make_message(const ProtobufCMessageDescriptor &type);
Message copy_of(const ProtobufCMessage &message);

// The message in a field; nullptr: there is none.
const ProtobufCMessage *message_in(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field);
// Makes one when there is none.
ProtobufCMessage &make_message_in(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field);
void clear_message_in(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field);

// Of a field that holds no message.
ValueView view_of(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field);
Value value_of(const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field);
Value default_of(const ProtobufCFieldDescriptor &field);
// The value is of the field's kind.
void set_value(ProtobufCMessage &message, const ProtobufCFieldDescriptor &field, const Value &value);

bool same(const ProtobufCMessage &a, const ProtobufCMessage &b, const ProtobufCFieldDescriptor &field);

}  // namespace record
