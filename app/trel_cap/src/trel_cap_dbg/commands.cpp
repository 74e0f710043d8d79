// The commands, and their registration with the console.
#include <cstdio>

#include "console.h"
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
    const char *text;  // what it is for
};

template <typename Handler>
QuibHandler any(Handler *handler) {
    return reinterpret_cast<QuibHandler>(handler);
}

void register_commands(const char *module) {
    const Command commands[] = {
        {"log-level", "%d", any(trel_cap_log_level), "sets what the process logs, 0 to 4"},
        {"dump_status", "void", any(trel_cap_dbg_dump_status), "shows the client and the flags of the thread"},
        {"set_g_cap_state", "url=%s state=%d", any(trel_cap_dbg_ce_set_g_cap_state),
         "writes the state of a capability"},
        {"ce_set_g_cap_bool", "url=%s val=%d", any(trel_cap_dbg_ce_set_g_cap_bool), "writes a boolean of the device"},
        {"ce_set_g_cap_int32", "url=%s val=%d", any(trel_cap_dbg_ce_set_g_cap_int32), "writes a number of the device"},
        {"ce_get_g_cap_int32", "url=%s", any(trel_cap_dbg_ce_get_g_cap_int32), "reads a number of the device"},
        {"ce_get_g_cap_bool", "url=%s", any(trel_cap_dbg_ce_get_g_cap_bool), "reads a boolean of the device"},
        {"ce_get_fe_cap_bool", "node=%d url=%s", any(trel_cap_dbg_ce_get_fe_cap_bool), "reads a boolean of a card"},
        {"ce_get_fe_cap_int32", "node=%d url=%s", any(trel_cap_dbg_ce_get_fe_cap_int32), "reads a number of a card"},
        {"ce_get_fe_cap_str", "node=%d url=%s", any(trel_cap_dbg_ce_get_fe_cap_str), "reads a text of a card"},
        {"show_memory", "void", any(trel_cap_dbg_show_memory), "estimates the memory of the node list"},
        {"dump_node", "void", any(trel_cap_sw_dump_all_node), "lists the nodes that the thread knows"},
        {"dump_all", "void", any(trel_cap_dbg_dump_all), "shows the status, the nodes and the memory"},
        {"collect", "void", any(trel_cap_dbg_collect), "writes these three into a file"},
    };
    for (const Command &command : commands) {
        quib_reg_mod_cmd(module, command.name, 0, command.argument_format, command.handler);
        if (quib_describe_mod_cmd != nullptr) {
            quib_describe_mod_cmd(module, command.name, command.text);
        }
    }
}

}  // namespace

int32_t trel_cap_quib_init(MomClient *global, const char *app_name) {
    if (is_null(TREL_CAP_CALLER, "global", global) || is_null(TREL_CAP_CALLER, "app_name", app_name)) {
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
