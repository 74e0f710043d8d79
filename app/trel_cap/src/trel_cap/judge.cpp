// Judging a node by its entries in the node list.
#include "log/arguments.h"
#include "trel_cap/dispatch.h"

using namespace trel_cap;

namespace {

bool is_fully_ready(const CapNodeRecord &record) {
    return record.ready != 0 && record.real_time != 0 && record.dm_install != 0 && record.app_df_chk != 0 &&
           record.cns == 0;
}

bool is_in_advance(const CapNodeRecord &record) { return record.real_time == 0; }

/* Sets the `ready` of the CapNodeReady in param when the entry is one of its node and the condition holds. */
template <typename Condition>
int32_t judge(Caller caller, const CapNode *pos, void *param, Condition condition) {
    if (is_null(caller, "pos", pos) || is_null(caller, "param", param)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "enter");
    auto &judged = *static_cast<CapNodeReady *>(param);
    if (static_cast<uint32_t>(pos->record.node) != judged.node) {
        return TREL_CAP_OK;
    }
    if (condition(pos->record)) {
        judged.ready = 1;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "leave");
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_judge_node_ready(CapNode *pos, void *param) {
    return judge(TREL_CAP_CALLER, pos, param, is_fully_ready);
}

int32_t trel_cap_judge_node_real_time(CapNode *pos, void *param) {
    return judge(TREL_CAP_CALLER, pos, param, is_in_advance);
}

int32_t trel_cap_is_preinstall_card(int32_t node) {
    CapNodeReady in_advance{static_cast<uint32_t>(node), 0};
    trel_cap_sw_node_walk_cur(trel_cap_judge_node_real_time, &in_advance);
    if (in_advance.ready != 0) {
        TREL_CAP_LOG(kProgress, "this card is pre_install");
    }
    return in_advance.ready;
}
