// Failures: a code for the caller, and words for whoever asks why.
#pragma once

#include <cstdint>

#include "ox_mom.h"

namespace mom {

// Keeps the words as this thread's last error and returns the code.
int32_t fail(int32_t code, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Says on standard error what was skipped: nobody called, so nobody can be told by a code. Kept as the last error too.
void report(const char *format, ...) __attribute__((format(printf, 1, 2)));

const char *last_error();

}  // namespace mom
