// A publisher in another process.
#include "readiness_test.h"
#include "remote_publisher.h"

namespace readiness {
namespace {

class AnotherProcess : public test_support::ServerTest {};
INSTANTIATE_OVER_SERVERS(AnotherProcess);

TEST_P(AnotherProcess, BringsCardsUpAndTakesThemAway) {
    RemotePublisher publisher(store());
    publisher.bring_up(kLineCard);
    Application application(store(), kEverything);
    EXPECT_THAT(application.heard(publisher), ElementsAre(node_ready(kLineCard)));
    publisher.state(CardClass::kLine, true);
    publisher.bring_up(kSecondLineCard);
    publisher.deny(kSecondLineCard);
    publisher.unready(kLineCard);
    publisher.remove(kLineCard);
    EXPECT_THAT(application.heard(publisher),
                ElementsAre(system_ready(), of_class(TREL_CAP_EVENT_LC_AND_HPS), node_ready(kSecondLineCard),
                            node_lost(kSecondLineCard), node_lost(kLineCard), node_lost(kLineCard)));
    publisher.install(kControlModule);
    publisher.cm_ready(kControlModule);
    publisher.install(kHpsCard);
    publisher.ready(kHpsCard);
    EXPECT_THAT(application.heard(publisher), ElementsAre(of_node(TREL_CAP_EVENT_CM_NODE, kControlModule.node, true),
                                                          of_node(TREL_CAP_EVENT_HPS_NODE, kHpsCard.node, true)));
}

TEST_P(AnotherProcess, AndTheServerGoesMeanwhile) {
    Application application(store(), kLineCards);
    RemotePublisher(store()).bring_up(kLineCard);
    server().restart(test_support::RedisServer::Data::kDropped);
    RemotePublisher publisher(store());
    ASSERT_TRUE(application.comes_back(1));
    application.heard(publisher);
    publisher.bring_up(kSecondLineCard);
    EXPECT_THAT(application.heard(publisher), ElementsAre(node_ready(kSecondLineCard)));
}

}  // namespace
}  // namespace readiness
