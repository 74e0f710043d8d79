// Judging a node by its entries in the node list.
#include "judge.h"

#include "log/arguments.h"
#include "trel_cap/node_judge.h"
#include "trel_cap_sw/node_walk.h"
#include "trel_cap_sw/own_functions.h"

using namespace trel_cap;

namespace {

bool is_fully_ready(const CapNodeRecord &record) {
    return record.ready != 0 && record.real_time != 0 && record.dm_install != 0 && record.app_df_chk != 0 &&
           record.cns == 0;
}

bool is_in_advance(const CapNodeRecord &record) { return record.real_time == 0; }

// Sets the `ready` of what is judged when the condition holds. Answers whether the entry is one of its node at all.
template <bool (*kCondition)(const CapNodeRecord &)>
bool apply(const CapNodeRecord &record, CapNodeReady &judged) {
    if (static_cast<uint32_t>(record.node) != judged.node) {
        return false;
    }
    if (kCondition(record)) {
        judged.ready = 1;
    }
    return true;
}

template <bool (*kCondition)(const CapNodeRecord &)>
[[gnu::cold, gnu::noinline]] int32_t judge_and_log(const Caller &caller, const CapNode *pos, void *param) {
    if (is_null(caller, "pos", pos) || is_null(caller, "param", param)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG_AS(caller, kDetail, "enter");
    if (apply<kCondition>(pos->record, *static_cast<CapNodeReady *>(param))) {
        TREL_CAP_LOG_AS(caller, kDetail, "leave");
    }
    return TREL_CAP_OK;
}

// A walk judges every entry there is, nearly all of them other nodes': that path has nothing but the comparison.
template <bool (*kCondition)(const CapNodeRecord &)>
int32_t judge(const Caller &caller, const CapNode *pos, void *param) {
    if (pos == nullptr || param == nullptr || gate_is_open(kDetail)) [[unlikely]] {
        return judge_and_log<kCondition>(caller, pos, param);
    }
    apply<kCondition>(pos->record, *static_cast<CapNodeReady *>(param));
    return TREL_CAP_OK;
}

// The judge's answer after a walk over the list. It minds the entries of one node, so where nobody can tell the
// difference it is given no others: with many nodes, to walk over all would cost more than everything else.
uint8_t judged(CapNodeVisitor judge, CapNodeVisitor own_judge, int32_t node, uint8_t from) {
    CapNodeReady asked{static_cast<uint32_t>(node), from};
    if (judge == own_judge && !walks_are_noticed()) [[likely]] {
        visit_node(node, judge, &asked);
    } else {
        trel_cap_sw_node_walk_cur(judge, &asked);
    }
    return asked.ready;
}

}  // namespace

extern "C" {
[[gnu::alias("trel_cap_judge_node_ready")]] int32_t trel_cap_own_judge_node_ready(CapNode *pos, void *param);
[[gnu::alias("trel_cap_judge_node_real_time")]] int32_t trel_cap_own_judge_node_real_time(CapNode *pos, void *param);
}

int32_t trel_cap_judge_node_ready(CapNode *pos, void *param) {
    return judge<is_fully_ready>(TREL_CAP_CALLER, pos, param);
}

int32_t trel_cap_judge_node_real_time(CapNode *pos, void *param) {
    return judge<is_in_advance>(TREL_CAP_CALLER, pos, param);
}

int32_t trel_cap_is_preinstall_card(int32_t node) {
    const uint8_t in_advance = judged(trel_cap_judge_node_real_time, trel_cap_own_judge_node_real_time, node, 0);
    if (in_advance != 0) {
        TREL_CAP_LOG(kProgress, "this card is pre_install");
    }
    return in_advance;
}

bool trel_cap::is_judged_ready(int32_t node, uint8_t from) {
    return judged(trel_cap_judge_node_ready, trel_cap_own_judge_node_ready, node, from) != 0;
}
