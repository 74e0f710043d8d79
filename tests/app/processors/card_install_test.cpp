// Installation and removal of cards of all classes.

#include <optional>

#include "messages.h"

namespace trel_cap_tests::processors {
namespace {

class CardInstall : public ProcessorTest {
protected:
    CardInstall() : ProcessorTest("trel_cap_install_node_pmsg_f", trel_cap_install_node_pmsg_f) {}

    static constexpr int32_t kCommands[] = {4, 6};

    int32_t install(const Card &card, int32_t cmd = 4) { return process(delivered(card_info(card), cmd)); }

    Events entering(int32_t cmd, int32_t node = kNode) const {
        return {detail(text("pmsg->cmd %d", cmd)),
                progress(text("enter ok, devid 21, slotid 22, sslotid 23 card_nodeid 0x%x config_dev_type 501,",
                              static_cast<unsigned>(node)))};
    }
    Events updated(const CapNodeRecord &old, const CapNodeRecord &now) const {
        return in_order(found(old), detail("dump node"), dumped(now));
    }
    Log sending(int32_t node = kNode) const {
        return progress(text("trel_cap_callback_hander, event[1], node[%d], ready[1]", node));
    }
    static CapNodeRecord after_install(CapNodeRecord record, int32_t node_type, bool is_online = true) {
        record.config_dev_type = kType;
        record.node_type = node_type;
        record.is_online = is_online ? 1 : 0;
        record.dm_install = 1;
        return record;
    }
    // What a card's class is told, and what has to be asked for.
    struct Told {
        const List *list;
        int event;
        uint32_t *flag_word;
        uint32_t bit;
    };
    static std::optional<Told> told_of_type(int32_t node_type) {
        switch (node_type) {
            case 1:
            case 3:
            case 6:
                return Told{&kLineCards, 1, &g_trel_cap_flag, 0x02};
            case 2:
                return Told{&kControlModules, 5, &g_trel_fab_cm_cap_flag, 0x20};
            case 5:
                return Told{&kFabric, 4, &g_trel_fab_cm_cap_flag, 0x10};
            case 7:
                return Told{&kHps, 6, &g_trel_hps_cap_flag, 0x40};
            default:
                return std::nullopt;
        }
    }
};

TEST_F(CardInstall, AnUnknownNodeIsAddedAndNotToldOf) {
    for (const int32_t cmd : kCommands) {
        at_every_log_level([&] {
            start_with(neighbours());
            g_trel_fab_cm_cap_flag = UINT32_MAX;
            EXPECT_EQ(install({.node_type = 2}, cmd), 0);
            const CapNodeRecord fresh = new_entry(kNode, kType, 21, 22, 23);
            const CapNodeRecord now = after_install(fresh, 2);
            expect_events(in_order(entering(cmd), added(fresh), detail("dump node"), dumped(now)));
            expect_listed(among_neighbours({now}));
        });
    }
}

TEST_F(CardInstall, AKnownNodeKeepsWhatOthersKnowOfIt) {
    for (const int32_t is_online : {0, 1, 2, 256, -1}) {
        const CapNodeRecord old = marked_entry(kNode, 88);
        start_with(among_neighbours({old}));
        EXPECT_EQ(install({.node_type = 0, .is_online = is_online}), 0);
        const CapNodeRecord now = after_install(old, 0, is_online != 0);
        expect_events(in_order(entering(4), updated(old, now)));
        expect_listed(among_neighbours({now}));
    }
}

TEST_F(CardInstall, FindsANodeByItsNumber) {
    const CapNodeRecord first = entry({.config_dev_type = 1});
    const CapNodeRecord second = entry({.config_dev_type = kType});
    start_with({first, second});
    EXPECT_EQ(install({}), 0);
    expect_listed({after_install(first, 3), second});
}

TEST_F(CardInstall, OfAReadyLineCardIsTold) {
    const CapNodeRecord old = entry({.config_dev_type = 1, .ready = 1, .real_time = 1, .app_df_chk = 1});
    const CapNodeRecord now = after_install(old, 3);
    for (const int32_t cmd : kCommands) {
        at_every_log_level([&] {
            start_with(among_neighbours({old}));
            g_trel_cap_flag = 0x02;
            EXPECT_EQ(install({}, cmd), 0);
            expect_events(in_order(entering(cmd), updated(old, now), sending(), dispatched(kLineCards, 1, kNode, 1)));
        });
    }
}

// The line in the log speaks of event 1 on the line cards' list, whatever is sent, if anything.
TEST_F(CardInstall, OfAReadyCardIsToldToItsClass) {
    const CapNodeRecord old = ready_entry();
    for (int32_t node_type = -1; node_type <= 9; ++node_type) {
        SCOPED_TRACE("type " + std::to_string(node_type));
        const auto expected = told_of_type(node_type);
        for (const bool asked : {false, true}) {
            start_with({old});
            if (expected.has_value()) {
                *expected->flag_word = asked ? expected->bit : ~expected->bit;
            }
            EXPECT_EQ(install({.node_type = node_type}), 0);
            const Events sent =
                asked && expected.has_value() ? dispatched(*expected->list, expected->event, kNode, 1) : Events{};
            expect_events(in_order(entering(4), updated(old, after_install(old, node_type)), sending(), sent));
        }
    }
}

TEST_F(CardInstall, NumbersWithTheTopBitAreNegativeInTheLog) {
    const int32_t node = -2147483643;
    const CapNodeRecord old = ready_entry({.node = node});
    start_with({old});
    g_trel_cap_flag = 0x02;
    EXPECT_EQ(install({.node = node}), 0);
    expect_events(in_order(entering(4, node), updated(old, after_install(old, 3)), sending(node),
                           dispatched(kLineCards, 1, node, 1)));
}

TEST_F(CardInstall, IsToldWithEveryRecordWhetherAnythingChangedOrNot) {
    start_with({ready_entry()});
    g_trel_cap_flag = 0x02;
    g_trel_cap_zlog_level = 0;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(install({}), 0);
        expect_told({told(kLineCards, 1, kNode, 1)});
    }
}

TEST_F(CardInstall, EveryKindOfNode) {
    g_trel_cap_zlog_level = 0;
    for (int32_t node_type = -1; node_type <= 9; ++node_type) {
        for (unsigned flags = 0; flags < 64; ++flags) {
            SCOPED_TRACE("type " + std::to_string(node_type) + ", flags " + std::to_string(flags));
            const auto flag = [flags](unsigned n) { return static_cast<uint8_t>(flags >> n & 1); };
            const CapNodeRecord node = entry({.node_type = 3,
                                              .ready = flag(0),
                                              .real_time = flag(1),
                                              .dm_install = flag(2),
                                              .app_df_chk = flag(3),
                                              .cns = flag(4)});
            std::vector<CapNodeRecord> entries = {node};
            if (flag(5) != 0) {
                entries.push_back(ready_entry({.config_dev_type = 2}));
            }
            start_with(entries);
            g_trel_cap_flag = g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = UINT32_MAX;
            EXPECT_EQ(install({.node_type = node_type}), 0);
            entries[0] = after_install(node, node_type);
            expect_listed(entries);

            const bool unchecked = node_type == 1 || node_type == 2 || node_type == 5 || node_type == 7;
            const bool passes =
                (unchecked || (node.app_df_chk != 0 && node.cns == 0)) && node.ready != 0 && node.real_time != 0;
            const auto expected = told_of_type(node_type);
            if (passes && expected.has_value()) {
                expect_told({told(*expected->list, expected->event, kNode, 1)});
            } else {
                expect_told({});
            }
        }
    }
}

// At each of the four gates, and at none.
TEST_F(CardInstall, EveryCombinationOfEventsAskedFor) {
    g_trel_cap_zlog_level = 0;
    for (int32_t node_type = 0; node_type <= 8; ++node_type) {
        for (unsigned asked = 0; asked < 16; ++asked) {
            SCOPED_TRACE("type " + std::to_string(node_type) + ", asked " + std::to_string(asked));
            start_with({ready_entry()});
            g_trel_cap_flag = (asked & 1) != 0 ? 0x02 : ~0x02U;
            g_trel_fab_cm_cap_flag = ((asked & 2) != 0 ? 0x20U : 0) | ((asked & 4) != 0 ? 0x10U : 0) | ~0x30U;
            g_trel_hps_cap_flag = (asked & 8) != 0 ? 0x40 : ~0x40U;
            EXPECT_EQ(install({.node_type = node_type}), 0);
            const auto expected = told_of_type(node_type);
            if (expected.has_value() && (*expected->flag_word & expected->bit) != 0) {
                expect_told({told(*expected->list, expected->event, kNode, 1)});
            } else {
                expect_told({});
            }
        }
    }
}

TEST_F(CardInstall, TouchesNothingOfTheThreadsButItsList) {
    start_with({after_install(ready_entry(), 3)});
    g_trel_cap_flag = 0x02;
    const auto before = state();
    EXPECT_EQ(install({}), 0);
    EXPECT_EQ(state(), before);
}

class CardRemoval : public CardInstall {
protected:
    int32_t remove(const Card &card = {}) { return process(deleted(card_info(card))); }

