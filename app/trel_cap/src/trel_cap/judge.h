#pragma once

#include <cstdint>

namespace trel_cap {

// Whether any entry of the node is fully ready; `from` is what is assumed at first.
bool is_judged_ready(int32_t node, uint8_t from = 0);

}  // namespace trel_cap
