// The heads of the threads' node lists: the first call of the process links one, all others stay zero until something
// is added. Each test needs a process in which no list was set up yet.

#include <thread>

#include "allocations.h"
#include "nodes.h"
#include "private_root.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class NodeListHead : public LibraryTest {
protected:
    static bool is_linked_to_itself(const CapNodeList &list) {
        const auto *head = reinterpret_cast<const CapNode *>(&list);
        return list.next == head && list.prev == head;
    }
    template <class Body>
    static void on_another_thread(Body body) {
        std::thread(body).join();
    }
    static int32_t count(CapNode *, void *visits) {
        ++*static_cast<int *>(visits);
        return 0;
    }
};

TEST_F(NodeListHead, IsZeroAtFirst) {
    EXPECT_TRUE(is_all_zero(cap_nodes_list));
    on_another_thread([] { EXPECT_TRUE(is_all_zero(cap_nodes_list)); });
}

TEST_F(NodeListHead, IsLinkedByTheFirstCall) {
    EXPECT_EQ(trel_cap_sw_init(), 0);
    EXPECT_TRUE(is_linked_to_itself(cap_nodes_list));
    EXPECT_THAT(platform.events(), IsEmpty());
}

TEST_F(NodeListHead, IsLeftAloneByLaterCalls) {
    EXPECT_EQ(trel_cap_sw_init(), 0);
    add_nodes({node_record(1), node_record(2)});
    EXPECT_EQ(trel_cap_sw_init(), 0);
    EXPECT_THAT(listed_nodes(), ElementsAre(1, 2));
    delete_all_nodes();
}

TEST_F(NodeListHead, OfALaterThreadStaysZero) {
    EXPECT_EQ(trel_cap_sw_init(), 0);
    on_another_thread([] {
        EXPECT_EQ(trel_cap_sw_init(), 0);
        EXPECT_TRUE(is_all_zero(cap_nodes_list));
        EXPECT_EQ(trel_cap_sw_init(), 0);
        EXPECT_TRUE(is_all_zero(cap_nodes_list));
    });
    EXPECT_TRUE(is_linked_to_itself(cap_nodes_list));
}

TEST_F(NodeListHead, OfTheMainThreadIsNothingSpecial) {
    on_another_thread([] {
        EXPECT_EQ(trel_cap_sw_init(), 0);
        EXPECT_TRUE(is_linked_to_itself(cap_nodes_list));
    });
    EXPECT_EQ(trel_cap_sw_init(), 0);
    EXPECT_TRUE(is_all_zero(cap_nodes_list));
}

TEST_F(NodeListHead, OfTheFirstThreadThatStartsTheLibraryIsLinked) {
    test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
    EXPECT_EQ(trel_cap_init(client, "first"), 0);
    EXPECT_TRUE(is_linked_to_itself(cap_nodes_list));
    on_another_thread([this] {
        EXPECT_EQ(trel_cap_init(other_client, "second"), 0);
        EXPECT_TRUE(is_all_zero(cap_nodes_list));
    });
}

// The first call forgets what was listed before it.
TEST_F(NodeListHead, IsEmptiedByTheFirstCall) {
    std::vector<CapNodeRecord> records;
    for (int32_t node = 0; node < 100; ++node) {
        records.push_back(node_record(node));
    }
    // The first call forgets entries without freeing them; a list that is never destroyed keeps them reachable at exit.
    static const auto &forgotten = *new auto(add_nodes(records));
    EXPECT_EQ(trel_cap_sw_node_search(1), forgotten[1]);
    EXPECT_EQ(trel_cap_sw_init(), 0);
    EXPECT_TRUE(is_linked_to_itself(cap_nodes_list));
    EXPECT_EQ(trel_cap_sw_node_search(1), nullptr);
    const auto added = add_nodes(records);
    EXPECT_THAT(entries(), ::testing::ElementsAreArray(added));
    for (const CapNode *entry : added) {
        EXPECT_EQ(trel_cap_sw_node_search(entry->record.node), entry);
    }
    delete_all_nodes();
    EXPECT_TRUE(is_linked_to_itself(cap_nodes_list));
}

class ZeroHead : public NodeListHead {
protected:
    ZeroHead() {
        on_another_thread(trel_cap_sw_init);
        trel_cap_sw_init();
        platform.forget();
    }
    ~ZeroHead() override { delete_all_nodes(); }
};

TEST_F(ZeroHead, IsAnEmptyListToSearches) {
    EXPECT_EQ(trel_cap_sw_node_search(0), nullptr);
    EXPECT_EQ(trel_cap_sw_node_and_type_search(0, 0), nullptr);
    EXPECT_THAT(platform.events(), IsEmpty());
    EXPECT_TRUE(is_all_zero(cap_nodes_list));
}

TEST_F(ZeroHead, IsAnEmptyListToWalks) {
    int visits = 0;
    trel_cap_sw_node_walk_cur(count, &visits);
    EXPECT_EQ(visits, 0);
    EXPECT_THAT(platform.events(), IsEmpty());
    EXPECT_TRUE(is_all_zero(cap_nodes_list));
}

TEST_F(ZeroHead, IsAnEmptyListToDeletion) {
    EXPECT_EQ(trel_cap_sw_node_del(0, 0), 0);
    EXPECT_THAT(platform.logs(), ElementsAre(Log{60, "trel_cap_sw_node_del", "node:0x0 type 0", kNodeList},
                                             Log{60, "trel_cap_sw_node_del", "leave", kNodeList}));
    EXPECT_TRUE(is_all_zero(cap_nodes_list));
}

TEST_F(ZeroHead, IsAnEmptyListToDumps) {
    ::testing::internal::CaptureStdout();
    trel_cap_sw_dump_all_node();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "\n===================CURRENT_NODE_INFO===================\n"
                                                        "g_trel_cap_flag is 0, node_info is valid when bit 1 is set\n");
    EXPECT_TRUE(is_all_zero(cap_nodes_list));
}

TEST_F(ZeroHead, IsAnEmptyListToThePreInstallQuery) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_is_preinstall_card(0), 0);
        expect_events({});
        EXPECT_TRUE(is_all_zero(cap_nodes_list));
    });
}

TEST_F(ZeroHead, IsLinkedByTheFirstAddition) {
    const auto added = add_nodes({node_record(5), node_record(2), node_record(9), node_record(2)});
    EXPECT_THAT(entries(), ElementsAre(added[1], added[3], added[0], added[2]));
    EXPECT_EQ(trel_cap_sw_node_search(9), added[2]);
    int visits = 0;
    trel_cap_sw_node_walk_cur(count, &visits);
    EXPECT_EQ(visits, 4);
    delete_all_nodes();
    EXPECT_TRUE(is_linked_to_itself(cap_nodes_list));
}

TEST_F(ZeroHead, OfAListThatIsNamedIsLinkedToo) {
    static CapNodeList list;
    const CapNode *const entry = trel_cap_sw_node_init(node_record(3), &list);
    EXPECT_THAT(entries(list), ElementsAre(entry));
    EXPECT_TRUE(is_all_zero(cap_nodes_list));
}

TEST_F(ZeroHead, StaysEmptyWhenThereIsNoMemory) {
    const CapNode *added = nullptr;
    {
        const test_support::FailingAllocations no_more;
        added = trel_cap_sw_node_init_cur(node_record(1));
    }
    EXPECT_EQ(added, nullptr);
    EXPECT_THAT(listed_nodes(), IsEmpty());
    EXPECT_EQ(trel_cap_sw_node_search(1), nullptr);
}

}  // namespace
}  // namespace trel_cap_tests