    Events entering(int32_t node = kNode) const {
        return {detail("pmsg->cmd 3"),
                progress(text("devid 21, slotid 22 sslotid 23 node %d config_dev_type 501", node))};
    }
    Log sending(int32_t node = kNode) const {
        return progress(text("trel_cap_callback_hander, event 1, node %d, ready 0", node));
    }
};

TEST_F(CardRemoval, TakesTheNodeOffTheListAndIsTold) {
    const CapNodeRecord old = ready_entry();
    at_every_log_level([&] {
        start_with(among_neighbours({old}));
        EXPECT_EQ(remove(), 0);
        expect_events(in_order(entering(), removed(kNode, kType, {old}), judged(neighbours(), kNode), sending(),
                               dispatched(kLineCards, 1, kNode, 0)));
        expect_listed(neighbours());
    });
}

TEST_F(CardRemoval, NeedsNoStaticInfo) {
    start_with({ready_entry()});
    EXPECT_EQ(process(deleted(card_info_without_static_info())), 0);
    expect_listed({});
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(told(kLineCards, 1, kNode, 0)));
}

// Nobody had heard of it; it is gone all the same.
TEST_F(CardRemoval, OfAnUnknownNodeIsTold) {
    at_every_log_level([this] {
        start_with(neighbours());
        EXPECT_EQ(remove(), 0);
        expect_events(in_order(entering(), removed(kNode, kType, {}), judged(neighbours(), kNode), sending(),
                               dispatched(kLineCards, 1, kNode, 0)));
        expect_listed(neighbours());
    });
}

