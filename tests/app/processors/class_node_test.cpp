// Readiness of fabric, control-module and HPS nodes: what the three processors have in common, and what each of them
// does with every kind of node.

#include "card_classes.h"
#include "messages.h"
#include "parameter_name.h"

namespace trel_cap_tests::processors {
namespace {

struct Nodes {
    const char *name;
    const char *processor;
    MomMsgCb process;
    Record (*record)(const NodeReadiness &values);
    const List &list;
    int event;
    int32_t node_type;  // one that it tells of
    bool only_that_type;
    bool waits_for_real_time;  // before it tells that a node is ready
    bool finds_by_type;        // too, and so leaves the type alone
};

const Nodes kFabricNodes = {
    "Fabric", "trel_cap_fab_node_pmsg_f", trel_cap_fab_node_pmsg_f, fe_ready, kFabric, 4, 5, true, true, false};
const Nodes kControlModuleNodes = {"ControlModules",
                                   "trel_cap_cm_node_pmsg_f",
                                   trel_cap_cm_node_pmsg_f,
                                   cm_ready,
                                   kControlModules,
                                   5,
                                   2,
                                   false,
                                   false,
                                   false};
const Nodes kHpsNodes = {"Hps", "trel_cap_hps_node_pmsg_f", trel_cap_hps_node_pmsg_f, fe_ready, kHps, 6, 7, true, true,
                         true};

class ClassNode : public ProcessorTest, public ::testing::WithParamInterface<const Nodes *> {
protected:
    ClassNode() : ProcessorTest(GetParam()->processor, GetParam()->process) {}

    const Nodes &nodes = *GetParam();
    const char *const search = nodes.finds_by_type ? "trel_cap_sw_node_and_type_search" : "trel_cap_sw_node_search";

    int32_t deliver(NodeReadiness values = {}) { return process(delivered(nodes.record(values))); }
    NodeReadiness of_class(int32_t ready, int32_t real_time) const {
        return {.node_type = nodes.node_type, .ready = ready, .real_time = real_time};
    }
    Log sending(int32_t node, int ready) const {
        return progress(text("trel_cap_callback_hander, event %d, node %d|0x%x, ready %d", nodes.event, node,
                             static_cast<unsigned>(node), ready));
    }
    Events updated(const CapNodeRecord &old, const CapNodeRecord &now) const {
        return in_order(trel_cap_tests::found(search, old), detail("dump node"), dumped(now));
    }
    CapNodeRecord installed(uint8_t ready = 0, uint8_t real_time = 0) const {
        return entry({.node_type = nodes.node_type, .ready = ready, .real_time = real_time, .dm_install = 1});
    }
};

INSTANTIATE_TEST_SUITE_P(Classes, ClassNode, ::testing::Values(&kFabricNodes, &kControlModuleNodes, &kHpsNodes),
                         test_support::name_of);

TEST_P(ClassNode, AnUnknownNodeIsAddedAndNotToldOf) {
    at_every_log_level([this] {
        start_with(neighbours());
        EXPECT_EQ(deliver(of_class(1, 1)), 0);
        const CapNodeRecord fresh = new_entry(kNode, kType, 11, 12, 13);
        CapNodeRecord now = fresh;
        now.ready = now.real_time = 1;
        now.node_type = nodes.node_type;
        expect_events(in_order(added(fresh), detail("dump node"), dumped(now)));
        expect_listed(among_neighbours({now}));
    });
}

TEST_P(ClassNode, AKnownNodeKeepsWhatOthersKnowOfIt) {
    for (const int32_t ready : {0, 1, 2, 256, -1}) {
        for (const int32_t real_time : {0, 1, 2, 256, -1}) {
            const CapNodeRecord old = marked_entry();
            start_with(among_neighbours({old}));
            EXPECT_EQ(deliver({.node_type = 66, .ready = ready, .real_time = real_time}), 0);
            CapNodeRecord now = old;
            now.ready = ready != 0 ? 1 : 0;
            now.real_time = real_time != 0 ? 1 : 0;
            now.node_type = 66;
            expect_listed(among_neighbours({now}));
        }
    }
}

TEST_P(ClassNode, IsToldOfWhenItIsReady) {
    at_every_log_level([this] {
        start_with(among_neighbours({installed()}));
        EXPECT_EQ(deliver(of_class(1, 1)), 0);
        expect_events(in_order(updated(installed(), installed(1, 1)), sending(kNode, 1),
                               dispatched(nodes.list, nodes.event, kNode, 1)));
    });
}

TEST_P(ClassNode, IsToldOfWhenItIsNotReady) {
    for (const uint8_t real_time : {uint8_t{0}, uint8_t{1}}) {
        at_every_log_level([&] {
            start_with(among_neighbours({installed(1, 1)}));
            EXPECT_EQ(deliver(of_class(0, real_time)), 0);
            const CapNodeRecord now = installed(0, real_time);
            expect_events(in_order(updated(installed(1, 1), now), judged(among_neighbours({now}), kNode),
                                   sending(kNode, 0), dispatched(nodes.list, nodes.event, kNode, 0)));
        });
    }
}

TEST_P(ClassNode, IsNotToldOfWhileAnEntryOfItIsReady) {
    const CapNodeRecord other = ready_entry({.config_dev_type = 9});
    at_every_log_level([&] {
        start_with(among_neighbours({installed(1, 1), other}));
        EXPECT_EQ(deliver(of_class(0, 0)), 0);
        expect_events(
            in_order(updated(installed(1, 1), installed()), judged(among_neighbours({installed(), other}), kNode)));
    });
}

TEST_P(ClassNode, NumbersWithTheTopBitAreNegativeInTheLog) {
    const int32_t node = -2147483643;
    CapNodeRecord old = installed();
    old.node = node;
    CapNodeRecord now = installed(1, 1);
    now.node = node;
    start_with({old});
    NodeReadiness values = of_class(1, 1);
    values.node = node;
    EXPECT_EQ(deliver(values), 0);
    expect_events(in_order(updated(old, now), sending(node, 1), dispatched(nodes.list, nodes.event, node, 1)));
}

TEST_P(ClassNode, IsToldOfWithEveryRecordWhateverWasAskedFor) {
    start_with({installed(1, 1)});
    g_trel_cap_zlog_level = 0;
    for (const uint32_t flags : {0U, UINT32_MAX}) {
        g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = flags;
        for (const int ready : {1, 1, 0, 0}) {
            EXPECT_EQ(deliver(of_class(ready, 1)), 0);
            expect_told({told(nodes.list, nodes.event, kNode, ready)});
        }
    }
}

TEST_P(ClassNode, EveryKindOfNode) {
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

            const bool passes = node.dm_install != 0 && (node_type == nodes.node_type || !nodes.only_that_type);
            if (passes && node.ready != 0 && (node.real_time != 0 || !nodes.waits_for_real_time)) {
                expect_told({told(nodes.list, nodes.event, kNode, 1)});
            } else if (passes && node.ready == 0 && !another_is_ready) {
                expect_told({told(nodes.list, nodes.event, kNode, 0)});
            } else {
                expect_told({});
            }
        }
    }
}

