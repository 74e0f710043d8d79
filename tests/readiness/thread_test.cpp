// Two threads with a client each.
#include "readiness_test.h"

namespace readiness {
namespace {

class TwoThreads : public ReadinessTest {};
INSTANTIATE_OVER_STORES(TwoThreads);

TEST_P(TwoThreads, SeeTheSame) {
    Application one(store(), kLineCards);
    Application two(store(), kLineCards);
    publisher().state(CardClass::kLine, true);
    publisher().bring_up(kLineCard);
    publisher().bring_up(kSecondLineCard);
    publisher().unready(kSecondLineCard);
    const std::vector<Heard> told = heard(one);
    EXPECT_THAT(told, ElementsAre(system_ready(), node_ready(kLineCard), node_ready(kSecondLineCard),
                                  node_lost(kSecondLineCard)));
    EXPECT_EQ(heard(two), told);
    EXPECT_EQ(one.nodes(), two.nodes());
    EXPECT_EQ(one.nodes().size(), 2U);
}

TEST_P(TwoThreads, HaveAListEach) {
    const Application first(store(), kLineCards);
    Application second(store(), kLineCards);
    // Only the process's first thread finds its head linked; the other's first node links it.
    second.run([] { EXPECT_EQ(cap_nodes_list.next, nullptr); });
    publisher().bring_up(kLineCard);
    EXPECT_THAT(heard(second), ElementsAre(node_ready(kLineCard)));
    second.run([] {
        EXPECT_EQ(cap_nodes_list.next, cap_nodes_list.prev);
        EXPECT_EQ(cap_nodes_list.next->record.node, kLineCard.node);
    });
}

TEST_P(TwoThreads, DoNotTouchEachOthersState) {
    Application one(store(), kLineCards);
    publisher().bring_up(kLineCard);
    EXPECT_THAT(heard(one), ElementsAre(node_ready(kLineCard)));
    one.run([] { trel_cap_sw_node_del(kLineCard.node, kLineCard.config_dev_type); });

    Application two(store(), kLineCards);
    EXPECT_THAT(heard(two), ElementsAre(node_ready(kLineCard))) << "reads the store for itself";
    EXPECT_THAT(heard(one), IsEmpty()) << "and for nobody else";
    EXPECT_THAT(one.nodes(), IsEmpty());
    two.run([] { trel_cap_fe_ready_clear_all_validated_flag(); });
    one.run([] { EXPECT_NE(trel_cap_fe_ready_is_all_validated(), 0); });
}

// The flags that decide what is followed are the thread's; who is told is the process's.
TEST_P(TwoThreads, FollowWhatEachAskedFor) {
    Application nodes(store(), kLineCards);
    Application system(store(), {.fe = 0x01});
    publisher().bring_up(kLineCard);
    publisher().state(CardClass::kLine, true);
    EXPECT_THAT(heard(nodes), ElementsAre(node_ready(kLineCard), system_ready()));
    EXPECT_THAT(heard(system), ElementsAre(system_ready()));
    EXPECT_THAT(system.nodes(), IsEmpty());
}

TEST_P(TwoThreads, OneThatEndsLeavesTheOtherAlone) {
    Application one(store(), kLineCards);
    { Application two(store(), kLineCards); }
    publisher().bring_up(kLineCard);
    EXPECT_THAT(heard(one), ElementsAre(node_ready(kLineCard)));
}

}  // namespace
}  // namespace readiness
