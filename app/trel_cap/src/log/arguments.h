// The argument checks of the exported functions. Each logs what it finds wrong, and then answers true.
#pragma once

#include <cstddef>
#include <cstring>

#include "log/log.h"
#include "trel_cap/status.h"

namespace trel_cap {

// T may be a function.
template <typename T>
bool is_null(const Caller &caller, const char *name, T *argument) {
    if (argument != nullptr) [[likely]] {
        return false;
    }
    TREL_CAP_LOG_AT_CALLER(caller, kError, "%s NULL pointer, addr error!\n", name);
    return true;
}

inline bool is_bad_url(const Caller &caller, const char *url) {
    if (is_null(caller, "url", url)) {
        return true;
    }
    const size_t length = strlen(url);  // NOLINT(clang-analyzer-core.NonNullParamChecker): not NULL any more
    if (length <= TREL_CAP_URL_MAX) [[likely]] {
        return false;
    }
    TREL_CAP_LOG_AT_CALLER(caller, kError, "url len too long %zu!\n", length);
    return true;
}

// The client and the URL, with which every capability call that asks the store begins.
inline bool is_bad_target(const Caller &caller, const MomClient *global, const char *url) {
    return is_null(caller, "global", global) || is_bad_url(caller, url);
}

}  // namespace trel_cap
