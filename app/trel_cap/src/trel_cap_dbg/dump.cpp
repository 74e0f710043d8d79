// Printing a thread's state on standard output.
#include <cstdio>

#include "log/arguments.h"
#include "trel_cap/diagnosis.h"
#include "trel_cap/init.h"
#include "trel_cap/processors.h"
#include "trel_cap/registration.h"

using namespace trel_cap;

namespace {

// Operators compare these between devices and releases: fixed figures, whatever the structs measure here.
constexpr size_t kListBytes = 8;
constexpr size_t kNodeBytes = 48;
constexpr size_t kOtherBytes = 14;

}  // namespace

int32_t trel_cap_dbg_dump_status() {
    const struct {
        const char *name;
        int32_t value;
    } lines[] = {
        {"trel_cap_dbg_inited", trel_cap_dbg_inited},
        {"g_trel_cap_zlog_level", log_level()},
        {"g_trel_g_cap_calc_ready", g_trel_g_cap_calc_ready},
        {"g_trel_cap_flag", static_cast<int32_t>(g_trel_cap_flag)},
        {"g_trel_cap_config_reconnect", g_trel_cap_config_reconnect},
        {"g_trel_cap_install_validated", g_trel_cap_install_validated},
        {"g_trel_cap_fe_node_validated", g_trel_cap_fe_node_validated},
        {"g_trel_cap_glb_ready_validated", g_trel_cap_glb_ready_validated},
    };
    int32_t printed = printf("g_trel_cap_global %p\n", static_cast<void *>(g_trel_cap_global));
    for (const auto &line : lines) {
        printed = printf("%s %d\n", line.name, line.value);
    }
    return printed;
}

int32_t trel_cap_calc_node_list_mem(CapNode *pos, void *param) {
    if (is_null(TREL_CAP_CALLER, "pos", pos) || is_null(TREL_CAP_CALLER, "param", param)) {
        return TREL_CAP_E_ARGUMENT;
    }
    *static_cast<size_t *>(param) += kNodeBytes;
    return TREL_CAP_OK;
}

int32_t trel_cap_dbg_show_memory() {
    puts("=========show memory================");
    size_t list = kListBytes;
    trel_cap_sw_node_walk_cur(trel_cap_calc_node_list_mem, &list);
    printf("node_list memory is %zu\n", list);
    printf("total memory is %zu\n", list + kOtherBytes);
    return TREL_CAP_OK;
}

int32_t trel_cap_dbg_dump_all() {
    trel_cap_dbg_dump_status();
    trel_cap_sw_dump_all_node();
    return trel_cap_dbg_show_memory();
}
