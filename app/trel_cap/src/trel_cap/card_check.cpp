// Following the application's check of cards. A card that is denied never counts as ready.
#include "card_class.h"
#include "delivery.h"
#include "judge.h"
#include "node_steps.h"

using namespace trel_cap;

namespace {

constexpr RecordNames kNames{"prec", "prec->index"};

int32_t card_checked(const Caller &caller, const MomMsg &msg) {
    const AppDfCardDenyCheckResult *record = nullptr;
    if (const int32_t rv = take_delivered(caller, kNames, msg, record); rv != 0) {
        return rv;
    }
    const CapNodeRecord place = place_of_card(*record);
    log_card(caller, place);
    CapNode *const entry = found_or_added(caller, trel_cap_sw_node_search(place.node), place);
    if (entry == nullptr) {
        return TREL_CAP_E_NO_NODE;
    }
    entry->record.config_dev_type = place.config_dev_type;
    if (!is_checked(entry->record.node_type)) {
        return TREL_CAP_OK;
    }
    const bool is_denied = record->stat == APP_DF_CHECK_DENY;
    entry->record.app_df_chk = 1;
    entry->record.cns = is_denied ? 1 : 0;
    dump(caller, *entry);

    if (is_denied) {
        send_line_card_node(caller, place.node, 0);
    } else if (is_judged_ready(place.node)) {
        send_line_card_node(caller, place.node, 1);
    }
    return TREL_CAP_OK;
}

int32_t check_withdrawn(const Caller &caller, const MomMsg &msg) {
    const AppDfCardDenyCheckResult *record = nullptr;
    if (const int32_t rv = take_deleted(caller, kNames, msg, record); rv != 0) {
        return rv;
    }
    const CapNodeRecord place = place_of_card(*record);
    log_deleted(caller, place);
    if (CapNode *const entry = find_known(caller, place.node); entry != nullptr) {
        entry->record.cns = 0;
        entry->record.app_df_chk = 0;
        entry->record.config_dev_type = place.config_dev_type;
    }
    return TREL_CAP_OK;
}

}  // namespace

int32_t trel_cap_app_df_pmsg_f(MomClient *client, MomMsg *pmsg) {
    if (is_null(TREL_CAP_CALLER, "pmsg", pmsg)) {
        return TREL_CAP_E_ARGUMENT;
    }
    log_command(TREL_CAP_CALLER, *pmsg);
    switch (pmsg->cmd) {
        case OX_MOM_CMD_SUBSCRIBED:
            return load_stored<AppDfCardDenyCheckResult>(TREL_CAP_CALLER, client, TREL_CAP_DB_CAPABILITIES,
                                                         trel_cap_app_df_pmsg_f, g_trel_cap_rec_disable_validated,
                                                         trel_cap_notify_pre_install_node_pro);
        case OX_MOM_CMD_DELIVERED:
        case kCmdCardDelivered:
            return card_checked(TREL_CAP_CALLER, *pmsg);
        case OX_MOM_CMD_DELETED:
            return check_withdrawn(TREL_CAP_CALLER, *pmsg);
        default:
            return TREL_CAP_OK;
    }
}
