// Random histories. The same seed makes the same history.
#pragma once

#include <cstdint>

#include "history.h"

namespace property {

History random_history(uint64_t seed);

}  // namespace property
