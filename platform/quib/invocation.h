// Calling a handler with arguments that are known only now.
#pragma once

#include <cstdint>
#include <vector>

#include "binding.h"
#include "quib.h"

namespace quib {

// The handler's status. The texts live until it returns.
int32_t invoke(QuibHandler handler, std::vector<Value> &values);

}  // namespace quib
