#include "record_read.h"

namespace trel_cap {

HashResult fetch_record(const Caller &caller, MomClient *global, const char *url, const ProtobufCMessage &request) {
    HashResult result(ox_mom_hgetall_sync(global, TREL_CAP_DB_CAPABILITIES, &request));
    if (result == nullptr) {
        TREL_CAP_LOG_AS(caller, kError, "url %s, result NULL", url);
        return nullptr;
    }
    if (result->error_code != 0) {
        TREL_CAP_LOG_AS(caller, kError, "url %s, result error_code %d", url, result->error_code);
        return nullptr;
    }
    return result;
}

}  // namespace trel_cap
