// The scenarios that come with the tool.
#pragma once

#include <string>
#include <vector>

namespace scenario {

// $TREL_CAP_SCENARIOS, else where they are installed beside the running program.
std::string shipped_directory();
// Without directory and ending, sorted.
std::vector<std::string> shipped_names();
// A file as it is, or the shipped one of that name; a usage failure when there is neither.
std::string find_file(const std::string &file_or_name);

}  // namespace scenario
