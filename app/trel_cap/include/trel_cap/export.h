/* export.h - what surrounds the declarations of the library's exported names. */
#ifndef TREL_CAP_EXPORT_H
#define TREL_CAP_EXPORT_H

#ifdef __cplusplus
#define TREL_CAP_BEGIN_DECLS                                                                                           \
    extern "C" {                                                                                                       \
    _Pragma("GCC visibility push(default)")
#define TREL_CAP_END_DECLS                                                                                             \
    _Pragma("GCC visibility pop")                                                                                      \
    }
#else
#define TREL_CAP_BEGIN_DECLS _Pragma("GCC visibility push(default)")
#define TREL_CAP_END_DECLS _Pragma("GCC visibility pop")
#endif

#endif
