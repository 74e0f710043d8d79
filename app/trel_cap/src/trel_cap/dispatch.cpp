// Calling the registered callbacks.
#include "trel_cap/dispatch.h"

#include "callback_list.h"
#include "card_class.h"
#include "log/log.h"

using namespace trel_cap;

namespace {

bool is_addressed(const Caller &caller, const CallbackList &list, const CapCallbackReg &reg, int32_t event) {
    if (!list.has_masks) {
        return true;
    }
    const uint32_t flag = static_cast<const CapClassCallbackReg &>(reg).flag;
    TREL_CAP_LOG_AS(caller, kProgress, "pos->flag:%d, event:%d", flag, event);
    return has_event(flag, event);
}

int32_t dispatch(const Caller &caller, const CallbackList &list, int32_t event, void *arg) {
    pthread_rwlock_rdlock(&callback_lock);
    for (const CallbackLink *pos = list.head.next; pos != &list.head; pos = pos->next) {
        const auto &reg = static_cast<const CapCallbackReg &>(*pos);
        if (is_addressed(caller, list, reg, event)) {
            const int32_t rv = reg.callback_handle(event, arg);
            TREL_CAP_LOG_AS(caller, kDetail, "rv:%d, name:%s", rv, reg.reg_name);
        }
    }
    return pthread_rwlock_unlock(&callback_lock);
}

}  // namespace

int32_t trel_cap_callback_hander(int32_t event, void *arg) {
    TREL_CAP_LOG(kProgress, "event:%d", event);
    return dispatch(TREL_CAP_CALLER, fe_callbacks, event, arg);
}

int32_t trel_cap_fab_callback_hander(int32_t event, void *arg) {
    return dispatch(TREL_CAP_CALLER, fab_callbacks, event, arg);
}

int32_t trel_cap_cm_callback_hander(int32_t event, void *arg) {
    return dispatch(TREL_CAP_CALLER, cm_callbacks, event, arg);
}

int32_t trel_cap_hps_callback_hander(int32_t event, void *arg) {
    return dispatch(TREL_CAP_CALLER, hps_callbacks, event, arg);
}

int32_t trel_cap_lc_and_hps_callback_hander(int32_t event, void *arg) {
    return dispatch(TREL_CAP_CALLER, lc_and_hps_callbacks, event, arg);
}
