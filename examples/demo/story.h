// The application's side of the demo, told as it happens.
#pragma once

#include <cstdint>
#include <string>

#include "publisher.h"

namespace demo {

// Throws std::runtime_error when something that the story is about does not happen.
void tell_story(const std::string &store, int32_t log_level, Publisher &publisher);

}  // namespace demo