// By its number and its type, and one entry only.
TEST_F(CardRemoval, OfOneEntryOfTheNode) {
    const CapNodeRecord other_type = entry({.config_dev_type = 1});
    const CapNodeRecord first = entry({.devid = 1});
    const CapNodeRecord second = entry({.devid = 2});
    start_with(among_neighbours({other_type, first, second}));
    EXPECT_EQ(remove(), 0);
    expect_listed(among_neighbours({other_type, second}));
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(told(kLineCards, 1, kNode, 0)));

    EXPECT_EQ(remove({.config_dev_type = 77}), 0);
    expect_listed(among_neighbours({other_type, second}));
}

TEST_F(CardRemoval, IsNotToldWhileAnEntryOfTheNodeIsReady) {
    const CapNodeRecord gone = ready_entry();
    const CapNodeRecord other = ready_entry({.config_dev_type = 2});
    at_every_log_level([&] {
        start_with(among_neighbours({gone, other}));
        EXPECT_EQ(remove(), 0);
        expect_events(in_order(entering(), removed(kNode, kType, {gone}), judged(among_neighbours({other}), kNode)));
        expect_listed(among_neighbours({other}));
    });
}

TEST_F(CardRemoval, NumbersWithTheTopBitAreNegativeInTheLog) {
    const int32_t node = -2147483643;
    start_with();
    EXPECT_EQ(remove({.node = node}), 0);
    expect_events(
        in_order(entering(node), removed(node, kType, {}), sending(node), dispatched(kLineCards, 1, node, 0)));
}

// On the line cards' list, whatever the class, whatever was asked for, and whether the node had been ready or not.
TEST_F(CardRemoval, OfEveryKindOfNode) {
    g_trel_cap_zlog_level = 0;
    for (int32_t node_type = -1; node_type <= 9; ++node_type) {
        for (unsigned flags = 0; flags < 64; ++flags) {
            const auto flag = [flags](unsigned n) { return static_cast<uint8_t>(flags >> n & 1); };
            start_with({entry({.node_type = node_type,
                               .ready = flag(0),
                               .real_time = flag(1),
                               .dm_install = flag(2),
                               .app_df_chk = flag(3),
                               .cns = flag(4)})});
            if (flag(5) != 0) {
                g_trel_cap_flag = g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = UINT32_MAX;
            }
            EXPECT_EQ(remove({.node_type = node_type}), 0);
            expect_told({told(kLineCards, 1, kNode, 0)});
            expect_listed({});
        }
    }
}

}  // namespace
}  // namespace trel_cap_tests::processors
