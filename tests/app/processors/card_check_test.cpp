// The application's check of cards: passed, denied, withdrawn.

#include "messages.h"

namespace trel_cap_tests::processors {
namespace {

class CardCheck : public ProcessorTest {
protected:
    CardCheck() : ProcessorTest("trel_cap_app_df_pmsg_f", trel_cap_app_df_pmsg_f) {}

    static constexpr int32_t kCommands[] = {4, 6};
    static constexpr int32_t kUnchecked[] = {1, 2, 5, 7};

    int32_t check(const Check &values, int32_t cmd = 4) { return process(delivered(check_result(values), cmd)); }

    Events entering(int32_t cmd, int32_t node = kNode) const {
        return {detail(text("pmsg->cmd %d", cmd)),
                progress(text("enter ok, devid 31, slotid 32, sslotid 33 card_nodeid 0x%x config_dev_type 501,",
                              static_cast<unsigned>(node)))};
    }
    Events updated(const CapNodeRecord &old, const CapNodeRecord &now) const {
        return in_order(found(old), detail("dump node"), dumped(now));
    }
    Log sending(int ready, int32_t node = kNode) const {
        return progress(text("trel_cap_callback_hander, event 1, node %d, ready %d", node, ready));
    }
    static CapNodeRecord after_check(CapNodeRecord record, bool denied) {
        record.config_dev_type = kType;
        record.app_df_chk = 1;
        record.cns = denied ? 1 : 0;
        return record;
    }
};

TEST_F(CardCheck, DeniedIsToldOfWhateverTheNodeWas) {
    const CapNodeRecord old = entry({.config_dev_type = 1});
    const CapNodeRecord now = after_check(old, true);
    for (const int32_t cmd : kCommands) {
        at_every_log_level([&] {
            start_with(among_neighbours({old}));
            EXPECT_EQ(check({.stat = APP_DF_CHECK_DENY}, cmd), 0);
            expect_events(in_order(entering(cmd), updated(old, now), sending(0), dispatched(kLineCards, 1, kNode, 0)));
            expect_listed(among_neighbours({now}));
        });
    }
}

// Nor does another entry of the node keep it from being told.
TEST_F(CardCheck, DeniedIsToldOfThoughAnotherEntryIsReady) {
    start_with({ready_entry(), ready_entry({.config_dev_type = 2})});
    EXPECT_EQ(check({.stat = APP_DF_CHECK_DENY}), 0);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(told(kLineCards, 1, kNode, 0)));
}

TEST_F(CardCheck, PassedIsToldOfWhenTheNodeIsReadyWithIt) {
    const CapNodeRecord old =
        entry({.config_dev_type = 1, .ready = 1, .real_time = 1, .dm_install = 1, .cns = 1, .is_online = 1});
    const CapNodeRecord now = after_check(old, false);
    for (const int32_t cmd : kCommands) {
        at_every_log_level([&] {
            start_with(among_neighbours({old}));
            EXPECT_EQ(check({}, cmd), 0);
            expect_events(in_order(entering(cmd), updated(old, now), judged(among_neighbours({now}), kNode), sending(1),
                                   dispatched(kLineCards, 1, kNode, 1)));
            expect_listed(among_neighbours({now}));
        });
    }
}

TEST_F(CardCheck, PassedIsNotToldOfWhileTheNodeIsNotReady) {
    const CapNodeRecord old = entry({.ready = 1, .real_time = 1});
    const CapNodeRecord now = after_check(old, false);
    at_every_log_level([&] {
        start_with(among_neighbours({old}));
        EXPECT_EQ(check({}), 0);
        expect_events(in_order(entering(4), updated(old, now), judged(among_neighbours({now}), kNode)));
        expect_listed(among_neighbours({now}));
    });
}

// Any entry of the node counts.
TEST_F(CardCheck, PassedIsToldOfWhenAnotherEntryIsReady) {
    start_with({entry(), ready_entry({.config_dev_type = 2})});
    EXPECT_EQ(check({}), 0);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(told(kLineCards, 1, kNode, 1)));
}

