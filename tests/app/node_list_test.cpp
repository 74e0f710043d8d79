// The node list: adding, finding and deleting nodes.

#include <thread>

#include "allocations.h"
#include "nodes.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AddingNodes : public NodeListTest {
protected:
    static Log adding(const std::string &message) { return {60, "trel_cap_sw_node_init", message, kNodeList}; }
    static Log adding_here(const std::string &message) { return {40, "trel_cap_sw_node_init_cur", message, kNodeList}; }
    static Log no_memory() { return {100, "trel_cap_sw_node_init", "new_node malloc failed", kNodeList}; }
};

TEST_F(AddingNodes, KeepsThemInAscendingOrder) {
    add_nodes({node_record(5), node_record(2), node_record(9), node_record(2), node_record(7)});
    EXPECT_THAT(listed_nodes(), ElementsAre(2, 2, 5, 7, 9));
}

TEST_F(AddingNodes, ComparesThemAsSigned) {
    add_nodes({node_record(1), node_record(INT32_MIN), node_record(0), node_record(INT32_MAX), node_record(-1)});
    EXPECT_THAT(listed_nodes(), ElementsAre(INT32_MIN, -1, 0, 1, INT32_MAX));
}

TEST_F(AddingNodes, PutsEqualOnesBehindEachOther) {
    const auto added = add_nodes(
        {node_record(2, 3), node_record(1), node_record(2, 1), node_record(3), node_record(2, 2), node_record(2, 1)});
    EXPECT_THAT(entries(), ElementsAre(added[1], added[0], added[2], added[4], added[5], added[3]));
}

// Whatever their device type: looking for a node before adding it is the caller's business.
TEST_F(AddingNodes, DoesNotMindDuplicates) {
    add_nodes({full_record(4), full_record(4), full_record(4)});
    EXPECT_EQ(entries().size(), 3U);
}

TEST_F(AddingNodes, CopiesTheWholeRecord) {
    const CapNodeRecord record = full_record(0x1234);
    const CapNode *const entry = trel_cap_sw_node_init_cur(record);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->record.node, 0x1234);
    EXPECT_EQ(entry->record.config_dev_type, 11);
    EXPECT_EQ(entry->record.devid, 12);
    EXPECT_EQ(entry->record.slotid, 13);
    EXPECT_EQ(entry->record.sslotid, 14);
    EXPECT_EQ(entry->record.is_online, 21);
    EXPECT_EQ(entry->record.cns, 22);
    EXPECT_EQ(entry->record.ready, 23);
    EXPECT_EQ(entry->record.node_type, 15);
    EXPECT_EQ(entry->record.real_time, 24);
    EXPECT_EQ(entry->record.dm_install, 25);
    EXPECT_EQ(entry->record.app_df_chk, 26);
    EXPECT_THAT(entries(), ElementsAre(entry));
}

TEST_F(AddingNodes, AllocatesOneEntryEach) {
    g_trel_cap_zlog_level = 4;
    const test_support::AllocationCount allocations;
    trel_cap_sw_node_init_cur(node_record(1));
    EXPECT_EQ(allocations.count(), 1);
    trel_cap_sw_node_init(node_record(2), &cap_nodes_list);
    EXPECT_EQ(allocations.count(), 2);
    EXPECT_EQ(allocations.freed(), 0);
}

TEST_F(AddingNodes, IsReported) {
    at_every_log_level([this] {
        const CapNodeRecord record = full_record(0xbeef);
        EXPECT_NE(trel_cap_sw_node_init(record, &cap_nodes_list), nullptr);
        expect_events({adding("enter"), dumped(record), adding("leave")});
        EXPECT_NE(trel_cap_sw_node_init_cur(record), nullptr);
        expect_events({adding_here("enter"), adding("enter"), dumped(record), adding("leave"), adding_here("leave")});
    });
}

TEST_F(AddingNodes, GoesToTheListThatIsNamed) {
    // Static, because entries can be deleted from the calling thread's list only.
    static CapNodeList other;
    other.next = other.prev = reinterpret_cast<CapNode *>(&other);
    add_nodes({node_record(3)});
    CapNode *const second = trel_cap_sw_node_init(node_record(2), &other);
    CapNode *const first = trel_cap_sw_node_init(node_record(1), &other);
    EXPECT_THAT(entries(other), ElementsAre(first, second));
    EXPECT_THAT(listed_nodes(), ElementsAre(3));
}

