// Failures: a code for the caller, and words for whoever asks why.
#pragma once

#include <cstdint>

#include "ox_mom.h"

namespace mom {

// Keeps the words as this thread's last error and returns the code.
int32_t fail(int32_t code, const char *format, ...) __attribute__((format(printf, 2, 3)));

const char *last_error();

}  // namespace mom
