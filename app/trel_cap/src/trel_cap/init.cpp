// Start-up.
#include "trel_cap/init.h"

#include "log/arguments.h"
#include "repeat.h"
#include "thread_logging.h"
#include "trel_cap/diagnosis.h"
#include "trel_cap/node_list.h"
#include "trel_cap/records.h"
#include "trel_cap/registration.h"

using namespace trel_cap;

namespace {

int32_t connect_database(const Caller &caller, MomClient *global, int32_t db, const char *name) {
    const int32_t rv = ox_mom_client_connect_sync(global, db);
    if (rv != 0) {
        TREL_CAP_LOG_AS(caller, kError, "connect %s failed, rv %d", name, rv);
    }
    return rv;
}

int32_t install_reconnect_handler(const Caller &caller, MomClient *global, int32_t db, const char *name) {
    const int32_t rv = ox_mom_client_set_reconnect_cb(global, db, trel_cap_reconnect_db_config, nullptr);
    if (rv != 0) {
        TREL_CAP_LOG_AS(caller, kError, "ox_mom_client_set_reconnect_cb %s failed, rv %d", name, rv);
    }
    return rv;
}

}  // namespace

int32_t trel_cap_init(MomClient *global, const char *reg_name) {
    if (is_null(TREL_CAP_CALLER, "reg_name", reg_name) || is_null(TREL_CAP_CALLER, "global", global)) {
        return TREL_CAP_E_ARGUMENT;
    }
    if (g_trel_cap_global == global) {
        TREL_CAP_LOG(kProgress, "global %p inited", static_cast<void *>(g_trel_cap_global));
        return TREL_CAP_OK;
    }
    if (g_trel_cap_global != nullptr) {
        TREL_CAP_LOG(kError, "muli_thread");
    }

    const AppName app_name = start_thread_logging();
    TREL_CAP_LOG(kProgress, "enter");
    trel_cap_sw_init();

    if (const int32_t rv = connect_database(TREL_CAP_CALLER, global, TREL_CAP_DB_CARDS, "tunner_db"); rv != 0) {
        return rv;
    }
    if (const int32_t rv = connect_database(TREL_CAP_CALLER, global, TREL_CAP_DB_CAPABILITIES, "ce_global"); rv != 0) {
        return rv;
    }
    if (trel_cap_sub(global) != 0) {
        return repeat_failed(TREL_CAP_CALLER, [=] { return trel_cap_sub(global); });
    }
    if (const int32_t rv = install_reconnect_handler(TREL_CAP_CALLER, global, TREL_CAP_DB_CARDS, "tunner"); rv != 0) {
        return rv;
    }
    if (const int32_t rv = install_reconnect_handler(TREL_CAP_CALLER, global, TREL_CAP_DB_CAPABILITIES, "cap");
        rv != 0) {
        return rv;
    }
    trel_cap_quib_init(global, app_name.data());  // an application can do without an operator

    g_trel_cap_global = global;
    TREL_CAP_LOG(kProgress, "reg_name %s trel_cap_init success", reg_name);
    return TREL_CAP_OK;
}
