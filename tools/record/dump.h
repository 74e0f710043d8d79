// A dump: records as JSON, a line each, or one array of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "record/record.h"

namespace record {

// All of it, or a Failure (kUnreadable) that names the line: of one that is no record, and of one whose record was
// there before. The name is what the text is called in it. Empty lines are nothing.
std::vector<Record> parse_dump(const std::string &name, std::string_view text);

}  // namespace record
