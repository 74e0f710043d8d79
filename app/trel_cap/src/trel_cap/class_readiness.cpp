// Following the readiness of the device and of the card classes.
#include "card_class.h"
#include "delivery.h"
#include "repeat.h"
#include "trel_cap/readiness.h"
#include "trel_cap/records.h"

using namespace trel_cap;

namespace {

/*
 * Where the classes differ: the record and the query that read their state, their messages, whether cards installed in
 * advance are announced before the class event is sent or after it, and whether the class feeds the event of line cards
 * and HPS cards together.
 */
struct DeviceState : LineCards {
    using Record = CapGlbState;
    static constexpr auto kQuery = trel_cap_ce_get_glb_ready;
    static constexpr auto kAnnounce = trel_cap_notify_pre_install_node_pro;
    static constexpr bool kAnnouncesFirst = true;
    static constexpr bool kFeedsCombinedEvent = true;
    static constexpr char kSubscribed[] = "subscribe ok, calc_ready %d";
    static constexpr char kQueried[] = "subscribe ok, calc_ready %d, g_trel_cap_flag %d";
    static constexpr char kOld[] = "old, calc_ready %d";
    static constexpr char kNew[] = "hset, calc_ready %d ";
    static uint8_t &validated() { return g_trel_cap_glb_ready_validated; }
};

struct FabricState : FabricCards {
    using Record = CapFabGlbState;
    static constexpr auto kQuery = trel_cap_ce_get_fab_glb_ready;
    static constexpr auto kAnnounce = trel_cap_notify_pre_fab_install_node_pro;
    static constexpr bool kAnnouncesFirst = false;
    static constexpr bool kFeedsCombinedEvent = false;
    static constexpr char kSubscribed[] = "subscribe ok, fab_cap_calc_ready %d";
    static constexpr char kQueried[] = "subscribe ok, fab_cap_calc_ready %d, g_trel_fab_cap_flag %d";
    static constexpr char kOld[] = "old, fab_cap_calc_ready %d";
    static constexpr char kNew[] = "hset, fab_cap_calc_ready %d ";
    static uint8_t &validated() { return g_trel_cap_fab_glb_ready_validated; }
};

struct ControlModuleState : ControlModules {
    using Record = CapCmGlbState;
    static constexpr auto kQuery = trel_cap_ce_get_cm_glb_ready;
    static constexpr auto kAnnounce = trel_cap_notify_pre_cm_install_node_pro;
    static constexpr bool kAnnouncesFirst = false;
    static constexpr bool kFeedsCombinedEvent = false;
    static constexpr char kSubscribed[] = "subscribe ok, cm_cap_calc_ready %d";
    static constexpr char kQueried[] = "subscribe ok, cm_cap_calc_ready %d, g_trel_cm_cap_flag %d";
    static constexpr char kOld[] = "old, cm_cap_calc_ready %d";
    static constexpr char kNew[] = "hset, cm_cap_calc_ready %d ";
    static uint8_t &validated() { return g_trel_cap_cm_glb_ready_validated; }
};

struct HpsState : HpsCards {
    using Record = CapHpsGlbState;
    static constexpr auto kQuery = trel_cap_ce_get_hps_glb_ready;
    static constexpr auto kAnnounce = trel_cap_notify_pre_hps_install_node_pro;
    static constexpr bool kAnnouncesFirst = false;
    static constexpr bool kFeedsCombinedEvent = true;
    static constexpr char kSubscribed[] = "subscribe ok, hps_cap_calc_ready %d";
    static constexpr char kQueried[] = "subscribe ok, hps_cap_calc_ready %d, g_trel_hps_cap_flag %d";
    static constexpr char kOld[] = "old, hps_cap_calc_ready %d";
    static constexpr char kNew[] = "hset, hps_cap_calc_ready %d ";
    static uint8_t &validated() { return g_trel_cap_hps_glb_ready_validated; }
};

void send_event(const Caller &caller, int32_t event, int32_t (*dispatch)(int32_t, void *)) {
    TREL_CAP_LOG_AS(caller, kProgress, "trel_cap_callback_hander, event %d", event);
    dispatch(event, nullptr);
}

/* A callback may run the client's loop, and the class be unready when it returns: the second event looks again. */
template <typename State>
void send_class_events(const Caller &caller) {
    if (State::calc_ready() != 0 && is_wanted<State>(State::kClassEvent)) {
        send_event(caller, State::kClassEvent, State::kDispatch);
    }
    if (State::kFeedsCombinedEvent && State::calc_ready() != 0 &&
        has_event(g_trel_lc_and_hps_cap_flag, TREL_CAP_EVENT_LC_AND_HPS)) {
        send_event(caller, TREL_CAP_EVENT_LC_AND_HPS, trel_cap_lc_and_hps_callback_hander);
    }
}

/* What follows whenever the state is told. The device's own flag is set in time for its announcement. */
template <typename State>
void settle(const Caller &caller, bool is_confirmation) {
    if (!State::kAnnouncesFirst) {
        send_class_events<State>(caller);
    }
    if (is_confirmation) {
        State::validated() = 1;
    }
    State::kAnnounce();
    if (State::kAnnouncesFirst) {
        send_class_events<State>(caller);
    }
}

template <typename State>
int32_t state_subscribed(const Caller &caller, MomClient *client) {
    TREL_CAP_LOG_AS(caller, kProgress, State::kSubscribed, State::calc_ready());
    uint8_t ready = 0;
    const auto query = [&] { return State::kQuery(client, &ready); };
    if (query() != 0) {
        return repeat_failed(caller, query);
    }
    State::calc_ready() = ready;
    TREL_CAP_LOG_AS(caller, kProgress, State::kQueried, ready, State::flags());
    settle<State>(caller, true);
    return TREL_CAP_OK;
}

template <typename State>
int32_t state_written(const Caller &caller, const MomMsg &msg) {
    TREL_CAP_LOG_AS(caller, kProgress, State::kOld, State::calc_ready());
    const auto *const record = static_cast<const typename State::Record *>(msg.result);
    if (record == nullptr) {
        TREL_CAP_LOG_AS(caller, kProgress, "tmp_state is NULL, just set ready false");
    } else {
        TREL_CAP_LOG_AS(caller, kProgress, "ready is %d", record->ready);
    }
    State::calc_ready() = record != nullptr && record->ready != 0 ? 1 : 0;
    TREL_CAP_LOG_AS(caller, kProgress, State::kNew, State::calc_ready());
    settle<State>(caller, false);
    return TREL_CAP_OK;
}

template <typename State>
int32_t process_state(const Caller &caller, MomClient *client, const MomMsg *pmsg) {
    if (is_null(caller, "pmsg", pmsg)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "enter");
    switch (pmsg->cmd) {
        case OX_MOM_CMD_SUBSCRIBED:
            return state_subscribed<State>(caller, client);
        case OX_MOM_CMD_WRITTEN:
            return state_written<State>(caller, *pmsg);
        default:
            log_command(caller, *pmsg);
            return TREL_CAP_OK;
    }
}

}  // namespace

int32_t trel_cap_ce_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_state<DeviceState>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_ce_fab_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_state<FabricState>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_ce_cm_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_state<ControlModuleState>(TREL_CAP_CALLER, client, pmsg);
}

int32_t trel_cap_ce_hps_glb_ready_pmsg_f(MomClient *client, MomMsg *pmsg) {
    return process_state<HpsState>(TREL_CAP_CALLER, client, pmsg);
}