TEST_F(AddingNodes, NeedsAList) {
    g_trel_cap_zlog_level = 1;
    EXPECT_EQ(trel_cap_sw_node_init(node_record(3), nullptr), nullptr);
    expect_events({Log{100, "trel_cap_sw_node_init", "list NULL pointer, addr error!\n", kNodeList}});
}

TEST_F(AddingNodes, WithoutMemoryLeavesTheListAsItWas) {
    add_nodes({node_record(1), node_record(3)});
    const auto before = entries();
    at_every_log_level([this] {
        const CapNode *added = nullptr;
        {
            const test_support::FailingAllocations no_more;
            added = trel_cap_sw_node_init(node_record(2), &cap_nodes_list);
        }
        EXPECT_EQ(added, nullptr);
        expect_events({adding("enter"), no_memory()});
        {
            const test_support::FailingAllocations no_more;
            added = trel_cap_sw_node_init_cur(node_record(2));
        }
        EXPECT_EQ(added, nullptr);
        expect_events({adding_here("enter"), adding("enter"), no_memory(), adding_here("leave")});
    });
    EXPECT_EQ(entries(), before);
}

class SearchingNodes : public NodeListTest {
protected:
    static constexpr const char *kByNode = "trel_cap_sw_node_search";
    static constexpr const char *kByType = "trel_cap_sw_node_and_type_search";
};

TEST_F(SearchingNodes, FindsTheFirstOne) {
    const auto added = add_nodes({node_record(2, 7), node_record(2, 8), node_record(1, 8), node_record(2, 8)});
    EXPECT_EQ(trel_cap_sw_node_search(2), added[0]);
    EXPECT_EQ(trel_cap_sw_node_search(1), added[2]);
    EXPECT_EQ(trel_cap_sw_node_and_type_search(2, 7), added[0]);
    EXPECT_EQ(trel_cap_sw_node_and_type_search(2, 8), added[1]);
    EXPECT_EQ(trel_cap_sw_node_and_type_search(1, 8), added[2]);
}

TEST_F(SearchingNodes, FindsTheLastInTheList) {
    const auto added = add_nodes({node_record(-7), node_record(0), node_record(INT32_MAX, -1)});
    EXPECT_EQ(trel_cap_sw_node_search(INT32_MAX), added[2]);
    EXPECT_EQ(trel_cap_sw_node_search(-7), added[0]);
    EXPECT_EQ(trel_cap_sw_node_and_type_search(INT32_MAX, -1), added[2]);
}

TEST_F(SearchingNodes, FindsNothingSilently) {
    at_every_log_level([this] {
        delete_all_nodes();
        EXPECT_EQ(trel_cap_sw_node_search(0), nullptr);
        EXPECT_EQ(trel_cap_sw_node_and_type_search(0, 0), nullptr);
        add_nodes({node_record(1, 5), node_record(3, 5)});
        EXPECT_EQ(trel_cap_sw_node_search(0), nullptr);
        EXPECT_EQ(trel_cap_sw_node_search(2), nullptr);
        EXPECT_EQ(trel_cap_sw_node_search(4), nullptr);
        EXPECT_EQ(trel_cap_sw_node_and_type_search(1, 4), nullptr);
        EXPECT_EQ(trel_cap_sw_node_and_type_search(2, 5), nullptr);
        expect_events({});
    });
}

// The entry's values, which may have been changed in place since it was added.
TEST_F(SearchingNodes, ReportsWhatItFinds) {
    CapNode *const entry = add_nodes({node_record(0xabc, 7)})[0];
    entry->record.ready = 1;
    entry->record.config_dev_type = 8;
    at_every_log_level([&] {
        EXPECT_EQ(trel_cap_sw_node_search(0xabc), entry);
        expect_events({Log{60, kByNode, "node:0xabc, config_dev_type:8, ready:1\r\n", kNodeList}});
        EXPECT_EQ(trel_cap_sw_node_and_type_search(0xabc, 8), entry);
        expect_events({Log{60, kByType, "node:0xabc, config_dev_type:8, ready:1\r\n", kNodeList}});
    });
}

