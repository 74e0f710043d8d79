#include "log/log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "ox_zlog.h"

namespace trel_cap {

namespace {

constexpr size_t kMessageSize = 1024;

}

void write_message(const Caller &caller, int zlog_level, long line, const char *format, ...) {
    char message[kMessageSize] = {};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);

    void *const category = log_category();
    if (category == nullptr) {
        return;
    }
    oxdf_zlog(category, caller.path, strlen(caller.path), caller.function, strlen(caller.function), line, zlog_level,
              "%s", message);
}

}  // namespace trel_cap
