#include "report.h"

#include <cstdarg>
#include <cstdio>

#include "base/undisturbed.h"

namespace quib {

void report(const char *format, ...) {
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    const base::Undisturbed undisturbed;
    fprintf(stderr, "quib: %s\n", text);
}

}  // namespace quib
