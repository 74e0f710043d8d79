// Records on standard output, in the format that was asked for.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "record/record.h"
#include "verbs/verbs.h"

namespace capctl {

void print_json(const nlohmann::ordered_json &value);

// Of many, in this order. As text a line each, that begins with the key.
void print_records(const Session &session, const std::vector<const record::Record *> &records);

// What was written, where the format is JSON; as text nothing.
void print_written(const Session &session, const record::Record &record);

// What a field of a capability is called: bool, int32, string, pri, state; nullptr for other fields.
const char *capability_label(int32_t field);

}  // namespace capctl
