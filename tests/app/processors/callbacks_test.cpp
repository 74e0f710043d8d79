// Callbacks that change what the processor is at, as they may when they run the client's loop; and what other threads
// see of it all, which is nothing.

#include <thread>
#include <utility>

#include "allocations.h"
#include "card_classes.h"
#include "messages.h"

namespace trel_cap_tests::processors {
namespace {

struct Path {
    const char *name;
    MomMsgCb processor;
    Message message;
};

const std::vector<Path> &paths() {
    static const std::vector<Path> all = {
        {"LineCardReady", trel_cap_fe_node_pmsg_f, delivered(fe_ready())},
        {"LineCardUnready", trel_cap_fe_node_pmsg_f, delivered(fe_ready({.ready = 0}))},
        {"LineCardDeleted", trel_cap_fe_node_pmsg_f, deleted(fe_ready())},
        {"FabricReady", trel_cap_fab_node_pmsg_f, delivered(fe_ready({.node_type = 5}))},
        {"FabricUnready", trel_cap_fab_node_pmsg_f, delivered(fe_ready({.node_type = 5, .ready = 0}))},
        {"ControlModuleReady", trel_cap_cm_node_pmsg_f, delivered(cm_ready({.node_type = 2}))},
        {"ControlModuleUnready", trel_cap_cm_node_pmsg_f, delivered(cm_ready({.node_type = 2, .ready = 0}))},
        {"HpsReady", trel_cap_hps_node_pmsg_f, delivered(fe_ready({.node_type = 7}))},
        {"HpsUnready", trel_cap_hps_node_pmsg_f, delivered(fe_ready({.node_type = 7, .ready = 0}))},
        {"CardInstalled", trel_cap_install_node_pmsg_f, delivered(card_info())},
        {"CardDenied", trel_cap_app_df_pmsg_f, delivered(check_result({.stat = APP_DF_CHECK_DENY}))},
        {"CardPassed", trel_cap_app_df_pmsg_f, delivered(check_result())},
    };
    return all;
}

std::string path_name(const ::testing::TestParamInfo<Path> &info) { return info.param.name; }

class CallbackTest : public ProcessorTest {
protected:
    using ProcessorTest::ProcessorTest;

    // Does something inside the first callback.
    template <class Body>
    void in_callback(Body body) {
        platform.on_call = [body, is_first = true](const Call &, const ProtobufCMessage *) mutable {
            if (std::exchange(is_first, false)) {
                body();
            }
        };
    }
};

class NodeCallbacks : public CallbackTest, public ::testing::WithParamInterface<Path> {
protected:
    NodeCallbacks() : CallbackTest(GetParam().name, GetParam().processor) {}

    int32_t remove(int32_t node) {
        return trel_cap_install_node_pmsg_f(client, deleted(card_info({.node = node})).to(client, 1));
    }
};

INSTANTIATE_TEST_SUITE_P(Paths, NodeCallbacks, ::testing::ValuesIn(paths()), path_name);

TEST_P(NodeCallbacks, MayRemoveTheNodeThatTheyAreToldOf) {
    start_with({ready_entry({.node = 1}), ready_entry(), ready_entry({.node = 0x7f})});
    g_trel_cap_flag = UINT32_MAX;
    in_callback([this] {
        for (const int32_t node : {kNode, 1, 0x7f}) {
            EXPECT_EQ(remove(node), 0);
        }
    });
    EXPECT_EQ(process(GetParam().message), 0);
    expect_listed({});
    // The event itself, and one of each removal.
    EXPECT_EQ(platform.calls().size(), 4U);
}

// What they are given is no heap memory either: whoever notes the calls looks at where it lies.
TEST_P(NodeCallbacks, AreCalledWithoutAllocating) {
    start_with({ready_entry()});
    g_trel_cap_flag = UINT32_MAX;
    Message message = GetParam().message;
    MomMsg *const msg = message.to(client, 28);
    const test_support::AllocationCount allocations;
    EXPECT_EQ(processor(client, msg), 0);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(allocations.freed(), 0);
    EXPECT_EQ(platform.calls().size(), 1U);
}

TEST_P(NodeCallbacks, MayAddNodes) {
    start_with({ready_entry()});
    g_trel_cap_flag = UINT32_MAX;
    in_callback([this] {
        for (int32_t node = kNode - 8; node < kNode + 8; ++node) {
            EXPECT_EQ(trel_cap_fe_node_pmsg_f(client, delivered(fe_ready({.node = node})).to(client, 28)), 0);
        }
    });
    EXPECT_EQ(process(GetParam().message), 0);
    EXPECT_EQ(listed().size(), 16U);
}

// Where the processor keeps nothing of its own, the message may come again.
TEST_P(NodeCallbacks, MayProcessTheSameMessage) {
    start_with({ready_entry()});
    g_trel_cap_flag = UINT32_MAX;
    in_callback([this] { EXPECT_EQ(process(GetParam().message), 0); });
    EXPECT_EQ(process(GetParam().message), 0);
    const auto told = platform.calls();
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0], told[1]);
}

