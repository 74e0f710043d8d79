// What processes have used, as the kernel counts it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

namespace crowd {

// Processor time of all of them together, in seconds.
double processor_seconds(const std::vector<pid_t> &processes);

// Memory that is a process's own, in KiB: the mean of them.
int64_t own_memory_kib(const std::vector<pid_t> &processes);

}  // namespace crowd
