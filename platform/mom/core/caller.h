// A calling thread, as it is remembered.
#pragma once

#include <cstdint>

namespace mom {

struct Caller {
    uint64_t number = 0;   // as the owner of clients; 0: it owns none
    char words[512] = "";  // why its latest call failed; "" when it did not
};

// Initialised without code, so that asking costs no more than finding it.
extern thread_local constinit Caller caller;

}  // namespace mom