class DeletingNodes : public NodeListTest {
protected:
    static Log deleting(const std::string &message) { return {60, "trel_cap_sw_node_del", message, kNodeList}; }
    static Log found_by_type(const CapNodeRecord &record) { return found("trel_cap_sw_node_and_type_search", record); }
};

TEST_F(DeletingNodes, JoinsTheNeighbours) {
    const auto added = add_nodes({node_record(1), node_record(2), node_record(3), node_record(4)});
    EXPECT_EQ(trel_cap_sw_node_del(2, 0), 0);
    EXPECT_THAT(entries(), ElementsAre(added[0], added[2], added[3]));
    EXPECT_EQ(trel_cap_sw_node_del(4, 0), 0);
    EXPECT_THAT(entries(), ElementsAre(added[0], added[2]));
    EXPECT_EQ(trel_cap_sw_node_del(1, 0), 0);
    EXPECT_THAT(entries(), ElementsAre(added[2]));
    EXPECT_EQ(trel_cap_sw_node_del(3, 0), 0);
    EXPECT_THAT(entries(), IsEmpty());
    EXPECT_FALSE(is_all_zero(cap_nodes_list));
}

TEST_F(DeletingNodes, TakesTheFirstOfNodeAndTypeOnly) {
    const auto added = add_nodes({node_record(2, 7), node_record(2, 8), node_record(2, 8), node_record(3, 8)});
    EXPECT_EQ(trel_cap_sw_node_del(2, 8), 0);
    EXPECT_THAT(entries(), ElementsAre(added[0], added[2], added[3]));
    EXPECT_EQ(trel_cap_sw_node_del(2, 8), 0);
    EXPECT_THAT(entries(), ElementsAre(added[0], added[3]));
}

TEST_F(DeletingNodes, FreesTheOne) {
    add_nodes({node_record(2, 7), node_record(3, 7)});
    const test_support::AllocationCount allocations;
    trel_cap_sw_node_del(2, 7);
    EXPECT_EQ(allocations.freed(), 1);
    trel_cap_sw_node_del(2, 7);
    EXPECT_EQ(allocations.freed(), 1);
    EXPECT_EQ(allocations.count(), 0);
}

TEST_F(DeletingNodes, IsReported) {
    at_every_log_level([this] {
        const CapNodeRecord record = full_record(0xcafe);
        add_nodes({record});
        EXPECT_EQ(trel_cap_sw_node_del(0xcafe, 11), 0);
        expect_events({deleting("node:0xcafe type 11"), found_by_type(record), deleting("leave")});
    });
}

TEST_F(DeletingNodes, ThatAreNotThereIsNoError) {
    add_nodes({node_record(1, 5), node_record(3, 5)});
    const auto before = entries();
    at_every_log_level([this] {
        for (const auto &[node, type] : {std::pair{2, 5}, {1, 4}, {-1, -5}}) {
            EXPECT_EQ(trel_cap_sw_node_del(node, type), 0);
            expect_events({deleting(text("node:0x%x type %d", static_cast<unsigned>(node), type)), deleting("leave")});
        }
    });
    EXPECT_EQ(entries(), before);
    delete_all_nodes();
    EXPECT_EQ(trel_cap_sw_node_del(1, 5), 0);
    EXPECT_THAT(entries(), IsEmpty());
}

using NodesOfThreads = NodeListTest;

TEST_F(NodesOfThreads, AreTheirOwn) {
    add_nodes({node_record(1)});
    std::thread([] {
        EXPECT_EQ(trel_cap_sw_node_search(1), nullptr);
        add_nodes({node_record(2)});
        EXPECT_THAT(listed_nodes(), ElementsAre(2));
        EXPECT_EQ(trel_cap_sw_node_del(1, 0), 0);
        delete_all_nodes();
    }).join();
    EXPECT_THAT(listed_nodes(), ElementsAre(1));
}

}  // namespace
}  // namespace trel_cap_tests
