// Line cards, from the store to the callback.
#include "readiness_test.h"

#include <algorithm>
#include <array>

namespace readiness {
namespace {

class LineCards : public ReadinessTest {};
INSTANTIATE_OVER_STORES(LineCards);

TEST_P(LineCards, NothingInTheStoreIsLoadedToo) {
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), IsEmpty());
    EXPECT_THAT(application.nodes(), IsEmpty());
}

TEST_P(LineCards, WhatTheStoreHoldsAtTheStartIsTold) {
    const Card denied{.node = 0x103, .node_type = 3, .slotid = 6};
    const Card unchecked{.node = 0x104, .node_type = 3, .slotid = 7};
    publisher().bring_up(kLineCard);
    publisher().bring_up(denied);
    publisher().deny(denied);
    publisher().install(unchecked);
    publisher().ready(unchecked);
    publisher().state(CardClass::kLine, true);
    Application application(store(), kLineCards);
    // A denial is told, whatever was before; in which order the records are read is the store's business.
    EXPECT_THAT(heard(application), UnorderedElementsAre(node_ready(kLineCard), node_lost(denied), system_ready()));
    EXPECT_THAT(application.nodes(),
                ElementsAre(Entry{kLineCard.node, 3, "online ready real_time installed checked"},
                            Entry{denied.node, 3, "online ready real_time installed checked denied"},
                            Entry{unchecked.node, 3, "online ready real_time installed"}));
}

TEST_P(LineCards, PreinstalledNodesAreAnnouncedOnceAllIsRead) {
    publisher().install(kLineCard);
    publisher().ready_in_advance(kLineCard);
    publisher().ready_in_advance(kSecondLineCard);  // never installed
    publisher().state(CardClass::kLine, true);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), system_ready()));
    application.run([] {
        EXPECT_EQ(trel_cap_is_preinstall_card(kLineCard.node), 1);
        EXPECT_EQ(trel_cap_is_preinstall_card(0x999), 0);
    });
}

TEST_P(LineCards, PreinstalledNodesWaitForTheSystem) {
    publisher().install(kLineCard);
    publisher().ready_in_advance(kLineCard);
    Application application(store(), kLineCards);
    EXPECT_THAT(heard(application), IsEmpty());
    publisher().state(CardClass::kLine, false);
    EXPECT_THAT(heard(application), IsEmpty());
    publisher().state(CardClass::kLine, true);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), system_ready()));
    publisher().state(CardClass::kLine, true);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), system_ready())) << "every report is told";
    publisher().state(CardClass::kLine, false);
    publisher().drop_state(CardClass::kLine);
    EXPECT_THAT(heard(application), IsEmpty());
}

// All are read before a card of which nothing is known yet comes: it is announced with the system's next report.
TEST_P(LineCards, ANodePreinstalledLaterIsAnnouncedWithTheNextReport) {
    Application application(store(), kLineCards);
    publisher().ready_in_advance(kLineCard);
    publisher().install(kLineCard);
    EXPECT_THAT(heard(application), IsEmpty());
    publisher().state(CardClass::kLine, true);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), system_ready()));
    publisher().pass(kLineCard);
    EXPECT_THAT(heard(application), IsEmpty()) << "not yet in real time";
    publisher().ready(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    publisher().state(CardClass::kLine, true);
    EXPECT_THAT(heard(application), ElementsAre(system_ready())) << "no longer in advance";
}

TEST_P(LineCards, ComeUpInWhateverOrderTheirRecordsCome) {
    Application application(store(), kLineCards);
    std::array<int, 3> order = {0, 1, 2};
    Card card = kLineCard;
    do {
        for (const int record : order) {
            EXPECT_THAT(heard(application), IsEmpty());
            record == 0 ? publisher().install(card) : record == 1 ? publisher().pass(card) : publisher().ready(card);
        }
        EXPECT_THAT(heard(application), ElementsAre(node_ready(card))) << order[0] << order[1] << order[2];
        ++card.node;
        ++card.slotid;
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_P(LineCards, ComeUpLoseReadinessAndGo) {
    Application application(store(), kLineCards);
    publisher().bring_up(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    publisher().unready(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_lost(kLineCard)));
    publisher().ready(kLineCard);
    publisher().ready(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), node_ready(kLineCard))) << "each record";
    publisher().ready_in_advance(kLineCard);
    EXPECT_THAT(heard(application), IsEmpty()) << "ready, but no longer in real time: silent";
    publisher().ready(kLineCard);
    publisher().drop_readiness(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), node_lost(kLineCard)));
    EXPECT_THAT(application.nodes(), ElementsAre(Entry{kLineCard.node, 3, "online installed checked"}));
    publisher().ready(kLineCard);
    publisher().remove(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), node_lost(kLineCard)));
    EXPECT_THAT(application.nodes(), IsEmpty());
}

