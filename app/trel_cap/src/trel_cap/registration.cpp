// Registering the applications' callbacks.
#include "trel_cap/registration.h"

#include <cstring>

#include "callback_list.h"
#include "log/arguments.h"
#include "thread_logging.h"
#include "trel_cap_sw/allocate.h"

using namespace trel_cap;

namespace {

constexpr size_t kNameMax = 100;

struct Request {
    const char *name;
    CapEventCb callback;
    uint32_t flag;
};

// A name is compared in full, although only its beginning is kept.
bool is_registered(const CallbackList &list, const char *name) {
    for (const CallbackLink *pos = list.head.next; pos != &list.head; pos = pos->next) {
        if (strcmp(static_cast<const CapCallbackReg *>(pos)->reg_name, name) == 0) {
            return true;
        }
    }
    return false;
}

CapCallbackReg *allocate_for(const CallbackList &list, uint32_t flag) {
    if (!list.has_masks) {
        return allocate<CapCallbackReg>();
    }
    auto *const reg = allocate<CapClassCallbackReg>();
    if (reg != nullptr) {
        reg->flag = flag;
    }
    return reg;
}

// The bytes that a registration counts for. The padding that a 64-bit machine puts behind the mask is not counted.
int32_t counted_size(const CallbackList &list) {
    return static_cast<int32_t>(sizeof(CapCallbackReg) + (list.has_masks ? sizeof(CapClassCallbackReg::flag) : 0));
}

bool append(CallbackList &list, const Request &request) {
    CapCallbackReg *const reg = allocate_for(list, request.flag);
    if (reg == nullptr) {
        return false;
    }
    g_trel_callback_reg_mem += counted_size(list);
    memcpy(reg->reg_name, request.name, strnlen(request.name, kNameMax));
    reg->callback_handle = request.callback;

    reg->next = &list.head;
    reg->prev = list.head.prev;
    list.head.prev->next = reg;
    list.head.prev = reg;
    return true;
}

// thread_flag is the flag word of the calling thread.
int32_t register_callback(const Caller &caller, CallbackList &list, uint32_t &thread_flag, const Request &request) {
    if (is_null(caller, "reg_name", request.name) || is_null(caller, "callback_handle", request.callback)) {
        return TREL_CAP_E_ARGUMENT;
    }
    start_thread_logging();
    TREL_CAP_LOG_AS(caller, kDetail, "reg_name:%s, callback_handle:%p, flag %d", request.name,
                    reinterpret_cast<void *>(request.callback), request.flag);
    thread_flag = list.has_masks ? thread_flag | request.flag : request.flag;

    pthread_rwlock_wrlock(&callback_lock);
    TREL_CAP_LOG_AS(caller, kDetail, "lock succ");
    const bool is_new = !is_registered(list, request.name);
    const bool is_added = is_new && append(list, request);
    if (is_new && !is_added) {
        TREL_CAP_LOG_AS(caller, kError, "NO MEM");
    }
    TREL_CAP_LOG_AS(caller, kDetail, "unlock");
    pthread_rwlock_unlock(&callback_lock);

    if (!is_new) {
        return TREL_CAP_OK;
    }
    if (!is_added) {
        return TREL_CAP_E_MEMORY;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "leave");
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag) {
    return register_callback(TREL_CAP_CALLER, fe_callbacks, g_trel_cap_flag, {reg_name, callback_handle, flag});
}

int32_t trel_cap_fab_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag) {
    return register_callback(TREL_CAP_CALLER, fab_callbacks, g_trel_fab_cm_cap_flag, {reg_name, callback_handle, flag});
}

int32_t trel_cap_cm_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag) {
    return register_callback(TREL_CAP_CALLER, cm_callbacks, g_trel_fab_cm_cap_flag, {reg_name, callback_handle, flag});
}

int32_t trel_cap_hps_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag) {
    return register_callback(TREL_CAP_CALLER, hps_callbacks, g_trel_hps_cap_flag, {reg_name, callback_handle, flag});
}

int32_t trel_cap_lc_and_hps_event_callback_reg(const char *reg_name, CapEventCb callback_handle, uint32_t flag) {
    return register_callback(TREL_CAP_CALLER, lc_and_hps_callbacks, g_trel_lc_and_hps_cap_flag,
                             {reg_name, callback_handle, flag});
}
