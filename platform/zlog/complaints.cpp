#include "complaints.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

// zlog's functions tell their failures by a bare -1. The reason goes to zc_profile_inner(), which writes it to a file,
// if an environment variable names one. The linker puts the wrapper below in its place.
extern "C" {
int profile_of_zlog(int severity, const char *file, long line, const char *format,
                    ...) __asm__("__real_zc_profile_inner");
int profile_wrapper(int severity, const char *file, long line, const char *format,
                    ...) __asm__("__wrap_zc_profile_inner") __attribute__((format(printf, 4, 5)));
}

namespace zlog_layer {

namespace {

constexpr int kDebug = 0;
constexpr int kError = 2;

thread_local Complaints *current = nullptr;

bool begins(const char *complaint, const char *with) { return std::strncmp(complaint, with, std::strlen(with)) == 0; }

}  // namespace

Complaints::Complaints() { current = this; }

Complaints::~Complaints() { current = nullptr; }

// zlog complains on every level of its call stack, the innermost first; one of the outer ones knows the line.
// Some complaints are about less than a message: an unknown level, for one.
void Complaints::add(const char *complaint) {
    dropped_ = dropped_ || begins(complaint, "zlog_output fail") || begins(complaint, "zlog_thread_new fail") ||
               begins(complaint, "pthread_setspecific fail");
    static_cast<void>(sscanf(complaint, "conf limit to %ld", &buffer_limit_));
    if (cause_[0] == '\0') {
        snprintf(cause_, sizeof cause_, "%s", complaint);
    } else if (place_[0] == '\0' && std::strstr(complaint, "line_no[") != nullptr) {
        snprintf(place_, sizeof place_, "%s", complaint);
    }
}

}  // namespace zlog_layer

int profile_wrapper(int severity, const char *file, long line, const char *format, ...) {
    if (severity == zlog_layer::kDebug) {
        return 0;
    }
    char complaint[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(complaint, sizeof complaint, format, args);
    va_end(args);
    if (severity == zlog_layer::kError && zlog_layer::current != nullptr) {
        zlog_layer::current->add(complaint);
    }
    return profile_of_zlog(severity, file, line, "%s", complaint);
}
