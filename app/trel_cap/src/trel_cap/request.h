// Requests: records built on the stack, that point at the caller's URL. Nothing is allocated or copied.
#ifndef TREL_CAP_REQUEST_H
#define TREL_CAP_REQUEST_H

#include "trel_cap/records.h"

namespace trel_cap {

/* A record as its generated initialiser has it. */
template <typename Record>
Record initial();

template <>
inline CapTableIndex initial() {
    return CAP_TABLE_INDEX__INIT;
}
template <>
inline CapTable initial() {
    return CAP_TABLE__INIT;
}
template <>
inline CapGlbState initial() {
    return CAP_GLB_STATE__INIT;
}
template <>
inline CapHpsGlbState initial() {
    return CAP_HPS_GLB_STATE__INIT;
}
template <>
inline CapCmGlbState initial() {
    return CAP_CM_GLB_STATE__INIT;
}
template <>
inline CapFabGlbState initial() {
    return CAP_FAB_GLB_STATE__INIT;
}

/* A capability record with its index. It points into itself, so it stays where it is made. */
template <typename Record>
struct UrlRequest {
    explicit UrlRequest(const char *url) {
        index.url = const_cast<char *>(url);  // generated types know no const; requests are only read
        record.index = &index;
    }
    UrlRequest(const UrlRequest &) = delete;
    UrlRequest &operator=(const UrlRequest &) = delete;

    CapTableIndex index = initial<CapTableIndex>();
    Record record = initial<Record>();
};

}  // namespace trel_cap

#endif
