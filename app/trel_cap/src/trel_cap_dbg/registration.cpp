// The commands, and their registration with the console.
#include <cstdio>

#include "log/arguments.h"
#include "quib.h"
#include "trel_cap/diagnosis.h"
#include "trel_cap/init.h"

using namespace trel_cap;

namespace {

constexpr size_t kModuleNameSize = 127;

struct Command {
    const char *name;
    const char *argument_format;
    QuibHandler handler;
};

template <typename Handler>
QuibHandler any(Handler *handler) {
    return reinterpret_cast<QuibHandler>(handler);
}

void register_commands(const char *module) {
    const Command commands[] = {
        {"log-level", "%d", any(trel_cap_log_level)},
        {"dump_status", "void", any(trel_cap_dbg_dump_status)},
        {"set_g_cap_state", "url=%s state=%d", any(trel_cap_dbg_ce_set_g_cap_state)},
        {"ce_set_g_cap_bool", "url=%s val=%d", any(trel_cap_dbg_ce_set_g_cap_bool)},
        {"ce_set_g_cap_int32", "url=%s val=%d", any(trel_cap_dbg_ce_set_g_cap_int32)},
        {"ce_get_g_cap_int32", "url=%s", any(trel_cap_dbg_ce_get_g_cap_int32)},
        {"ce_get_g_cap_bool", "url=%s", any(trel_cap_dbg_ce_get_g_cap_bool)},
        {"ce_get_fe_cap_bool", "node=%d url=%s", any(trel_cap_dbg_ce_get_fe_cap_bool)},
        {"ce_get_fe_cap_int32", "node=%d url=%s", any(trel_cap_dbg_ce_get_fe_cap_int32)},
        {"ce_get_fe_cap_str", "node=%d url=%s", any(trel_cap_dbg_ce_get_fe_cap_str)},
        {"show_memory", "void", any(trel_cap_dbg_show_memory)},
        {"dump_node", "void", any(trel_cap_sw_dump_all_node)},
        {"dump_all", "void", any(trel_cap_dbg_dump_all)},
        {"collect", "void", any(trel_cap_dbg_collect)},
    };
    for (const Command &command : commands) {
        quib_reg_mod_cmd(module, command.name, 0, command.argument_format, command.handler);
    }
}

}  // namespace

int32_t trel_cap_quib_init(MomClient *global, const char *app_name) {
    const Caller caller = TREL_CAP_CALLER;
    if (is_null(caller, "global", global) || is_null(caller, "app_name", app_name)) {
        return TREL_CAP_E_ARGUMENT;
    }
    char module[kModuleNameSize];
    snprintf(module, sizeof module, "trel_cap_%s", app_name);
    if (const int32_t rv = quib_lib_init(global, module); rv != 0) {
        TREL_CAP_LOG(kError, "quib_lib_init failed, rv %d", rv);
        return TREL_CAP_E_REFUSED;
    }
    TREL_CAP_LOG(kDetail, "quib_lib_init ok");
    register_commands(module);
    return TREL_CAP_OK;
}
