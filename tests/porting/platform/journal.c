/* The logging layer of another platform: lines on standard error. */
#include <stdarg.h>
#include <stdio.h>

#include "ox_zlog.h"

void *ox_zlog_init(const char *category) {
    static char the_category;
    (void)category;
    return &the_category;
}

void oxdf_zlog(void *category, const char *file, size_t filelen, const char *func, size_t funclen, long line, int level,
               const char *format, ...) {
    va_list arguments;
    (void)category;
    fprintf(stderr, "%d %.*s:%.*s:%ld ", level, (int)filelen, file, (int)funclen, func, line);
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    fputc('\n', stderr);
}
