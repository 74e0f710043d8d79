// The messages that the processors take, and the entries they are to make of them. What a test does not say is a number
// of its own, so that no value can pass for another.
#pragma once

#include "processor_test.h"

namespace trel_cap_tests::processors {

inline constexpr int32_t kNode = 0x2b;
inline constexpr int32_t kType = 501;

// A CapFeReady or a CapCmReady: their fields are the same.
struct NodeReadiness {
    int32_t node = kNode;
    int32_t config_dev_type = kType;
    int32_t record_config_dev_type = 599;  // the one outside the index
    int32_t devid = 11;
    int32_t slotid = 12;
    int32_t sslotid = 13;
    int32_t node_type = 3;
    int32_t ready = 1;
    int32_t real_time = 1;
};
Record node_readiness(const ProtobufCMessageDescriptor &type, const NodeReadiness &values);
inline Record fe_ready(const NodeReadiness &values = {}) { return node_readiness(cap_fe_ready__descriptor, values); }
inline Record cm_ready(const NodeReadiness &values = {}) { return node_readiness(cap_cm_ready__descriptor, values); }

// A CardInfo.
struct Card {
    int32_t node = kNode;
    int32_t config_dev_type = kType;
    int32_t devid = 21;
    int32_t slotid = 22;
    int32_t sslotid = 23;
    int32_t node_type = 3;
    int32_t is_online = 1;
};
Record card_info(const Card &values = {});
Record card_info_without_static_info(const Card &values = {});

// An AppDfCardDenyCheckResult.
struct Check {
    int32_t node = kNode;
    int32_t config_dev_type = kType;
    int32_t devid = 31;
    int32_t slotid = 32;
    int32_t sslotid = 33;
    int32_t stat = APP_DF_CHECK_PASS;
};
Record check_result(const Check &values = {});

// The messages that carry a record.
inline Message delivered(const Record &record, int32_t cmd = 4) { return {cmd, HashAnswer::found(record, {5})}; }
inline Message deleted(const Record &record) { return {3, record}; }
inline Message written(const Record &record) { return {1, record}; }

// An entry of kNode and kType. A flag that is neither 0 nor 1 shows whether it has been written.
struct Entry {
    int32_t node = kNode;
    int32_t config_dev_type = kType;
    int32_t node_type = 3;
    uint8_t ready = 0;
    uint8_t real_time = 0;
    uint8_t dm_install = 0;
    uint8_t app_df_chk = 0;
    uint8_t cns = 0;
    uint8_t is_online = 0;
    int32_t devid = 101;
    int32_t slotid = 102;
    int32_t sslotid = 103;
};
CapNodeRecord entry(const Entry &values = {});

// An entry as the first record of a node makes it: named and placed, and nothing else known.
CapNodeRecord new_entry(int32_t node, int32_t config_dev_type, int32_t devid, int32_t slotid, int32_t sslotid);

// One with every field set, and every flag to a number that no processor writes.
CapNodeRecord marked_entry(int32_t node = kNode, int32_t config_dev_type = kType);

// One that counts as ready.
inline CapNodeRecord ready_entry(Entry values = {}) {
    values.ready = values.real_time = values.dm_install = values.app_df_chk = 1;
    values.cns = 0;
    return entry(values);
}

// Some entries of other nodes, ready ones too, on both sides of kNode in the order.
std::vector<CapNodeRecord> neighbours();
// With these between them.
std::vector<CapNodeRecord> among_neighbours(const std::vector<CapNodeRecord> &entries);

}  // namespace trel_cap_tests::processors
