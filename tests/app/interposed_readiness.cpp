// Functions in front of the library's own that follow readiness, and of the locks.

#include <pthread.h>

#include "interposed.h"
#include "trel_cap/trel_cap.h"

using interposed::answer_to;
using interposed::behind;
using interposed::note;

#define BEHIND(function) behind(&(function), #function)

extern "C" {

int32_t trel_cap_sw_init() {
    answer_to("trel_cap_sw_init");
    return BEHIND(trel_cap_sw_init)();
}

CapNode *trel_cap_sw_node_init(CapNodeRecord record, CapNodeList *list) {
    answer_to("trel_cap_sw_node_init");
    note(list);
    return BEHIND(trel_cap_sw_node_init)(record, list);
}

CapNode *trel_cap_sw_node_and_type_search(int32_t node, int32_t config_dev_type) {
    answer_to("trel_cap_sw_node_and_type_search");
    return BEHIND(trel_cap_sw_node_and_type_search)(node, config_dev_type);
}

void trel_cap_sw_node_walk_cur(CapNodeVisitor visitor, void *argument) {
    answer_to("trel_cap_sw_node_walk_cur");
    BEHIND(trel_cap_sw_node_walk_cur)(visitor, argument);
}

void trel_cap_sw_dump_node(CapNodeRecord record) {
    answer_to("trel_cap_sw_dump_node");
    BEHIND(trel_cap_sw_dump_node)(record);
}

int32_t trel_cap_sw_dump_node_with_printf(CapNodeRecord record) {
    answer_to("trel_cap_sw_dump_node_with_printf");
    return BEHIND(trel_cap_sw_dump_node_with_printf)(record);
}

int32_t trel_cap_judge_node_real_time(CapNode *pos, void *param) {
    answer_to("trel_cap_judge_node_real_time");
    return BEHIND(trel_cap_judge_node_real_time)(pos, param);
}

int32_t trel_cap_sub(MomClient *global) {
    const auto answer = answer_to("trel_cap_sub");
    note(global);
    return answer.has_value() ? *answer : BEHIND(trel_cap_sub)(global);
}

void trel_cap_fe_ready_clear_all_validated_flag() {
    answer_to("trel_cap_fe_ready_clear_all_validated_flag");
    BEHIND(trel_cap_fe_ready_clear_all_validated_flag)();
}

int32_t trel_cap_callback_hander(int32_t event, void *arg) {
    answer_to("trel_cap_callback_hander");
    return BEHIND(trel_cap_callback_hander)(event, arg);
}

int32_t trel_cap_fab_callback_hander(int32_t event, void *arg) {
    answer_to("trel_cap_fab_callback_hander");
    return BEHIND(trel_cap_fab_callback_hander)(event, arg);
}

int32_t trel_cap_cm_callback_hander(int32_t event, void *arg) {
    answer_to("trel_cap_cm_callback_hander");
    return BEHIND(trel_cap_cm_callback_hander)(event, arg);
}

int32_t trel_cap_hps_callback_hander(int32_t event, void *arg) {
    answer_to("trel_cap_hps_callback_hander");
    return BEHIND(trel_cap_hps_callback_hander)(event, arg);
}

int32_t trel_cap_lc_and_hps_callback_hander(int32_t event, void *arg) {
    answer_to("trel_cap_lc_and_hps_callback_hander");
    return BEHIND(trel_cap_lc_and_hps_callback_hander)(event, arg);
}

int pthread_rwlock_rdlock(pthread_rwlock_t *lock) noexcept {
    answer_to("pthread_rwlock_rdlock");
    note(lock);
    return BEHIND(pthread_rwlock_rdlock)(lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t *lock) noexcept {
    answer_to("pthread_rwlock_wrlock");
    note(lock);
    return BEHIND(pthread_rwlock_wrlock)(lock);
}

int pthread_rwlock_unlock(pthread_rwlock_t *lock) noexcept {
    const auto answer = answer_to("pthread_rwlock_unlock");
    note(lock);
    const int status = BEHIND(pthread_rwlock_unlock)(lock);
    return answer.value_or(status);
}
}
