#include "delivery.h"

namespace trel_cap {

int32_t check_delivery(const Caller &caller, const MomHashResult *result) {
    if (result == nullptr) {
        TREL_CAP_LOG_AS(caller, kError, "result NULL");
        return TREL_CAP_E_NO_ANSWER;
    }
    if (result->error_code != 0) {
        TREL_CAP_LOG_AS(caller, kError, "result error_code %d", result->error_code);
        return TREL_CAP_E_NO_ANSWER;
    }
    return TREL_CAP_OK;
}

}  // namespace trel_cap
