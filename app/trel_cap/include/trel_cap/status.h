/* status.h - the library's own status codes, and their texts. Every other status is the object-store client's. */
#ifndef TREL_CAP_STATUS_H
#define TREL_CAP_STATUS_H

#include <stdint.h>

#include "ox_mom.h"
#include "trel_cap/export.h"

/*
 * Every failure code: TREL_CAP_E_name, number, text of trel_cap_strerror().
 *
 * MEMORY     no memory for a registration
 * ARGUMENT   a NULL argument, a URL longer than TREL_CAP_URL_MAX, or a buffer without room
 * NO_NODE    a node could not be added to the node list
 * NO_ANSWER  the store gave no answer, or an error code; ox_mom_last_error() tells why
 * NO_RECORD  there is no such record
 * NO_INDEX   the record of a notification has no index
 * NO_VALUE   the record exists, but the wanted value was never set
 */
#define TREL_CAP_ERRORS(X)                                                                                             \
    X(MEMORY, -2, "out of memory")                                                                                     \
    X(ARGUMENT, -4, "invalid argument")                                                                                \
    X(NO_NODE, -11, "the node cannot be listed, or the console refused the commands")                                  \
    X(NO_ANSWER, -21, "the store gave no answer")                                                                      \
    X(NO_RECORD, -22, "there is no such record")                                                                       \
    X(NO_INDEX, -23, "the record has no index")                                                                        \
    X(NO_VALUE, -24, "the record has no value of this type")

enum {
    TREL_CAP_OK = 0,
#define TREL_CAP_ERROR_ENUM(name, code, text) TREL_CAP_E_##name = (code),
    TREL_CAP_ERRORS(TREL_CAP_ERROR_ENUM)
#undef TREL_CAP_ERROR_ENUM
        TREL_CAP_E_REFUSED = TREL_CAP_E_NO_NODE /* the console refused the module: the same number */
};

enum {
    TREL_CAP_URL_MAX = 255 /* bytes of a capability URL, its terminator not counted */
};

TREL_CAP_BEGIN_DECLS

/* Weak: NULL where the platform's client does not name its codes. */
__attribute__((weak)) const char *ox_mom_strerror(int32_t code);

/* A status in words, whether the library's own or the client's, which ox_mom_strerror() then names. Never NULL. */
static inline const char *trel_cap_strerror(int32_t status) {
    switch (status) {
#define TREL_CAP_ERROR_TEXT(name, code, text)                                                                          \
    case (code):                                                                                                       \
        return text;
        TREL_CAP_ERRORS(TREL_CAP_ERROR_TEXT)
#undef TREL_CAP_ERROR_TEXT
        default:
            if (ox_mom_strerror) {
                return ox_mom_strerror(status);
            }
            return status == TREL_CAP_OK ? "success" : "a code of the object-store client";
    }
}

TREL_CAP_END_DECLS

#endif
