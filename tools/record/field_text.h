// Values of fields as they are written on a command line.
#pragma once

#include <protobuf-c/protobuf-c.h>
#include <string>
#include <string_view>
#include <vector>

#include "record/message.h"

namespace record {

// Reads the whole text, or throws a usage failure that names what was to be read and what is expected.
Value parse_value(const ProtobufCFieldDescriptor &field, std::string_view what, std::string_view text);
// Decimal or, after 0x, hexadecimal; a node's number is often written as the latter, with all 32 bits.
int32_t parse_number(std::string_view what, std::string_view text);
// Pairs of digits.
std::string parse_hex(std::string_view what, std::string_view text);

// On one line, with nothing in it that a terminal would obey; a string or bytes are quoted, or hexadecimal.
std::string value_text(const ProtobufCFieldDescriptor &field, const Value &value);

// Of an enumeration; nullptr: the number has none.
const char *enum_name(const ProtobufCFieldDescriptor &field, int32_t number);
std::vector<std::string> enum_names(const ProtobufCFieldDescriptor &field);

}  // namespace record
