// What holds of every history. Each property says what is wrong, or nothing.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "record.h"

namespace histories {

using Violation = std::optional<std::string>;

struct Property {
    const char *name;
    Violation (*violation)(const Record &record);
};

std::span<const Property> all_properties();

// The first that does not hold, by its name.
Violation first_violation(const Record &record);

}  // namespace histories
