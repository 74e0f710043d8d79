#include "error.h"

#include <cstdarg>
#include <cstdio>

namespace mom {

namespace {

thread_local char words[512];

void keep(const char *format, va_list args) {
    // Formatted aside first: an argument may be the last error itself.
    char text[sizeof words];
    vsnprintf(text, sizeof text, format, args);
    snprintf(words, sizeof words, "%s", text);
}

}  // namespace

int32_t fail(int32_t code, const char *format, ...) {
    va_list args;
    va_start(args, format);
    keep(format, args);
    va_end(args);
    return code;
}

const char *last_error() { return words; }

}  // namespace mom
