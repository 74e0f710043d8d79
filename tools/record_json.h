// Records as JSON, by their descriptors.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <protobuf-c/protobuf-c.h>
#include <span>

namespace capctl {

// {"type": full name, "key": the fields of the index, "fields": those named, in the schema's order}. A string that is
// not UTF-8 has a neighbour NAME_hex with its bytes.
nlohmann::ordered_json record_json(const ProtobufCMessage &record, std::span<const int32_t> fields);

// One field's value alone.
nlohmann::ordered_json field_json(const ProtobufCMessage &record, int32_t field);

// On a line of standard output, which is always valid: what is not UTF-8 in a string appears as U+FFFD.
void print_json(const nlohmann::ordered_json &value);

}  // namespace capctl
