// Readiness of line-card nodes, which every CapFeReady record tells of.

#include "messages.h"

namespace trel_cap_tests::processors {
namespace {

class FeNode : public ProcessorTest {
protected:
    FeNode() : ProcessorTest("trel_cap_fe_node_pmsg_f", trel_cap_fe_node_pmsg_f) {}

    int32_t deliver(const NodeReadiness &values) { return process(delivered(fe_ready(values))); }

    Log sending(int32_t node, int ready) const {
        return progress(text("trel_cap_callback_hander, event 1, node %d|0x%x, ready %d", node,
                             static_cast<unsigned>(node), ready));
    }
    Events updated(const CapNodeRecord &old, const CapNodeRecord &now) const {
        return in_order(found(old), detail("dump node"), dumped(now));
    }
};

TEST_F(FeNode, AnUnknownNodeIsAddedAndNotToldOf) {
    at_every_log_level([this] {
        start_with(neighbours());
        EXPECT_EQ(deliver({.node_type = 2}), 0);
        const CapNodeRecord fresh = new_entry(kNode, kType, 11, 12, 13);
        CapNodeRecord now = fresh;
        now.ready = 1;
        now.real_time = 1;
        now.node_type = 2;
        expect_events(in_order(added(fresh), detail("dump node"), dumped(now)));
        expect_listed(among_neighbours({now}));
    });
}

TEST_F(FeNode, AKnownNodeKeepsWhatOthersKnowOfIt) {
    for (const int32_t ready : {0, 1, 2, 256, -1}) {
        for (const int32_t real_time : {0, 1, 2, 256, -1}) {
            const CapNodeRecord old = marked_entry(kNode, 88);
            start_with(among_neighbours({old}));
            // A type that ends at its gate.
            EXPECT_EQ(deliver({.node_type = 7, .ready = ready, .real_time = real_time}), 0);
            CapNodeRecord now = old;
            now.config_dev_type = kType;
            now.ready = ready != 0 ? 1 : 0;
            now.real_time = real_time != 0 ? 1 : 0;
            now.node_type = 7;
            expect_events(updated(old, now));
            expect_listed(among_neighbours({now}));
        }
    }
}

// By the node alone: the first entry, whatever its type.
TEST_F(FeNode, FindsANodeByItsNumber) {
    const CapNodeRecord first = entry({.config_dev_type = 1});
    const CapNodeRecord second = entry({.config_dev_type = kType});
    start_with({first, second});
    EXPECT_EQ(deliver({}), 0);
    CapNodeRecord now = first;
    now.config_dev_type = kType;
    now.ready = now.real_time = 1;
    expect_listed({now, second});
}

TEST_F(FeNode, IsToldOfWhenItIsReady) {
    const CapNodeRecord old = entry({.dm_install = 1, .app_df_chk = 1, .is_online = 1});
    const CapNodeRecord now = entry({.ready = 1, .real_time = 1, .dm_install = 1, .app_df_chk = 1, .is_online = 1});
    at_every_log_level([&] {
        start_with(among_neighbours({old}));
        EXPECT_EQ(deliver({}), 0);
        expect_events(in_order(updated(old, now), sending(kNode, 1), dispatched(kLineCards, 1, kNode, 1)));
    });
}

TEST_F(FeNode, IsToldOfWhenItIsNoLongerReady) {
    const CapNodeRecord old = ready_entry();
    for (const int32_t real_time : {0, 1}) {
        CapNodeRecord now = old;
        now.ready = 0;
        now.real_time = static_cast<uint8_t>(real_time);
        at_every_log_level([&] {
            start_with(among_neighbours({old}));
            EXPECT_EQ(deliver({.ready = 0, .real_time = real_time}), 0);
            expect_events(in_order(updated(old, now), judged(among_neighbours({now}), kNode), sending(kNode, 0),
                                   dispatched(kLineCards, 1, kNode, 0)));
        });
    }
}

// Another entry of the node may be.
TEST_F(FeNode, IsNotToldOfWhileAnEntryOfItIsReady) {
    const CapNodeRecord old = entry({.config_dev_type = 1, .dm_install = 1, .app_df_chk = 1});
    const CapNodeRecord other = ready_entry({.config_dev_type = 2});
    CapNodeRecord now = old;
    now.config_dev_type = kType;
    at_every_log_level([&] {
        start_with(among_neighbours({old, other}));
        EXPECT_EQ(deliver({.ready = 0, .real_time = 0}), 0);
        expect_events(in_order(updated(old, now), judged(among_neighbours({now, other}), kNode)));
    });
}

// It has not left anything: what is installed in advance is announced elsewhere.
TEST_F(FeNode, BeingReadyInAdvanceIsNotToldOf) {
    const CapNodeRecord old = entry({.dm_install = 1, .app_df_chk = 1});
    const CapNodeRecord now = entry({.ready = 1, .dm_install = 1, .app_df_chk = 1});
    at_every_log_level([&] {
        start_with({old});
        EXPECT_EQ(deliver({.real_time = 0}), 0);
        expect_events(in_order(updated(old, now), judged({now}, kNode)));
    });
}

TEST_F(FeNode, NumbersWithTheTopBitAreNegativeInTheLog) {
    const int32_t node = -2147483643;
    const CapNodeRecord old = entry({.node = node, .dm_install = 1, .app_df_chk = 1});
    CapNodeRecord now = old;
    now.ready = now.real_time = 1;
    start_with({old});
    EXPECT_EQ(deliver({.node = node}), 0);
    expect_events(in_order(updated(old, now),
                           progress("trel_cap_callback_hander, event 1, node -2147483643|0x80000005, ready 1"),
                           dispatched(kLineCards, 1, node, 1)));
}

TEST_F(FeNode, IsToldOfWithEveryRecordWhetherAnythingChangedOrNot) {
    start_with({ready_entry()});
    g_trel_cap_zlog_level = 0;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(deliver({}), 0);
        expect_told({told(kLineCards, 1, kNode, 1)});
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(deliver({.ready = 0}), 0);
        expect_told({told(kLineCards, 1, kNode, 0)});
    }
}

// Which types of card wait for the application's check, which for their installation only, and who is told at all.
TEST_F(FeNode, EveryKindOfNode) {
    g_trel_cap_zlog_level = 0;
    for (int32_t node_type = -1; node_type <= 9; ++node_type) {
        for (unsigned flags = 0; flags < 64; ++flags) {
            SCOPED_TRACE("type " + std::to_string(node_type) + ", flags " + std::to_string(flags));
            const auto flag = [flags](unsigned n) { return static_cast<uint8_t>(flags >> n & 1); };
            CapNodeRecord node = entry({.node_type = 3, .dm_install = flag(0), .app_df_chk = flag(1), .cns = flag(2)});
            const bool another_is_ready = flag(5) != 0;
            std::vector<CapNodeRecord> entries = {node};
            if (another_is_ready) {
                entries.push_back(ready_entry({.config_dev_type = 2}));
            }
            start_with(entries);
            EXPECT_EQ(deliver({.node_type = node_type, .ready = flag(3), .real_time = flag(4)}), 0);

            node.node_type = node_type;
            node.ready = flag(3);
            node.real_time = flag(4);
            entries[0] = node;
            expect_listed(entries);

            bool passes = node.dm_install != 0;
            if (node_type == 7) {
                passes = false;
            } else if (node_type != 1 && node_type != 2 && node_type != 5) {
                passes = passes && node.app_df_chk != 0 && node.cns == 0;
            }
            if (passes && node.ready != 0 && node.real_time != 0) {
                expect_told({told(kLineCards, 1, kNode, 1)});
            } else if (passes && node.ready == 0 && !another_is_ready) {
                expect_told({told(kLineCards, 1, kNode, 0)});
            } else {
                expect_told({});
            }
        }
    }
}

// Nobody's flags matter: whoever is on the line cards' list is told.
TEST_F(FeNode, IsToldOfWhateverWasAskedFor) {
    g_trel_cap_zlog_level = 0;
    start_with({ready_entry()});
    for (const uint32_t flags : {0U, 1U, 2U, UINT32_MAX}) {
        g_trel_cap_flag = flags;
        EXPECT_EQ(deliver({}), 0);
        expect_told({told(kLineCards, 1, kNode, 1)});
    }
}

TEST_F(FeNode, TouchesNothingOfTheThreadsButItsList) {
    start_with({ready_entry()});
    const auto before = state();
    EXPECT_EQ(deliver({}), 0);
    EXPECT_EQ(state(), before);
}

class FeNodeDeleted : public FeNode {
protected:
    int32_t remove(const NodeReadiness &values = {}) { return process(deleted(fe_ready(values))); }

