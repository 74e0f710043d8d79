// Records as JSON, by their descriptors.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <string_view>

#include "record/record.h"

namespace record {

// {"type": full name, "key": the fields of the index, "fields": those that are there, in the schema's order}. A string
// that is not UTF-8 has a neighbour NAME_hex with its bytes; bytes are hexadecimal, and enumerations names.
nlohmann::ordered_json to_json(const View &record);
// The same as a line.
std::string record_line(const View &record);
void append_record_line(std::string &json, const View &record);

// The fields of those numbers alone, which ascend: {"ready": true, ...}.
nlohmann::ordered_json fields_json(const Record &record, std::span<const int32_t> fields);
// One field's value alone.
nlohmann::ordered_json field_json(const Record &record, int32_t field);

// The reverse of to_json. Throws a Failure (kUnreadable) that says what is wrong with it.
Record from_json(const nlohmann::ordered_json &json);

// On one line, which is always valid: what is not UTF-8 in a string appears as U+FFFD.
std::string json_line(const nlohmann::ordered_json &value);

}  // namespace record
