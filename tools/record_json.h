// Records as JSON, by their descriptors.
#ifndef TREL_CAPCTL_RECORD_JSON_H
#define TREL_CAPCTL_RECORD_JSON_H

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

}  // namespace capctl

#endif
