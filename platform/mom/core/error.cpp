#include "core/error.h"

#include <cstdarg>
#include <cstdio>

#include "core/caller.h"

namespace mom {

thread_local constinit Caller caller;

namespace {

[[gnu::format(printf, 1, 0)]] void keep(const char *format, va_list args) {
    // Formatted aside first: an argument may be the last error itself.
    char text[sizeof caller.words];
    vsnprintf(text, sizeof text, format, args);
    snprintf(caller.words, sizeof caller.words, "%s", text);
}

}  // namespace

int32_t fail(int32_t code, const char *format, ...) {
    va_list args;
    va_start(args, format);
    keep(format, args);
    va_end(args);
    return code;
}

const char *last_error() { return caller.words; }

}  // namespace mom
