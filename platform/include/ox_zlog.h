/*
 * ox_zlog.h - the logging layer.
 *
 * A category is a stream of messages with a name. Where messages go is configured outside the program: in the file
 * $OX_ZLOG_CONF, else in /etc/trel_cap/zlog.conf, else by a built-in rule that writes every message to standard error
 * with its time, level, category, function and line. The first of the two files that exists is read once, by the first
 * ox_zlog_init() of the process. One that cannot be used is named on standard error with the reason, and the built-in
 * rule applies: one that is no regular file, that zlog does not understand, or that has no rule, as an empty one. Who
 * wants silence says so by a rule: *.* "/dev/null".
 *
 * Both functions may be called from any thread at any time.
 */
#ifndef OX_ZLOG_H
#define OX_ZLOG_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
/* A program may define these functions itself and be called instead, even one that hides its symbols by default. */
#pragma GCC visibility push(default)

/*
 * Returns the category of that name, the same handle every time; it is never released. NULL when the name is NULL or
 * longer than 1024 bytes, or memory is exhausted.
 */
void *ox_zlog_init(const char *category);

/* The levels, which are zlog's. */
enum {
    OX_ZLOG_DEBUG = 20,
    OX_ZLOG_INFO = 40,
    OX_ZLOG_NOTICE = 60,
    OX_ZLOG_WARN = 80,
    OX_ZLOG_ERROR = 100,
    OX_ZLOG_FATAL = 120
};

/*
 * Logs one message, formatted as printf does. file and func need not be terminated: filelen and funclen are their
 * lengths in bytes. level is one of the above. A NULL category drops the message.
 *
 * What a message repeats of others can neither begin a line of the log nor move a terminal's cursor: control characters
 * and bytes that are not UTF-8 are written as \n, \t and \xNN (two lower-case hexadecimal digits a byte). All other
 * text stays as it is, a backslash too, and so does one line break at the very end of the message; the configured
 * format writes its own after it.
 *
 * A message that zlog cannot write is dropped, one whose line is longer than the configuration's `buffer max` above
 * all. The first one of the process is told on standard error, with the reason.
 */
void oxdf_zlog(void *category, const char *file, size_t filelen, const char *func, size_t funclen, long line, int level,
               const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 8, 9)))
#endif
    ;

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