TEST_P(LineCards, AreDeniedAndPassed) {
    Application application(store(), kLineCards);
    publisher().deny(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_lost(kLineCard))) << "even before it was ready";
    publisher().install(kLineCard);
    publisher().ready(kLineCard);
    EXPECT_THAT(heard(application), IsEmpty());
    publisher().pass(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    publisher().deny(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_lost(kLineCard)));
    publisher().pass(kLineCard);
    publisher().withdraw_check(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    publisher().ready(kLineCard);
    EXPECT_THAT(heard(application), IsEmpty()) << "without a check nothing is told";
    EXPECT_THAT(application.nodes(), ElementsAre(Entry{kLineCard.node, 3, "online ready real_time installed"}));
}

// A card whose node comes up again after it went is a new card.
TEST_P(LineCards, ComeBackAfterTheyWent) {
    Application application(store(), kLineCards);
    publisher().bring_up(kLineCard);
    publisher().remove(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), node_lost(kLineCard)));
    publisher().install(kLineCard);
    publisher().ready(kLineCard);
    EXPECT_THAT(heard(application), IsEmpty());
    publisher().pass(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
}

TEST_P(LineCards, OfOtherTypesNeedNoCheckOrAreNotTold) {
    Application application(store(), kLineCards);
    const Card without_check{.node = 1, .node_type = 1, .slotid = 1};
    const Card six{.node = 6, .node_type = 6, .slotid = 6};
    publisher().install(without_check);
    publisher().ready(without_check);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(without_check)));
    publisher().deny(without_check);
    EXPECT_THAT(heard(application), IsEmpty());
    publisher().bring_up(six);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(six)));
    publisher().install(kHpsCard);
    publisher().ready(kHpsCard);
    publisher().unready(kHpsCard);
    EXPECT_THAT(heard(application), IsEmpty());
}

TEST_P(LineCards, AreListedInOrderOfTheirNodes) {
    Application application(store(), kLineCards);
    for (const int32_t node : {5, INT32_MIN, 2, -1, INT32_MAX, 9}) {
        publisher().install({.node = node, .slotid = node});
    }
    EXPECT_THAT(heard(application), IsEmpty());
    std::vector<int32_t> nodes;
    for (const Entry &entry : application.nodes()) {
        nodes.push_back(entry.node);
    }
    EXPECT_THAT(nodes, ElementsAre(INT32_MIN, -1, 2, 5, 9, INT32_MAX));
}

// The device alone: no node is followed, and none is told of.
TEST_P(LineCards, AreNotFollowedForTheSystemsSake) {
    publisher().bring_up(kLineCard);
    Application application(store(), {.fe = 0x01});
    publisher().state(CardClass::kLine, true);
    publisher().bring_up(kSecondLineCard);
    EXPECT_THAT(heard(application), ElementsAre(system_ready()));
    EXPECT_THAT(application.nodes(), IsEmpty());
}

// A callback may ask the library, and what it does to the readiness of the system counts at once.
TEST_P(LineCards, ACallbackSeesWhatItIsToldOf) {
    Application application(store(), {.fe = 0x03, .lc_and_hps = 0x100});
    std::vector<int> preinstalled;
    uint8_t stored = 0;
    application.run([&] {
        application.on_event = [&](const Heard &heard) {
            if (heard.node.has_value()) {
                preinstalled.push_back(trel_cap_is_preinstall_card(*heard.node));
            } else if (heard.event == TREL_CAP_EVENT_SYSTEM) {
                EXPECT_EQ(trel_cap_ce_get_glb_ready(application.client(), &stored), 0);
                g_trel_g_cap_calc_ready = 0;
            }
        };
    });
    publisher().install(kLineCard);
    publisher().ready_in_advance(kLineCard);
    publisher().state(CardClass::kLine, true);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard), system_ready())) << "and no event 8";
    publisher().pass(kLineCard);
    publisher().ready(kLineCard);
    EXPECT_THAT(heard(application), ElementsAre(node_ready(kLineCard)));
    EXPECT_THAT(preinstalled, ElementsAre(1, 0));
    EXPECT_EQ(stored, 1);
}

}  // namespace
}  // namespace readiness
