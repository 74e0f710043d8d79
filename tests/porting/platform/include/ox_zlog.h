/* ox_zlog.h - the logging layer of another platform. */
#ifndef OX_ZLOG_H
#define OX_ZLOG_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

void *ox_zlog_init(const char *category);
void oxdf_zlog(void *category, const char *file, size_t filelen, const char *func, size_t funclen, long line, int level,
               const char *format, ...);

#ifdef __cplusplus
}
#endif

#endif
