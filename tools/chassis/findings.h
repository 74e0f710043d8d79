// What is odd in the records of a node, and what applications make of it.
#pragma once

#include <string>
#include <vector>

#include "chassis/node_records.h"

namespace chassis {

// Sentences. Nothing of them is a condition: each says why a condition is not what one would expect.
std::vector<std::string> findings(const NodeRecords &records);

// Whether the result of a check says what the result is. One that does not is read as a denial.
bool has_stat(const record::Record &check);

}  // namespace chassis
