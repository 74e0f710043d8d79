// Fabric cards, control modules and HPS cards, each alone and all at once.
#include "readiness_test.h"

namespace readiness {
namespace {

class CardClasses : public ReadinessTest {};
INSTANTIATE_OVER_STORES(CardClasses);

Heard fab_ready() { return of_class(TREL_CAP_EVENT_FAB); }
Heard fab_node(bool ready) { return of_node(TREL_CAP_EVENT_FAB_NODE, kFabricCard.node, ready); }
Heard cm_ready() { return of_class(TREL_CAP_EVENT_CM); }
Heard cm_node(bool ready) { return of_node(TREL_CAP_EVENT_CM_NODE, kControlModule.node, ready); }
Heard hps_ready() { return of_class(TREL_CAP_EVENT_HPS); }
Heard hps_node(bool ready) { return of_node(TREL_CAP_EVENT_HPS_NODE, kHpsCard.node, ready); }
Heard lc_and_hps_ready() { return of_class(TREL_CAP_EVENT_LC_AND_HPS); }

TEST_P(CardClasses, FabricCards) {
    publisher().install(kFabricCard);
    Application application(store(), kFabric);
    publisher().state(CardClass::kFab, true);
    EXPECT_THAT(heard(application), ElementsAre(fab_ready()));
    publisher().ready(kFabricCard);
    EXPECT_THAT(heard(application), ElementsAre(fab_node(true)));
    publisher().install(kFabricCard);
    EXPECT_THAT(heard(application), ElementsAre(fab_node(true)));
    publisher().unready(kFabricCard);
    EXPECT_THAT(heard(application), ElementsAre(fab_node(false)));
    publisher().ready_in_advance(kFabricCard);
    publisher().drop_readiness(kFabricCard);
    EXPECT_THAT(heard(application), IsEmpty());
    EXPECT_THAT(application.nodes(), ElementsAre(Entry{kFabricCard.node, 5, "online ready installed"}))
        << "a readiness record that goes changes nothing";
    publisher().state(CardClass::kFab, false);
    publisher().state(CardClass::kFab, true);
    EXPECT_THAT(heard(application), ElementsAre(fab_ready())) << "nothing in advance: nobody asked for control modules";
}

TEST_P(CardClasses, FabricCardsAreAnnouncedWhereControlModulesAreFollowed) {
    publisher().install(kFabricCard);
    publisher().ready_in_advance(kFabricCard);
    publisher().state(CardClass::kFab, true);
    Application application(store(), {.fab = 0x18, .cm = 0x24});
    EXPECT_THAT(heard(application), ElementsAre(fab_ready(), fab_node(true)));
}

TEST_P(CardClasses, ControlModules) {
    publisher().install(kControlModule);
    publisher().cm_ready_in_advance(kControlModule);
    Application application(store(), kControlModules);
    EXPECT_THAT(heard(application), ElementsAre(cm_node(true))) << "at once, although not in real time";
    publisher().state(CardClass::kCm, true);
    EXPECT_THAT(heard(application), ElementsAre(cm_ready(), cm_node(true)));
    publisher().cm_ready(kControlModule);
    EXPECT_THAT(heard(application), ElementsAre(cm_node(true)));
    publisher().install(kControlModule);
    EXPECT_THAT(heard(application), ElementsAre(cm_node(true)));
    publisher().drop_cm_readiness(kControlModule);
    EXPECT_THAT(heard(application), IsEmpty());
    publisher().cm_unready(kControlModule);
    EXPECT_THAT(heard(application), ElementsAre(cm_node(false)));
    publisher().remove(kControlModule);
    EXPECT_THAT(heard(application), IsEmpty()) << "told to those who follow line cards: nobody here";
    EXPECT_THAT(application.nodes(), IsEmpty());
}

TEST_P(CardClasses, HpsCards) {
    publisher().install(kHpsCard);
    publisher().ready_in_advance(kHpsCard);
    publisher().state(CardClass::kHps, true);
    Application application(store(), kHpsCards);
    EXPECT_THAT(heard(application), ElementsAre(hps_ready(), hps_node(true)));
    publisher().ready(kHpsCard);
    EXPECT_THAT(heard(application), ElementsAre(hps_node(true)));
    publisher().install(kHpsCard);
    EXPECT_THAT(heard(application), ElementsAre(hps_node(true)));
    publisher().unready(kHpsCard);
    EXPECT_THAT(heard(application), ElementsAre(hps_node(false)));
    publisher().state(CardClass::kHps, false);
    publisher().drop_readiness(kHpsCard);
    EXPECT_THAT(heard(application), IsEmpty());
}

TEST_P(CardClasses, AnHpsNodeIsListedOnceForEachDeviceType) {
    Application application(store(), kHpsCards);
    const Card other{.node = kHpsCard.node, .node_type = 7, .slotid = kHpsCard.slotid, .config_dev_type = 78};
    publisher().ready(kHpsCard);
    publisher().ready(other);
    publisher().ready(kHpsCard);
    EXPECT_THAT(heard(application), IsEmpty());
    EXPECT_EQ(application.nodes().size(), 2U);
}

TEST_P(CardClasses, LineCardsAndHpsCardsAreBothToldAsOneEvent) {
    Application application(store(), {.lc_and_hps = 0x100});
    publisher().state(CardClass::kLine, true);
    EXPECT_THAT(heard(application), ElementsAre(lc_and_hps_ready()));
    publisher().state(CardClass::kHps, true);
    EXPECT_THAT(heard(application), ElementsAre(lc_and_hps_ready()));
    publisher().state(CardClass::kHps, false);
    publisher().state(CardClass::kFab, true);
    publisher().bring_up(kLineCard);
    EXPECT_THAT(heard(application), IsEmpty());
}

// Three processors read the same readiness records, each for its own class.
TEST_P(CardClasses, AllAtOnce) {
    Application application(store(), kEverything);
    publisher().bring_up(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    publisher().install(kFabricCard);
    publisher().ready(kFabricCard);
    EXPECT_THAT(heard(application), UnorderedElementsAre(node_ready(kFabricCard), fab_node(true)));
    publisher().install(kHpsCard);
    publisher().ready(kHpsCard);
    EXPECT_THAT(heard(application), ElementsAre(hps_node(true)));
    publisher().install(kControlModule);
    publisher().cm_ready(kControlModule);
    EXPECT_THAT(heard(application), ElementsAre(cm_node(true)));

    publisher().state(CardClass::kLine, true);
    EXPECT_THAT(heard(application), ElementsAre(system_ready(), lc_and_hps_ready()));
    publisher().state(CardClass::kHps, true);
    EXPECT_THAT(heard(application), ElementsAre(hps_ready(), lc_and_hps_ready()));
    publisher().state(CardClass::kFab, true);
    publisher().state(CardClass::kCm, true);
    EXPECT_THAT(heard(application), ElementsAre(fab_ready(), cm_ready()));

    EXPECT_THAT(application.nodes(), ElementsAre(Entry{kLineCard.node, 3, "online ready real_time installed checked"},
                                                 Entry{kFabricCard.node, 5, "online ready real_time installed"},
                                                 Entry{kControlModule.node, 2, "online ready real_time installed"},
                                                 Entry{kHpsCard.node, 7, "online ready real_time installed"}));
    for (const Card &card : {kFabricCard, kHpsCard, kControlModule, kLineCard}) {
        publisher().remove(card);
        EXPECT_THAT(heard(application), ElementsAre(node_lost(card)));
    }
    EXPECT_THAT(application.nodes(), IsEmpty());
}

TEST_P(CardClasses, AllAtOnceFromWhatTheStoreHolds) {
    publisher().bring_up(kLineCard);
    publisher().install(kFabricCard);
    publisher().ready_in_advance(kFabricCard);
    publisher().install(kHpsCard);
    publisher().ready_in_advance(kHpsCard);
    publisher().install(kControlModule);
    publisher().cm_ready(kControlModule);
    for (const CardClass card_class : {CardClass::kLine, CardClass::kFab, CardClass::kCm, CardClass::kHps}) {
        publisher().state(card_class, true);
    }
    Application application(store(), kEverything);
    EXPECT_THAT(heard(application), UnorderedElementsAre(node_ready(kLineCard), system_ready(), lc_and_hps_ready(),
                                                         lc_and_hps_ready(), fab_ready(), fab_node(true), hps_ready(),
                                                         hps_node(true), cm_ready(), cm_node(true)));
}

}  // namespace
}  // namespace readiness