    Events entering(int ready = 1) const {
        return {progress(text("node 43, config_dev_type 501, ready %d,", ready)),
                progress("enter ok, devid 11, slotid 12, sslotid 13 type 43 node_type 501, card_nodeid 43")};
    }
    Log sending(int32_t node) const {
        return progress(text("trel_cap_callback_hander, event 1, node %d, ready 0", node));
    }
};

TEST_F(FeNodeDeleted, IsNoLongerReadyAndStaysListed) {
    const CapNodeRecord old = ready_entry({.config_dev_type = 1, .is_online = 1});
    CapNodeRecord now = old;
    now.config_dev_type = kType;
    now.ready = now.real_time = 0;
    at_every_log_level([&] {
        start_with(among_neighbours({old}));
        EXPECT_EQ(remove(), 0);
        expect_events(in_order(entering(), found(old), judged(among_neighbours({now}), kNode), sending(kNode),
                               dispatched(kLineCards, 1, kNode, 0)));
        expect_listed(among_neighbours({now}));
    });
}

TEST_F(FeNodeDeleted, KeepsWhatOthersKnowOfIt) {
    const CapNodeRecord old = marked_entry(kNode, 88);
    CapNodeRecord now = old;
    now.config_dev_type = kType;
    now.ready = now.real_time = 0;
    start_with(among_neighbours({old}));
    EXPECT_EQ(remove({.ready = 0}), 0);
    expect_events(in_order(entering(0), found(old), judged(among_neighbours({now}), kNode), sending(kNode),
                           dispatched(kLineCards, 1, kNode, 0)));
    expect_listed(among_neighbours({now}));
}

TEST_F(FeNodeDeleted, ShowsTheRecordsReadinessAsItIs) {
    for (const int32_t ready : {0, 1, 256, -1}) {
        start_with();
        EXPECT_EQ(remove({.ready = ready}), 0);
        EXPECT_THAT(platform.logs(processor_name),
                    ::testing::Contains(progress(text("node 43, config_dev_type 501, ready %d,", ready))));
        platform.forget();
    }
}

TEST_F(FeNodeDeleted, AnUnknownNodeIsNothing) {
    at_every_log_level([this] {
        start_with(neighbours());
        EXPECT_EQ(remove(), 0);
        expect_events(in_order(entering(), progress("node not exsit, no need to pro")));
        expect_listed(neighbours());
    });
}

TEST_F(FeNodeDeleted, IsNotToldOfWhileAnEntryOfItIsReady) {
    const CapNodeRecord old = ready_entry({.config_dev_type = 1});
    const CapNodeRecord other = ready_entry({.config_dev_type = kType});
    CapNodeRecord now = old;
    now.config_dev_type = kType;
    now.ready = now.real_time = 0;
    at_every_log_level([&] {
        start_with(among_neighbours({old, other}));
        EXPECT_EQ(remove(), 0);
        expect_events(in_order(entering(), found(old), judged(among_neighbours({now, other}), kNode)));
        expect_listed(among_neighbours({now, other}));
    });
}

TEST_F(FeNodeDeleted, EveryKindOfNodeIsToldOf) {
    g_trel_cap_zlog_level = 0;
    for (int32_t node_type = -1; node_type <= 9; ++node_type) {
        for (unsigned flags = 0; flags < 32; ++flags) {
            const auto flag = [flags](unsigned n) { return static_cast<uint8_t>(flags >> n & 1); };
            start_with({entry({.node_type = node_type,
                               .ready = flag(0),
                               .real_time = flag(1),
                               .dm_install = flag(2),
                               .app_df_chk = flag(3),
                               .cns = flag(4)})});
            EXPECT_EQ(remove(), 0);
            expect_told({told(kLineCards, 1, kNode, 0)});
        }
    }
}

}  // namespace
}  // namespace trel_cap_tests::processors
