// Taking the records out of the store's messages.
#pragma once

#include "log/arguments.h"
#include "ox_mom.h"

namespace trel_cap {

// Delivers as OX_MOM_CMD_DELIVERED does, where card records are concerned.
inline constexpr int32_t kCmdCardDelivered = 6;

// 0 for a result that a delivery may carry; anything else is logged.
int32_t check_delivery(const Caller &caller, const MomHashResult *result);

inline void log_command(const Caller &caller, const MomMsg &msg) {
    TREL_CAP_LOG_AS(caller, kDetail, "pmsg->cmd %d", msg.cmd);
}

// The names of a record type in the messages about records that lack something.
struct RecordNames {
    const char *record;
    const char *index;
};

template <typename Record>
int32_t check_record(const Caller &caller, RecordNames names, const Record *record) {
    return is_null(caller, names.record, record) || is_null(caller, names.index, record->index) ? TREL_CAP_E_ARGUMENT
                                                                                                : TREL_CAP_OK;
}

// Takes the record, with its index, that was delivered by a write or a scan. Returns 0, or what is wrong with it.
template <typename Record>
int32_t take_delivered(const Caller &caller, RecordNames names, const MomMsg &msg, const Record *&record) {
    const auto *const result = static_cast<const MomHashResult *>(msg.result);
    if (const int32_t rv = check_delivery(caller, result); rv != 0) {
        return rv;
    }
    record = reinterpret_cast<const Record *>(result->record);
    return check_record(caller, names, record);
}

// Takes the record that was deleted, with its index. Returns 0, or what is wrong with it.
template <typename Record>
int32_t take_deleted(const Caller &caller, RecordNames names, const MomMsg &msg, const Record *&record) {
    record = static_cast<const Record *>(msg.result);
    return check_record(caller, names, record);
}

}  // namespace trel_cap
