// A closed log saves the processors the formatting of their messages. This program stands in front of what formats.

#include "card_classes.h"
#include "interposed.h"
#include "messages.h"

namespace trel_cap_tests::processors {
namespace {

struct Processor {
    const char *name;
    MomMsgCb process;
    Record record;
};

Record state_record(const CardClass &card_class) { return Record::of(*card_class.state_type, {{5, 1}}); }

// Made when the tests are, which is after all constants.
const std::vector<Processor> &every_processor() {
    static const std::vector<Processor> all = {
        {"FeNode", trel_cap_fe_node_pmsg_f, fe_ready()},
        {"FabNode", trel_cap_fab_node_pmsg_f, fe_ready({.node_type = 5})},
        {"CmNode", trel_cap_cm_node_pmsg_f, cm_ready()},
        {"HpsNode", trel_cap_hps_node_pmsg_f, fe_ready({.node_type = 7})},
        {"InstallNode", trel_cap_install_node_pmsg_f, card_info()},
        {"AppDf", trel_cap_app_df_pmsg_f, check_result()},
        {"GlbReady", trel_cap_ce_glb_ready_pmsg_f, state_record(kLineCardClass)},
        {"FabGlbReady", trel_cap_ce_fab_glb_ready_pmsg_f, state_record(kFabricClass)},
        {"CmGlbReady", trel_cap_ce_cm_glb_ready_pmsg_f, state_record(kControlModuleClass)},
        {"HpsGlbReady", trel_cap_ce_hps_glb_ready_pmsg_f, state_record(kHpsClass)},
    };
    return all;
}

class ClosedProcessorLog : public ProcessorTest, public ::testing::WithParamInterface<Processor> {
protected:
    ClosedProcessorLog() : ProcessorTest(GetParam().name, GetParam().process) {}

    // How often something is formatted at a level, by messages of every kind.
    int formatted_at(int32_t level) {
        const Record &record = GetParam().record;
        std::vector<Message> messages = {Message(2),        Message(1),        Message(1, record),
                                         Message(3),        Message(4),        delivered(Record()),
                                         delivered(record), delivered(record), deleted(record)};
        start_with(preinstalled_entries());
        allow_everything();
        // The first confirmation reads the store in vain, the second does not.
        messages.insert(messages.end(), 2, Message(29));
        const size_t attempts = level == 0 ? 2 : 3;
        for (size_t i = 0; i < attempts; ++i) {
            platform.scan_sync.then({-101, {}});
            platform.get_sync.then({Record(), -102});
        }
        g_trel_cap_zlog_level = level;
        platform.forget();
        interposed::reset();
        processor(client, nullptr);
        for (Message &message : messages) {
            processor(client, message.to(client, 28));
        }
        return interposed::script().formatted;
    }
};

INSTANTIATE_TEST_SUITE_P(Processors, ClosedProcessorLog, ::testing::ValuesIn(every_processor()),
                         [](const auto &each) { return each.param.name; });

TEST_P(ClosedProcessorLog, FormatsNothing) {
    EXPECT_EQ(formatted_at(0), 0);
    EXPECT_THAT(platform.logs(), ::testing::IsEmpty());
}

// Below the level that shows nodes, whose line is put together for itself.
TEST_P(ClosedProcessorLog, EachLevelFormatsWhatItLetsOut) {
    size_t fewer = 0;
    for (const int32_t level : {1, 2, 3}) {
        SCOPED_TRACE(level);
        const int formatted = formatted_at(level);
        EXPECT_EQ(static_cast<size_t>(formatted), platform.logs().size());
        EXPECT_GE(platform.logs().size(), fewer + (level <= 2 ? 1 : 0));
        fewer = platform.logs().size();
    }
}

}  // namespace
}  // namespace trel_cap_tests::processors
