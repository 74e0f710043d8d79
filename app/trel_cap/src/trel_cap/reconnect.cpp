// Reconnection: the handler that the client calls, and its installation by an application.
#include "log/arguments.h"
#include "repeat.h"
#include "trel_cap/init.h"
#include "trel_cap/processors.h"
#include "trel_cap/records.h"
#include "trel_cap/registration.h"

using namespace trel_cap;

int32_t trel_cap_reconnect_db_config(MomClient *client, int32_t db, int32_t type) {
    if (is_null(TREL_CAP_CALLER, "client", client)) {
        return TREL_CAP_E_ARGUMENT;
    }
    g_trel_cap_config_reconnect = 1;
    TREL_CAP_LOG(kError, "con change and all db reconnected, db %d, type %d", db, type);
    trel_cap_fe_ready_clear_all_validated_flag();
    if (trel_cap_sub(client) != 0) {
        return repeat_failed(TREL_CAP_CALLER, [=] { return trel_cap_sub(client); });
    }
    g_trel_cap_config_reconnect = 0;
    return TREL_CAP_OK;
}

int32_t trel_cap_set_g_cap_db_reconnect_cb(MomClient *client, void *fp, void *arg) {
    if (is_null(TREL_CAP_CALLER, "client", client)) {
        return TREL_CAP_E_ARGUMENT;
    }
    TREL_CAP_LOG(kDetail, "ox_mom_client_set_reconnect_cb cap db, fp %8p", fp);
    const int32_t rv =
        ox_mom_client_set_reconnect_cb(client, TREL_CAP_DB_CAPABILITIES, trel_cap_reconnect_db_config, arg);
    if (rv != 0) {
        TREL_CAP_LOG(kError, "ox_mom_client_set_reconnect_cb cap failed, fp %pF, rv %d", fp, rv);
    }
    return rv;
}
