// The one subscriber of all capabilities: those of the device and of a card class.
#pragma once

#include "log/arguments.h"
#include "request.h"

namespace trel_cap {

// Hands fp to the client, which calls it itself; nothing is kept here. Without arg the client gets no list of them.
template <typename Record>
int32_t subscribe_value(const Caller &caller, MomClient *global, const char *url, int32_t field, MomFieldCb fp,
                        void *arg) {
    if (is_bad_target(caller, global, url) || is_null(caller, "fp", fp)) {
        return TREL_CAP_E_ARGUMENT;
    }
    const UrlRequest<Record> request(url);
    const int32_t rv = ox_mom_subscribe_field(global, TREL_CAP_DB_CAPABILITIES, &request.record.base, 1, &field, &fp,
                                              arg == nullptr ? nullptr : &arg, 1);
    if (rv != 0) {
        TREL_CAP_LOG_AS(caller, kError, "global %p, sub url %s leave, fp %p, arg %p failed rv %d",
                        static_cast<void *>(global), url, reinterpret_cast<void *>(fp), arg, rv);
        return rv;
    }
    TREL_CAP_LOG_AS(caller, kProgress, "global %p, sub url %s leave, fp %p arg %p", static_cast<void *>(global), url,
                    reinterpret_cast<void *>(fp), arg);
    return TREL_CAP_OK;
}

}  // namespace trel_cap
