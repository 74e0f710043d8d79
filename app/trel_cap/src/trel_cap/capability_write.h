// The status that the state setter keeps from its caller.
#pragma once

#include <cstdint>

namespace trel_cap {

// The store's answer to this thread's latest write of a capability.
extern __thread int32_t latest_write_status;

}  // namespace trel_cap
