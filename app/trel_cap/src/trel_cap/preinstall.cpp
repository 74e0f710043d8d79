// Announcing the cards that are installed in advance: ready and installed, but not yet in real time.
#include "card_class.h"
#include "log/arguments.h"

using namespace trel_cap;

namespace {

/* The messages of the notifiers: an entry of another type is passed over, an event is sent. */
struct LineCardNotice : LineCards {
    static constexpr char kOtherType[] = "node lc node %d node_type %d";
    static constexpr char kSending[] = "trel_cap_callback_hander, event %d, node %d|0x%x, ready %d";
};

struct FabricNotice : FabricCards {
    static constexpr char kOtherType[] = "node fab node %d node_type %d";
    static constexpr char kSending[] = "trel_cap_fab_callback_hander, event %d, node %d|0x%x, ready %d";
};

struct ControlModuleNotice : ControlModules {
    static constexpr char kOtherType[] = "node cm node %d node_type %d";
    static constexpr char kSending[] = "trel_cap_cm_callback_hander, event %d, node %d|0x%x, ready %d";
};

/* Worded as for line cards, which those who read the logs know. */
struct HpsNotice : HpsCards {
    static constexpr char kOtherType[] = "node lc node %d node_type %d";
    static constexpr char kSending[] = "trel_cap_callback_hander, event %d, node %d|0x%x, ready %d";
};

template <typename Notice>
int32_t notify(const Caller &caller, const CapNode *pos) {
    if (is_null(caller, "pos", pos)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "enter");
    const CapNodeRecord &record = pos->record;
    if (record.node_type != Notice::kNodeType) {
        TREL_CAP_LOG_AS(caller, kProgress, Notice::kOtherType, record.node, record.node_type);
        return TREL_CAP_OK;
    }
    if (record.ready != 0 && record.real_time == 0 && Notice::calc_ready() != 0 && record.dm_install != 0) {
        CapNodeReady ready{static_cast<uint32_t>(record.node), 1};
        TREL_CAP_LOG_AS(caller, kProgress, Notice::kSending, Notice::kNodeEvent, ready.node, ready.node, ready.ready);
        Notice::kDispatch(Notice::kNodeEvent, &ready);
    }
    TREL_CAP_LOG_AS(caller, kDetail, "leave");
    return TREL_CAP_OK;
}

/* Walks the node list, if all sources of the class have been read, the class is ready and its events are asked for. */
int32_t announce(const Caller &caller, bool all_read, bool is_ready, bool asked_for, CapNodeVisitor notifier) {
    if (!all_read) {
        return TREL_CAP_OK;
    }
    TREL_CAP_LOG_AS(caller, kProgress, "all fe_ready info validate");
    if (is_ready && asked_for) {
        trel_cap_sw_node_walk_cur(notifier, nullptr);
    }
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_notify_pre_install_node_ready(CapNode *pos, void * /*param*/) {
    return notify<LineCardNotice>(TREL_CAP_CALLER, pos);
}

int32_t trel_cap_notify_pre_fab_install_node_ready(CapNode *pos, void * /*param*/) {
    return notify<FabricNotice>(TREL_CAP_CALLER, pos);
}

int32_t trel_cap_notify_pre_cm_install_node_ready(CapNode *pos, void * /*param*/) {
    return notify<ControlModuleNotice>(TREL_CAP_CALLER, pos);
}

int32_t trel_cap_notify_pre_hps_install_node_ready(CapNode *pos, void * /*param*/) {
    return notify<HpsNotice>(TREL_CAP_CALLER, pos);
}

int32_t trel_cap_notify_pre_install_node_pro() {
    return announce(TREL_CAP_CALLER, trel_cap_fe_ready_is_all_validated() != 0, g_trel_g_cap_calc_ready != 0,
                    is_wanted<LineCards>(TREL_CAP_EVENT_FE_NODE), trel_cap_notify_pre_install_node_ready);
}

/* It is the control modules' node event that opens the fabric's walk: applications have come to depend on it. */
int32_t trel_cap_notify_pre_fab_install_node_pro() {
    return announce(TREL_CAP_CALLER, trel_cap_fab_ready_is_all_validated() != 0, g_trel_g_fab_cap_calc_ready != 0,
                    is_wanted<FabricCards>(TREL_CAP_EVENT_CM_NODE), trel_cap_notify_pre_fab_install_node_ready);
}

int32_t trel_cap_notify_pre_cm_install_node_pro() {
    return announce(TREL_CAP_CALLER, trel_cap_cm_ready_is_all_validated() != 0, g_trel_g_cm_cap_calc_ready != 0,
                    is_wanted<ControlModules>(TREL_CAP_EVENT_CM_NODE), trel_cap_notify_pre_cm_install_node_ready);
}

int32_t trel_cap_notify_pre_hps_install_node_pro() {
    return announce(TREL_CAP_CALLER, trel_cap_hps_ready_is_all_validated() != 0, g_trel_g_hps_cap_calc_ready != 0,
                    is_wanted<HpsCards>(TREL_CAP_EVENT_HPS_NODE), trel_cap_notify_pre_hps_install_node_ready);
}
