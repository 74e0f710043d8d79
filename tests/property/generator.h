// Random histories. The same seed makes the same history.
#ifndef TREL_CAP_TESTS_PROPERTY_GENERATOR_H
#define TREL_CAP_TESTS_PROPERTY_GENERATOR_H

#include <cstdint>

#include "history.h"

namespace property {

History random_history(uint64_t seed);

}  // namespace property

#endif
