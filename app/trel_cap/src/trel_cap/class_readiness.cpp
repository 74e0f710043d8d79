// Following the readiness of the device and of the card classes.
#include "card_class.h"
#include "repeat.h"

using namespace trel_cap;

namespace {

void send_event(const Caller &caller, int32_t event, int32_t (*dispatch)(int32_t, void *)) {
    TREL_CAP_LOG_AS(caller, kProgress, "trel_cap_callback_hander, event %d", event);
    dispatch(event, nullptr);
}

// A callback may run the client's loop, and the class be unready when it returns: the second event looks again.
template <typename Class>
void send_class_events(const Caller &caller) {
    if (Class::calc_ready() != 0 && is_wanted<Class>(Class::kClassEvent)) {
        send_event(caller, Class::kClassEvent, Class::kDispatch);
    }
    if (Class::kFeedsCombinedEvent && Class::calc_ready() != 0 &&
        has_event(g_trel_lc_and_hps_cap_flag, TREL_CAP_EVENT_LC_AND_HPS)) {
        send_event(caller, TREL_CAP_EVENT_LC_AND_HPS, trel_cap_lc_and_hps_callback_hander);
    }
}

// The steps that follow whenever the state is told. The device's own flag is set in time for its announcement.
template <typename Class>
void settle(const Caller &caller, bool is_confirmation) {
    if (!Class::kAnnouncesFirst) {
        send_class_events<Class>(caller);
    }
    if (is_confirmation) {
        Class::state_validated() = 1;
    }
    Class::kAnnounce();
    if (Class::kAnnouncesFirst) {
        send_class_events<Class>(caller);
    }
}

template <typename Class>
int32_t state_subscribed(const Caller &caller, MomClient *client) {
    TREL_CAP_LOG_AS(caller, kProgress, Class::kSubscribed, Class::calc_ready());
    uint8_t ready = 0;
    const auto query = [&] { return Class::kQuery(client, &ready); };
    if (query() != 0) {
        return repeat_failed(caller, query);
    }
    Class::calc_ready() = ready;
    TREL_CAP_LOG_AS(caller, kProgress, Class::kQueried, ready, Class::flags());
    settle<Class>(caller, true);
    return TREL_CAP_OK;
}

template <typename Class>
int32_t state_written(const Caller &caller, const MomMsg &msg) {
    TREL_CAP_LOG_AS(caller, kProgress, Class::kOld, Class::calc_ready());
    const auto *const record = static_cast<const typename Class::State *>(msg.result);
    if (record == nullptr) {
        TREL_CAP_LOG_AS(caller, kProgress, "tmp_state is NULL, just set ready false");
    } else {
        TREL_CAP_LOG_AS(caller, kProgress, "ready is %d", record->ready);
    }
    Class::calc_ready() = record != nullptr && record->ready != 0 ? 1 : 0;
    TREL_CAP_LOG_AS(caller, kProgress, Class::kNew, Class::calc_ready());
    settle<Class>(caller, false);
    return TREL_CAP_OK;
}

template <typename Class>
int32_t process_state(const Caller &caller, MomClient *client, const MomMsg *pmsg) {
    if (is_null(caller, "pmsg", pmsg)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "enter");
    switch (pmsg->cmd) {
        case OX_MOM_CMD_SUBSCRIBED:
            return state_subscribed<Class>(caller, client);
        case OX_MOM_CMD_WRITTEN:
            return state_written<Class>(caller, *pmsg);
        default:
            log_command(caller, *pmsg);
            return TREL_CAP_OK;
    }
}

}  // namespace

int32_t trel_cap_ce_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_state<LineCards>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_ce_fab_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_state<FabricCards>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_ce_cm_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_state<ControlModules>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_ce_hps_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_state<HpsCards>(TREL_CAP_CALLER, client, pmsg);
}
