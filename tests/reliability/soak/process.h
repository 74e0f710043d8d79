// A process as the kernel sees it.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace soak {

struct Usage {
    int64_t own_kib = 0;  // memory that no other process shares
    int64_t descriptors = 0;
    int64_t wakeups = 0;  // how often it has waited
    int64_t ticks = 0;    // processor time, in the kernel's unit
};

Usage usage_of(pid_t process);

}  // namespace soak
