// Records on standard output, in the format that was asked for.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "record/record.h"
#include "verbs/verbs.h"

namespace capctl {

void print_json(const nlohmann::ordered_json &value);
// An array: as JSON whole, as ndjson a line an element.
void print_list(const Session &session, const nlohmann::ordered_json &array);

// Of many, in this order. As text a line each, that begins with the key.
void print_records(const Session &session, const std::vector<const record::Record *> &records);

// The same step by step: a record's line in text, JSON and ndjson, and all of these, which JSON makes an array of.
void append_line(const Session &session, std::string &lines, const record::View &record);
void print_lines(const Session &session, std::string lines);

// What was written, as JSON or a table; as text nothing.
void print_written(const Session &session, const record::Record &record);

// What a field of a capability is called: bool, int32, string, pri, state; nullptr for other fields.
const char *capability_label(int32_t field);

}  // namespace capctl
