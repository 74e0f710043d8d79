// Functions in front of the dumps, of the registration with the console, and of the setters that commands call.

#include "interposed.h"
#include "trel_cap/trel_cap.h"

using interposed::answer_to;
using interposed::behind;
using interposed::note;
using interposed::script;

#define BEHIND(function) behind(&function, #function)

extern "C" {

int32_t trel_cap_ce_set_g_cap_bool(MomClient *global, const char *url, int32_t value) {
    const auto answer = answer_to("trel_cap_ce_set_g_cap_bool");
    note(global, url);
    script().log_levels.push_back(value);
    return answer.has_value() ? *answer : BEHIND(trel_cap_ce_set_g_cap_bool)(global, url, value);
}

int32_t trel_cap_ce_set_g_cap_int32(MomClient *global, const char *url, int32_t value) {
    const auto answer = answer_to("trel_cap_ce_set_g_cap_int32");
    note(global, url);
    script().log_levels.push_back(value);
    return answer.has_value() ? *answer : BEHIND(trel_cap_ce_set_g_cap_int32)(global, url, value);
}

int32_t trel_cap_quib_init(MomClient *global, const char *app_name) {
    const auto answer = answer_to("trel_cap_quib_init");
    note(global);
    script().zlog_init_name = app_name;
    return answer.has_value() ? *answer : BEHIND(trel_cap_quib_init)(global, app_name);
}

int32_t trel_cap_dbg_dump_status() {
    const auto answer = answer_to("trel_cap_dbg_dump_status");
    return answer.has_value() ? *answer : BEHIND(trel_cap_dbg_dump_status)();
}

void trel_cap_sw_dump_all_node() {
    answer_to("trel_cap_sw_dump_all_node");
    BEHIND(trel_cap_sw_dump_all_node)();
}

int32_t trel_cap_dbg_show_memory() {
    const auto answer = answer_to("trel_cap_dbg_show_memory");
    return answer.has_value() ? *answer : BEHIND(trel_cap_dbg_show_memory)();
}

int32_t trel_cap_calc_node_list_mem(CapNode *pos, void *param) {
    const auto answer = answer_to("trel_cap_calc_node_list_mem");
    return answer.has_value() ? *answer : BEHIND(trel_cap_calc_node_list_mem)(pos, param);
}

int32_t trel_cap_dbg_dump_all() {
    const auto answer = answer_to("trel_cap_dbg_dump_all");
    return answer.has_value() ? *answer : BEHIND(trel_cap_dbg_dump_all)();
}
}
