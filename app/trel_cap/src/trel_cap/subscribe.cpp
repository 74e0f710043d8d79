// Subscribing the records that the events asked for need, each with its processor.
#include "log/arguments.h"
#include "repeat.h"
#include "request.h"
#include "trel_cap/processors.h"
#include "trel_cap/registration.h"

using namespace trel_cap;

// The numbers are the store's and the applications', too; a platform with others would be followed in silence.
static_assert(OX_MOM_CMD_WRITTEN == 1 && OX_MOM_CMD_DELETED == 3 && OX_MOM_CMD_DELIVERED == 4 &&
              OX_MOM_CMD_SUBSCRIBED == 29);

namespace {

// Events asked for, as bits: of line cards and the device, of fabric and control modules, of HPS, of both together.
struct Flags {
    uint32_t fe;
    uint32_t fab_cm;
    uint32_t hps;
    uint32_t lc_and_hps;
};

constexpr bool overlap(const Flags &a, const Flags &b) {
    return ((a.fe & b.fe) | (a.fab_cm & b.fab_cm) | (a.hps & b.hps) | (a.lc_and_hps & b.lc_and_hps)) != 0;
}

template <typename Record>
int32_t subscribe(MomClient *global, int32_t db, MomMsgCb processor) {
    const TypeRequest<Record> request;
    return ox_mom_subscribe(global, db, &request.record.base, 0, processor, nullptr);
}

// A record type, and the events of which any one needs it.
struct Step {
    Flags needed_by;
    int32_t db;
    int32_t (*subscribe)(MomClient *global, int32_t db, MomMsgCb processor);
    MomMsgCb processor;
};

constexpr uint32_t kSystem = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_SYSTEM);
constexpr uint32_t kFeNode = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE);
constexpr uint32_t kCm = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_CM);
constexpr uint32_t kFab = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FAB);
constexpr uint32_t kFabNode = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FAB_NODE);
constexpr uint32_t kCmNode = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_CM_NODE);
constexpr uint32_t kHpsNode = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_HPS_NODE);
constexpr uint32_t kHps = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_HPS);
constexpr uint32_t kLcAndHps = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_LC_AND_HPS);

constexpr int32_t kCards = TREL_CAP_DB_CARDS;
constexpr int32_t kCapabilities = TREL_CAP_DB_CAPABILITIES;

constexpr Flags kAnyNode{kFeNode, kFabNode | kCmNode, kHpsNode, 0};

// In the order in which they are made. Three classes read the same records of node readiness, each for itself.
constexpr Step kSteps[] = {
    {kAnyNode, kCapabilities, subscribe<AppDfCardDenyCheckResult>, trel_cap_app_df_pmsg_f},
    {kAnyNode, kCards, subscribe<CardInfo>, trel_cap_install_node_pmsg_f},
    {{kFeNode, 0, 0, 0}, kCapabilities, subscribe<CapFeReady>, trel_cap_fe_node_pmsg_f},
    {{0, kCmNode, 0, 0}, kCapabilities, subscribe<CapCmReady>, trel_cap_cm_node_pmsg_f},
    {{0, kFabNode, 0, 0}, kCapabilities, subscribe<CapFeReady>, trel_cap_fab_node_pmsg_f},
    {{0, 0, kHpsNode, 0}, kCapabilities, subscribe<CapFeReady>, trel_cap_hps_node_pmsg_f},
    {{kSystem | kFeNode, 0, 0, kLcAndHps}, kCapabilities, subscribe<CapGlbState>, trel_cap_ce_glb_ready_pmsg_f},
    {{0, kCm | kCmNode, 0, 0}, kCapabilities, subscribe<CapCmGlbState>, trel_cap_ce_cm_glb_ready_pmsg_f},
    {{0, kFab | kFabNode, 0, 0}, kCapabilities, subscribe<CapFabGlbState>, trel_cap_ce_fab_glb_ready_pmsg_f},
    {{0, 0, kHpsNode | kHps, kLcAndHps}, kCapabilities, subscribe<CapHpsGlbState>, trel_cap_ce_hps_glb_ready_pmsg_f},
};

}  // namespace

int32_t trel_cap_sub(MomClient *global) {
    if (is_null(TREL_CAP_CALLER, "global", global)) {
        return TREL_CAP_E_ARGUMENT;
    }
    const Flags wanted{g_trel_cap_flag, g_trel_fab_cm_cap_flag, g_trel_hps_cap_flag, g_trel_lc_and_hps_cap_flag};
    for (const Step &step : kSteps) {
        if (!overlap(wanted, step.needed_by)) {
            continue;
        }
        const auto attempt = [&] { return step.subscribe(global, step.db, step.processor); };
        if (attempt() != 0) {
            return repeat_failed(TREL_CAP_CALLER, attempt);
        }
    }
    return TREL_CAP_OK;
}
