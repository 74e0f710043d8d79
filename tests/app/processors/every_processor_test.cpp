// What all processors do alike: without a message, and with one of a kind that means nothing to them.

#include "card_classes.h"
#include "messages.h"
#include "parameter_name.h"

namespace trel_cap_tests::processors {
namespace {

struct Processor {
    const char *name;
    MomMsgCb process;
    std::vector<int32_t> commands;  // that it acts on
    bool says_enter;
};

const Processor kProcessors[] = {
    {"trel_cap_ce_glb_ready_pmsg_f", trel_cap_ce_glb_ready_pmsg_f, {1, 29}, true},
    {"trel_cap_ce_fab_glb_ready_pmsg_f", trel_cap_ce_fab_glb_ready_pmsg_f, {1, 29}, true},
    {"trel_cap_ce_cm_glb_ready_pmsg_f", trel_cap_ce_cm_glb_ready_pmsg_f, {1, 29}, true},
    {"trel_cap_ce_hps_glb_ready_pmsg_f", trel_cap_ce_hps_glb_ready_pmsg_f, {1, 29}, true},
    {"trel_cap_fe_node_pmsg_f", trel_cap_fe_node_pmsg_f, {3, 4, 29}, false},
    {"trel_cap_fab_node_pmsg_f", trel_cap_fab_node_pmsg_f, {4, 29}, false},
    {"trel_cap_cm_node_pmsg_f", trel_cap_cm_node_pmsg_f, {4, 29}, false},
    {"trel_cap_hps_node_pmsg_f", trel_cap_hps_node_pmsg_f, {4, 29}, false},
    {"trel_cap_install_node_pmsg_f", trel_cap_install_node_pmsg_f, {3, 4, 6, 29}, false},
    {"trel_cap_app_df_pmsg_f", trel_cap_app_df_pmsg_f, {3, 4, 6, 29}, false},
};

class EveryProcessor : public ProcessorTest, public ::testing::WithParamInterface<Processor> {
protected:
    EveryProcessor() : ProcessorTest(GetParam().name, GetParam().process) {
        start_with(among_neighbours(preinstalled_entries()));
        allow_everything();
    }
};

INSTANTIATE_TEST_SUITE_P(Processors, EveryProcessor, ::testing::ValuesIn(kProcessors), test_support::name_of);

TEST_P(EveryProcessor, RefusesNoMessage) {
    const auto before = state();
    at_every_log_level([&] {
        EXPECT_EQ(processor(client, nullptr), -4);
        expect_events({error("pmsg NULL pointer, addr error!\n")});
        EXPECT_EQ(state(), before);
    });
}

// Whatever such a message carries is not looked at.
TEST_P(EveryProcessor, IgnoresOtherCommands) {
    const auto before = state();
    at_every_log_level([&] {
        for (const int32_t cmd : commands_other_than(GetParam().commands)) {
            EXPECT_EQ(process_unread(cmd), 0) << cmd;
            const Events enter = GetParam().says_enter ? Events{detail("enter")} : Events{};
            expect_events(in_order(enter, detail(text("pmsg->cmd %d", cmd))));
        }
        EXPECT_EQ(state(), before);
    });
}

// The pointer that comes with a confirmation is not looked at either.
TEST_P(EveryProcessor, ReadsNothingOfAConfirmation) { EXPECT_EQ(process_unread(29), 0); }

TEST_P(EveryProcessor, HasTheFormOfACallback) {
    const MomMsgCb callback = GetParam().process;
    EXPECT_EQ(callback(client, Message(2).to(client, 28)), 0);
}

}  // namespace
}  // namespace trel_cap_tests::processors