TEST_P(ClassNode, TouchesNothingOfTheThreadsButItsList) {
    start_with({installed(1, 1)});
    const auto before = state();
    EXPECT_EQ(deliver(of_class(1, 1)), 0);
    EXPECT_EQ(state(), before);
}

// Of two entries of the node, and one of its type.

TEST_P(ClassNode, FindsANodeByItsNumberAndHpsByItsTypeToo) {
    const CapNodeRecord first = entry({.config_dev_type = 1, .node_type = 3});
    const CapNodeRecord second = entry({.config_dev_type = kType, .node_type = 3});
    start_with({first, second});
    EXPECT_EQ(deliver(of_class(1, 1)), 0);
    std::vector<CapNodeRecord> now = {first, second};
    CapNodeRecord &written = now[nodes.finds_by_type ? 1 : 0];
    written.config_dev_type = kType;
    written.ready = written.real_time = 1;
    written.node_type = nodes.node_type;
    expect_listed(now);
}

TEST_P(ClassNode, AnEntryOfAnotherTypeIsTheNodesOwnButNotToHps) {
    const CapNodeRecord other = marked_entry(kNode, 1);
    start_with({other});
    EXPECT_EQ(deliver(of_class(0, 0)), 0);
    CapNodeRecord now = nodes.finds_by_type ? new_entry(kNode, kType, 11, 12, 13) : other;
    now.config_dev_type = kType;
    now.ready = now.real_time = 0;
    now.node_type = nodes.node_type;
    expect_listed(nodes.finds_by_type ? std::vector<CapNodeRecord>{other, now} : std::vector<CapNodeRecord>{now});
}

// Being ready in advance.

using ClassNodeInAdvance = ClassNode;

INSTANTIATE_TEST_SUITE_P(Waiting, ClassNodeInAdvance, ::testing::Values(&kFabricNodes, &kHpsNodes),
                         test_support::name_of);

TEST_P(ClassNodeInAdvance, IsNotToldOf) {
    at_every_log_level([this] {
        start_with({installed()});
        EXPECT_EQ(deliver(of_class(1, 0)), 0);
        expect_events(in_order(updated(installed(), installed(1, 0)), judged({installed(1, 0)}, kNode)));
    });
}

class ControlModuleNode : public ProcessorTest {
protected:
    ControlModuleNode() : ProcessorTest("trel_cap_cm_node_pmsg_f", trel_cap_cm_node_pmsg_f) {}
};

// A control module need not be in real time.
TEST_F(ControlModuleNode, BeingReadyInAdvanceIsToldOf) {
    const CapNodeRecord old = entry({.node_type = 2, .dm_install = 1});
    const CapNodeRecord now = entry({.node_type = 2, .ready = 1, .dm_install = 1});
    at_every_log_level([&] {
        start_with({old});
        EXPECT_EQ(process(delivered(cm_ready({.node_type = 2, .real_time = 0}))), 0);
        expect_events(in_order(found(old), detail("dump node"), dumped(now),
                               progress("trel_cap_callback_hander, event 5, node 43|0x2b, ready 1"),
                               dispatched(kControlModules, 5, kNode, 1)));
    });
}

}  // namespace
}  // namespace trel_cap_tests::processors
