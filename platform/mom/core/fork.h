// All that a forked child inherits belongs to its parent.
#pragma once

#include <atomic>
#include <cstdint>

namespace mom {

extern std::atomic<uint32_t> forks;

// Has forks counted from now on.
void count_forks();

// How often this process is the child of a fork; counted there, so that asking costs no system call.
inline uint32_t fork_generation() { return forks.load(std::memory_order_relaxed); }

}  // namespace mom