TEST_F(CardCheck, AnUnknownNodeIsAddedAndDenied) {
    at_every_log_level([this] {
        start_with(neighbours());
        EXPECT_EQ(check({.stat = APP_DF_CHECK_DENY}), 0);
        const CapNodeRecord fresh = new_entry(kNode, kType, 31, 32, 33);
        const CapNodeRecord now = after_check(fresh, true);
        expect_events(in_order(entering(4), added(fresh), detail("dump node"), dumped(now), sending(0),
                               dispatched(kLineCards, 1, kNode, 0)));
        expect_listed(among_neighbours({now}));
    });
}

TEST_F(CardCheck, AnUnknownNodeThatPassesIsAddedAndNotToldOf) {
    start_with(neighbours());
    EXPECT_EQ(check({}), 0);
    const CapNodeRecord fresh = new_entry(kNode, kType, 31, 32, 33);
    const CapNodeRecord now = after_check(fresh, false);
    expect_events(
        in_order(entering(4), added(fresh), detail("dump node"), dumped(now), judged(among_neighbours({now}), kNode)));
    expect_listed(among_neighbours({now}));
}

TEST_F(CardCheck, AKnownNodeKeepsWhatOthersKnowOfIt) {
    for (const int32_t stat : {APP_DF_CHECK_DENY, APP_DF_CHECK_PASS}) {
        const CapNodeRecord old = marked_entry(kNode, 88);
        start_with(among_neighbours({old}));
        EXPECT_EQ(check({.stat = stat}), 0);
        expect_listed(among_neighbours({after_check(old, stat == APP_DF_CHECK_DENY)}));
    }
}

// Cards of these types are not checked: the type of device is all that is learned, and nothing is said of it.
TEST_F(CardCheck, OfATypeThatIsNotCheckedMeansNothing) {
    for (const int32_t node_type : kUnchecked) {
        for (const int32_t stat : {APP_DF_CHECK_DENY, APP_DF_CHECK_PASS}) {
            CapNodeRecord old = marked_entry(kNode, 88);
            old.node_type = node_type;
            CapNodeRecord now = old;
            now.config_dev_type = kType;
            at_every_log_level([&] {
                start_with(among_neighbours({old}));
                EXPECT_EQ(check({.stat = stat}), 0);
                expect_events(in_order(entering(4), found(old)));
                expect_listed(among_neighbours({now}));
            });
        }
    }
}

TEST_F(CardCheck, FindsANodeByItsNumber) {
    const CapNodeRecord first = entry({.config_dev_type = 1});
    const CapNodeRecord second = entry({.config_dev_type = kType});
    start_with({first, second});
    EXPECT_EQ(check({}), 0);
    expect_listed({after_check(first, false), second});
}

TEST_F(CardCheck, NumbersWithTheTopBitAreNegativeInTheLog) {
    const int32_t node = -2147483643;
    const CapNodeRecord old = ready_entry({.node = node});
    for (const bool denied : {true, false}) {
        start_with({old});
        EXPECT_EQ(check({.node = node, .stat = denied ? APP_DF_CHECK_DENY : APP_DF_CHECK_PASS}), 0);
        const CapNodeRecord now = after_check(old, denied);
        const int ready = denied ? 0 : 1;
        expect_events(in_order(entering(4, node), updated(old, now), denied ? Events{} : judged({now}, node),
                               sending(ready, node), dispatched(kLineCards, 1, node, ready)));
    }
}