TEST_P(NodeCallbacks, OfOtherThreadsLeaveThisOneAlone) {
    start_with(among_neighbours({ready_entry()}));
    allow_everything();
    const auto before = state();
    std::thread([this] {
        EXPECT_THAT(listed(), ::testing::IsEmpty());
        EXPECT_EQ(process(GetParam().message), 0);
        EXPECT_EQ(process(Message(29)), 0);
        delete_all_nodes();
    }).join();
    EXPECT_EQ(state(), before);
}

class StateCallbacks : public CallbackTest, public ::testing::WithParamInterface<const CardClass *> {
protected:
    StateCallbacks() : CallbackTest(GetParam()->state_processor, GetParam()->process_state) {}

    const CardClass &card_class = *GetParam();
    Record state_record(int32_t ready) const { return Record::of(*card_class.state_type, {{5, ready}}); }
};

INSTANTIATE_TEST_SUITE_P(Classes, StateCallbacks, ::testing::ValuesIn(kCardClasses), class_name);

// The announced node, and all that come behind it.
TEST_P(StateCallbacks, OfAnAnnouncementMayRemoveNodes) {
    start_with(preinstalled_entries());
    allow_announcement(card_class);
    in_callback([] {
        for (const CapNodeRecord &entry : listed()) {
            trel_cap_sw_node_del(entry.node, entry.config_dev_type);
        }
    });
    EXPECT_EQ(process(written(state_record(1))), 0);
    EXPECT_EQ(platform.calls(card_class.list.callback).size(), 1U);
    expect_listed({});
}

TEST_P(StateCallbacks, MayWriteTheStateAnew) {
    *card_class.flag_word() = card_class.class_event_bit;
    in_callback([this] {
        EXPECT_EQ(process(written(state_record(1))), 0);
        EXPECT_EQ(process(written(state_record(0))), 0);
    });
    EXPECT_EQ(process(written(state_record(1))), 0);
    EXPECT_EQ(platform.calls(card_class.list.callback).size(), 2U);
    EXPECT_EQ(*card_class.calc_ready(), 0);
}

TEST_P(StateCallbacks, OfOtherThreadsLeaveThisOneAlone) {
    start_with(preinstalled_entries());
    allow_everything();
    *card_class.calc_ready() = 0;
    *card_class.state_validated() = 0;
    platform.get_sync.always({state_record(1), 0});
    const auto before = state();
    std::thread([this] {
        EXPECT_EQ(*card_class.calc_ready(), 0);
        EXPECT_EQ(process(Message(29)), 0);
        EXPECT_EQ(*card_class.calc_ready(), 1);
        EXPECT_EQ(*card_class.state_validated(), 1);
    }).join();
    EXPECT_EQ(state(), before);
    EXPECT_THAT(platform.calls(card_class.list.callback), ::testing::IsEmpty());
}

}  // namespace
}  // namespace trel_cap_tests::processors
