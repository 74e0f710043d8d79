// Announcing the cards that are installed in advance: ready and installed, but not yet in real time.
#include "card_class.h"
#include "log/arguments.h"

using namespace trel_cap;

namespace {

template <typename Class>
int32_t notify(const Caller &caller, const CapNode *pos) {
    if (is_null(caller, "pos", pos)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "enter");
    const CapNodeRecord &record = pos->record;
    if (record.node_type != Class::kNodeType) {
        TREL_CAP_LOG_AS(caller, kProgress, Class::kOtherType, record.node, record.node_type);
        return TREL_CAP_OK;
    }
    if (record.ready != 0 && record.real_time == 0 && Class::calc_ready() != 0 && record.dm_install != 0) {
        CapNodeReady ready{static_cast<uint32_t>(record.node), 1};
        TREL_CAP_LOG_AS(caller, kProgress, Class::kNotifying, Class::kNodeEvent, ready.node, ready.node, ready.ready);
        Class::kDispatch(Class::kNodeEvent, &ready);
    }
    TREL_CAP_LOG_AS(caller, kDetail, "leave");
    return TREL_CAP_OK;
}

// Walks the node list, if all sources of the class have been read, the class is ready and its events are asked for.
template <typename Class>
int32_t announce(const Caller &caller) {
    if (Class::kAllValidated() == 0) {
        return TREL_CAP_OK;
    }
    TREL_CAP_LOG_AS(caller, kProgress, "all fe_ready info validate");
    if (Class::calc_ready() != 0 && is_wanted<Class>(Class::kAnnouncedWith)) {
        trel_cap_sw_node_walk_cur(Class::kNotifier, nullptr);
    }
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_notify_pre_install_node_ready(CapNode *pos, void * /*param*/) {
    return notify<LineCards>(TREL_CAP_CALLER, pos);
}

int32_t trel_cap_notify_pre_fab_install_node_ready(CapNode *pos, void * /*param*/) {
    return notify<FabricCards>(TREL_CAP_CALLER, pos);
}

int32_t trel_cap_notify_pre_cm_install_node_ready(CapNode *pos, void * /*param*/) {
    return notify<ControlModules>(TREL_CAP_CALLER, pos);
}

int32_t trel_cap_notify_pre_hps_install_node_ready(CapNode *pos, void * /*param*/) {
    return notify<HpsCards>(TREL_CAP_CALLER, pos);
}

int32_t trel_cap_notify_pre_install_node_pro() { return announce<LineCards>(TREL_CAP_CALLER); }

int32_t trel_cap_notify_pre_fab_install_node_pro() { return announce<FabricCards>(TREL_CAP_CALLER); }

int32_t trel_cap_notify_pre_cm_install_node_pro() { return announce<ControlModules>(TREL_CAP_CALLER); }

int32_t trel_cap_notify_pre_hps_install_node_pro() { return announce<HpsCards>(TREL_CAP_CALLER); }
