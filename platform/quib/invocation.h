// Calling a handler with arguments that are known only now.
#pragma once

#include <cstdint>
#include <vector>

#include "binding.h"
#include "quib.h"

namespace quib {

struct Outcome {
    int32_t status;      // the handler's
    int32_t told_aside;  // by fail_running(); 0: nothing was
};

// The texts live until the handler returns.
Outcome invoke(QuibHandler handler, std::vector<Value> &values);

// Has the handler that runs on this thread fail, whatever it returns. False when none does.
bool fail_running(int32_t status);

}  // namespace quib
