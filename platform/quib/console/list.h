// The list of modules.
#pragma once

#include <string>
#include <vector>

#include "served_modules.h"

namespace console {

// A table with a header.
std::string as_table(const std::vector<Module> &modules);

// One line a module, always valid: what is not UTF-8 appears as U+FFFD.
std::string as_json(const std::vector<Module> &modules);

}  // namespace console
