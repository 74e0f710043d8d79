// A follower that cannot keep up.
#include "readiness_test.h"

namespace readiness {
namespace {

class StalledFollower : public ReadinessTest {};
INSTANTIATE_OVER_STORES(StalledFollower);

// Past the bound of what waits for it, a follower is cut off and reads the store anew.
TEST_P(StalledFollower, EndsInWhatTheStoreHolds) {
    publisher().bring_up(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    int writes = 70000;
    if (has_server()) {
        server().connection().must({"CONFIG", "SET", "client-output-buffer-limit", "pubsub 100000 100000 1"});
        writes = 10000;
    }
    Application::Stall stall(application);
    for (int i = 0; i < writes; ++i) {
        i % 2 == 0 ? publisher().unready(kLineCard) : publisher().ready(kLineCard);
    }
    publisher().unready(kLineCard);
    stall.end();
    ASSERT_TRUE(application.comes_back(1));
    const std::vector<Heard> told = heard(application);
    EXPECT_LT(told.size(), static_cast<size_t>(writes)) << "not all of it waited";
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told.back(), node_lost(kLineCard));
    application.run([] { EXPECT_EQ(g_trel_cap_config_reconnect, 0); });
    EXPECT_THAT(application.nodes(), ElementsAre(Entry{kLineCard.node, 3, "online real_time installed checked"}));
    publisher().ready(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
}

// Within the bound nothing is lost and nothing is out of order.
TEST_P(StalledFollower, IsToldEverythingThatWaited) {
    publisher().install(kLineCard);
    publisher().pass(kLineCard);
    Application application(store(), kLineCards);
    Application::Stall stall(application);
    std::vector<Heard> expected;
    for (int i = 0; i < 200; ++i) {
        publisher().ready(kLineCard);
        publisher().unready(kLineCard);
        expected.push_back(node_ready(kLineCard));
        expected.push_back(node_lost(kLineCard));
    }
    stall.end();
    EXPECT_EQ(heard(application), expected);
    EXPECT_EQ(application.reconnections(), 0);
}

}  // namespace
}  // namespace readiness