TEST_F(CardCheck, EveryKindOfNode) {
    g_trel_cap_zlog_level = 0;
    for (int32_t node_type = -1; node_type <= 9; ++node_type) {
        for (unsigned flags = 0; flags < 256; ++flags) {
            SCOPED_TRACE("type " + std::to_string(node_type) + ", flags " + std::to_string(flags));
            const auto flag = [flags](unsigned n) { return static_cast<uint8_t>(flags >> n & 1); };
            const CapNodeRecord node = entry({.node_type = node_type,
                                              .ready = flag(0),
                                              .real_time = flag(1),
                                              .dm_install = flag(2),
                                              .app_df_chk = flag(3),
                                              .cns = flag(4)});
            const bool denied = flag(5) != 0;
            const bool another_is_ready = flag(6) != 0;
            std::vector<CapNodeRecord> entries = {node};
            if (another_is_ready) {
                entries.push_back(ready_entry({.config_dev_type = 2}));
            }
            start_with(entries);
            g_trel_cap_flag = flag(7) != 0 ? UINT32_MAX : 0;
            EXPECT_EQ(check({.stat = denied ? APP_DF_CHECK_DENY : APP_DF_CHECK_PASS}), 0);

            const bool unchecked = node_type == 1 || node_type == 2 || node_type == 5 || node_type == 7;
            entries[0] = unchecked ? node : after_check(node, denied);
            expect_listed(entries);
            const bool ready = (node.ready != 0 && node.real_time != 0 && node.dm_install != 0) || another_is_ready;
            if (!unchecked && denied) {
                expect_told({told(kLineCards, 1, kNode, 0)});
            } else if (!unchecked && ready) {
                expect_told({told(kLineCards, 1, kNode, 1)});
            } else {
                expect_told({});
            }
        }
    }
}

TEST_F(CardCheck, TouchesNothingOfTheThreadsButItsList) {
    start_with({ready_entry()});
    const auto before = state();
    EXPECT_EQ(check({}), 0);
    EXPECT_EQ(state(), before);
}

class CardCheckWithdrawn : public CardCheck {
protected:
    int32_t withdraw(const Check &values = {}) { return process(deleted(check_result(values))); }

    Events entering(int32_t node = kNode) const {
        return {detail("pmsg->cmd 3"),
                progress(text("enter ok, devid 31, slotid 32, sslotid 33 type %d node_type 501, card_nodeid %d", node,
                              node))};
    }
};

TEST_F(CardCheckWithdrawn, IsForgottenAndNotToldOf) {
    for (int32_t node_type = -1; node_type <= 9; ++node_type) {
        CapNodeRecord old = marked_entry(kNode, 88);
        old.node_type = node_type;
        CapNodeRecord now = old;
        now.config_dev_type = kType;
        now.cns = now.app_df_chk = 0;
        at_every_log_level([&] {
            start_with(among_neighbours({old}));
            EXPECT_EQ(withdraw({.stat = node_type % 2 == 0 ? APP_DF_CHECK_DENY : APP_DF_CHECK_PASS}), 0);
            expect_events(in_order(entering(), found(old)));
            expect_listed(among_neighbours({now}));
        });
    }
}

TEST_F(CardCheckWithdrawn, OfAReadyNodeIsNotToldOfEither) {
    CapNodeRecord now = ready_entry();
    start_with({now});
    EXPECT_EQ(withdraw(), 0);
    EXPECT_THAT(platform.calls(), ::testing::IsEmpty());
    now.app_df_chk = 0;
    expect_listed({now});
}

TEST_F(CardCheckWithdrawn, OfAnUnknownNodeIsNothing) {
    at_every_log_level([this] {
        start_with(neighbours());
        EXPECT_EQ(withdraw(), 0);
        expect_events(in_order(entering(), progress("node not exsit, no need to pro")));
        expect_listed(neighbours());
    });
}

TEST_F(CardCheckWithdrawn, FindsANodeByItsNumber) {
    const CapNodeRecord first = ready_entry({.config_dev_type = 1});
    const CapNodeRecord second = ready_entry();
    start_with({first, second});
    EXPECT_EQ(withdraw(), 0);
    CapNodeRecord now = first;
    now.config_dev_type = kType;
    now.app_df_chk = 0;
    expect_listed({now, second});
}

}  // namespace
}  // namespace trel_cap_tests::processors
