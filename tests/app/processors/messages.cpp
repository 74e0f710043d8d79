#include "messages.h"

#include <algorithm>

namespace trel_cap_tests::processors {

Record node_readiness(const ProtobufCMessageDescriptor &type, const NodeReadiness &values) {
    return Record::of(type, {{6, values.ready},
                             {7, values.record_config_dev_type},
                             {8, values.devid},
                             {9, values.slotid},
                             {10, values.sslotid},
                             {11, values.node_type},
                             {12, values.real_time}})
        .with_index({{1, values.node}, {2, values.config_dev_type}});
}

namespace {

constexpr int32_t kModule = 29;

Fields place(int32_t devid, int32_t slotid, int32_t sslotid) {
    return {{1, kModule}, {2, devid}, {3, slotid}, {4, sslotid}};
}

}  // namespace

Record card_info(const Card &values) {
    return card_info_without_static_info(values).with_message(14, {{6, values.node_type}, {7, 58}});
}

Record card_info_without_static_info(const Card &values) {
    return Record::of(card_info__descriptor, {{6, values.config_dev_type},
                                              {7, values.is_online},
                                              {8, 51},
                                              {9, 1},
                                              {11, 52},
                                              {13, 1},
                                              {15, 53},
                                              {16, 54},
                                              {17, values.node},
                                              {18, 55},
                                              {19, 1},
                                              {22, 56}})
        .with_index(place(values.devid, values.slotid, values.sslotid));
}

Record check_result(const Check &values) {
    return Record::of(app_df_card_deny_check_result__descriptor,
                      {{6, values.stat}, {7, values.config_dev_type}, {8, values.node}})
        .with_index(place(values.devid, values.slotid, values.sslotid));
}

CapNodeRecord entry(const Entry &values) {
    CapNodeRecord record = {};
    record.node = values.node;
    record.config_dev_type = values.config_dev_type;
    record.devid = values.devid;
    record.slotid = values.slotid;
    record.sslotid = values.sslotid;
    record.is_online = values.is_online;
    record.cns = values.cns;
    record.ready = values.ready;
    record.node_type = values.node_type;
    record.real_time = values.real_time;
    record.dm_install = values.dm_install;
    record.app_df_chk = values.app_df_chk;
    return record;
}

CapNodeRecord new_entry(int32_t node, int32_t config_dev_type, int32_t devid, int32_t slotid, int32_t sslotid) {
    return entry({.node = node,
                  .config_dev_type = config_dev_type,
                  .node_type = 0,
                  .devid = devid,
                  .slotid = slotid,
                  .sslotid = sslotid});
}

CapNodeRecord marked_entry(int32_t node, int32_t config_dev_type) {
    return entry({.node = node,
                  .config_dev_type = config_dev_type,
                  .node_type = 604,
                  .ready = 0x41,
                  .real_time = 0x42,
                  .dm_install = 0x43,
                  .app_df_chk = 0x44,
                  .cns = 0x45,
                  .is_online = 0x46});
}

std::vector<CapNodeRecord> neighbours() {
    return {marked_entry(-3), ready_entry({.node = kNode - 1}), ready_entry({.node = kNode + 1}),
            marked_entry(kNode + 256)};
}

std::vector<CapNodeRecord> among_neighbours(const std::vector<CapNodeRecord> &entries) {
    std::vector<CapNodeRecord> all = neighbours();
    all.insert(all.end(), entries.begin(), entries.end());
    std::stable_sort(all.begin(), all.end(),
                     [](const CapNodeRecord &a, const CapNodeRecord &b) { return a.node < b.node; });
    return all;
}

}  // namespace trel_cap_tests::processors
