// The keys under which records are stored: the full name of the type, and of a hash ":" and each value of its index.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <protobuf-c/protobuf-c.h>

namespace mom {

constexpr uint32_t kIndexField = 5;

// Before a type's name: the key of the set of its records. No type's name has a colon, so it is no record's.
constexpr std::string_view kSetPrefix = "records:";

// The index of a type of hashes; nullptr for a type of single objects, whose key is the type's name alone.
const ProtobufCFieldDescriptor *index_of(const ProtobufCMessageDescriptor &type);

// Appends the key of the record that the message addresses. A code, with the reason in last_error(), when its index is
// missing, or is of a kind whose values, put side by side, could be those of another record.
int32_t append_key(const ProtobufCMessage &message, std::string &key);

}  // namespace mom
