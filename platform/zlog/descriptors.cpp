// Files of zlog's never get the number of a standard stream that the program has closed: what others print there would
// go into a log, or to the program of a rule. The linker puts these functions in the place of the C library's.
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>

#include "base/fd.h"

extern "C" {
int open_of_library(const char *path, int flags, ...) __asm__("__real_open64");
int open_beyond(const char *path, int flags, ...) __asm__("__wrap_open64");
int open_small_beyond(const char *path, int flags, ...) __asm__("__wrap_open") __attribute__((alias("__wrap_open64")));
FILE *popen_of_library(const char *command, const char *type) __asm__("__real_popen");
FILE *popen_beyond(const char *command, const char *type) __asm__("__wrap_popen");
}

int open_beyond(const char *path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
    va_end(args);
    return base::Fd(open_of_library(path, flags, mode)).release();
}

// The stream keeps the number that it gets: the lower ones are held meanwhile.
FILE *popen_beyond(const char *command, const char *type) {
    const auto open_nothing = [] { return open_of_library("/dev/null", O_RDWR | O_CLOEXEC); };
    int held[STDERR_FILENO + 1];
    int count = 0;
    int next = open_nothing();
    for (; next >= 0 && next <= STDERR_FILENO; next = open_nothing()) {
        held[count++] = next;
    }
    const base::Fd beyond(next);
    FILE *stream = popen_of_library(command, type);
    while (count > 0) {
        close(held[--count]);
    }
    return stream;
}
