// Node records as values, the calling thread's node list as it stands, and what the list's functions log.
#pragma once

#include <string>
#include <vector>

#include "library_test.h"

namespace trel_cap_tests {

using test_support::kNodeList;

inline CapNodeRecord node_record(int32_t node, int32_t config_dev_type = 0) {
    CapNodeRecord record{};
    record.node = node;
    record.config_dev_type = config_dev_type;
    return record;
}

// One whose fields all differ, so that a field in another's place shows.
inline CapNodeRecord full_record(int32_t node) {
    CapNodeRecord record{};
    record.node = node;
    record.config_dev_type = 11;
    record.devid = 12;
    record.slotid = 13;
    record.sslotid = 14;
    record.is_online = 21;
    record.cns = 22;
    record.ready = 23;
    record.node_type = 15;
    record.real_time = 24;
    record.dm_install = 25;
    record.app_df_chk = 26;
    return record;
}

inline std::string dump_line(const CapNodeRecord &record) {
    return text("node:0x%08x, config_dev_type:%d, devid %d, slotid %2d, sslotid %d,is_online %d, cns %d, ready %d, "
                "node_type %d, real_time %d, dm_install %d app_df_chk %d\n",
                static_cast<unsigned>(record.node), record.config_dev_type, record.devid, record.slotid, record.sslotid,
                record.is_online, record.cns, record.ready, record.node_type, record.real_time, record.dm_install,
                record.app_df_chk);
}

inline Log dumped(const CapNodeRecord &record) { return {40, "trel_cap_sw_dump_node", dump_line(record), kNodeList}; }

inline Log found(const char *search, const CapNodeRecord &record) {
    return {60, search,
            text("node:0x%x, config_dev_type:%d, ready:%d\r\n", static_cast<unsigned>(record.node),
                 record.config_dev_type, record.ready),
            kNodeList};
}

// The entries of a list in order. Fails the test when the links of one direction are not those of the other.
inline std::vector<const CapNode *> entries(const CapNodeList &list) {
    std::vector<const CapNode *> listed;
    const auto *head = reinterpret_cast<const CapNode *>(&list);
    if (list.next == nullptr && list.prev == nullptr) {
        return listed;
    }
    const CapNode *previous = head;
    for (const CapNode *entry = list.next; entry != head; entry = entry->next) {
        if (entry == nullptr || entry->prev != previous || listed.size() > 100'000) {
            ADD_FAILURE() << "the list is broken behind entry " << listed.size();
            return listed;
        }
        listed.push_back(entry);
        previous = entry;
    }
    EXPECT_EQ(list.prev, previous);
    return listed;
}

// The calling thread's.
inline std::vector<const CapNode *> entries() { return entries(cap_nodes_list); }

inline std::vector<int32_t> listed_nodes() {
    std::vector<int32_t> nodes;
    for (const CapNode *entry : entries()) {
        nodes.push_back(entry->record.node);
    }
    return nodes;
}

inline bool is_all_zero(const CapNodeList &list) { return list.next == nullptr && list.prev == nullptr; }

// Empties the calling thread's list, silently.
inline void delete_all_nodes() {
    const int32_t level = g_trel_cap_zlog_level;
    g_trel_cap_zlog_level = 0;
    for (auto left = entries(); !left.empty(); left = entries()) {
        trel_cap_sw_node_del(left.front()->record.node, left.front()->record.config_dev_type);
    }
    g_trel_cap_zlog_level = level;
}

// Adds nodes, silently, and returns their entries.
inline std::vector<CapNode *> add_nodes(const std::vector<CapNodeRecord> &records) {
    const int32_t level = g_trel_cap_zlog_level;
    g_trel_cap_zlog_level = 0;
    std::vector<CapNode *> added;
    for (const CapNodeRecord &record : records) {
        added.push_back(trel_cap_sw_node_init_cur(record));
    }
    g_trel_cap_zlog_level = level;
    return added;
}

// A node list of its own for each test, set up as start-up sets it up.
class NodeListTest : public LibraryTest {
protected:
    NodeListTest() {
        trel_cap_sw_init();
        platform.forget();
    }
    ~NodeListTest() override { delete_all_nodes(); }
};

}  // namespace trel_cap_tests
