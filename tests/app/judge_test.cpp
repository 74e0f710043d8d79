// Judging the nodes of the list: whether they are ready, and whether they are not yet in real time.

#include <thread>

#include "nodes.h"

namespace trel_cap_tests {
namespace {

using ::testing::IsEmpty;
using Bytes = std::initializer_list<uint8_t>;

struct Judge {
    const char *name;
    int32_t (*judge)(CapNode *, void *);
    const char *function;
};

class Judges : public NodeListTest, public ::testing::WithParamInterface<Judge> {
protected:
    const Judge &judge = GetParam();
    CapNode entry{};

    Judges() {
        entry.record = node_record(5);
        make_positive(entry.record);
    }
    // An entry that the judge says yes to.
    void make_positive(CapNodeRecord &record) const {
        const bool in_real_time = judge.judge == trel_cap_judge_node_ready;
        record.ready = record.dm_install = record.app_df_chk = in_real_time ? 1 : 0;
        record.real_time = in_real_time ? 1 : 0;
    }
    Log error(const std::string &message) const { return {100, judge.function, message}; }
    Log detail(const std::string &message) const { return {40, judge.function, message}; }
};

INSTANTIATE_TEST_SUITE_P(Both, Judges,
                         ::testing::Values(Judge{"Ready", trel_cap_judge_node_ready, "trel_cap_judge_node_ready"},
                                           Judge{"RealTime", trel_cap_judge_node_real_time,
                                                 "trel_cap_judge_node_real_time"}),
                         [](const auto &each) { return each.param.name; });

TEST_P(Judges, SayYesOfTheirNode) {
    at_every_log_level([this] {
        CapNodeReady asked = {5, 0};
        EXPECT_EQ(judge.judge(&entry, &asked), 0);
        EXPECT_EQ(asked.ready, 1);
        EXPECT_EQ(asked.node, 5U);
        expect_events({detail("enter"), detail("leave")});
    });
}

TEST_P(Judges, LookAtTheirNodeOnly) {
    at_every_log_level([this] {
        for (const uint8_t before : Bytes{0, 1, 7}) {
            CapNodeReady asked = {6, before};
            EXPECT_EQ(judge.judge(&entry, &asked), 0);
            EXPECT_EQ(asked.ready, before);
            EXPECT_EQ(asked.node, 6U);
            expect_events({detail("enter")});
        }
    });
}

TEST_P(Judges, SayNothingByClearing) {
    entry.record.real_time = entry.record.real_time == 0 ? 1 : 0;
    at_every_log_level([this] {
        for (const uint8_t before : Bytes{0, 1, 7}) {
            CapNodeReady asked = {5, before};
            EXPECT_EQ(judge.judge(&entry, &asked), 0);
            EXPECT_EQ(asked.ready, before);
            expect_events({detail("enter"), detail("leave")});
        }
    });
}

TEST_P(Judges, KnowNodesWithTheTopBit) {
    entry.record.node = -2;
    CapNodeReady asked = {0xfffffffe, 0};
    EXPECT_EQ(judge.judge(&entry, &asked), 0);
    EXPECT_EQ(asked.ready, 1);
    entry.record.node = 0;
    asked = {0, 0};
    EXPECT_EQ(judge.judge(&entry, &asked), 0);
    EXPECT_EQ(asked.ready, 1);
}

TEST_P(Judges, ChangeNoEntry) {
    entry.record = full_record(5);
    CapNodeReady asked = {5, 0};
    EXPECT_EQ(judge.judge(&entry, &asked), 0);
    EXPECT_EQ(dump_line(entry.record), dump_line(full_record(5)));
}

TEST_P(Judges, NeedAnEntryAndThenARecord) {
    CapNodeReady asked = {5, 0};
    at_every_log_level([&] {
        EXPECT_EQ(judge.judge(nullptr, nullptr), -4);
        expect_events({error("pos NULL pointer, addr error!\n")});
        EXPECT_EQ(judge.judge(nullptr, &asked), -4);
        expect_events({error("pos NULL pointer, addr error!\n")});
        EXPECT_EQ(judge.judge(&entry, nullptr), -4);
        expect_events({error("param NULL pointer, addr error!\n")});
    });
    EXPECT_EQ(asked.ready, 0);
}

// Over the whole list any entry of the node will do, wherever it stands.
TEST_P(Judges, FindAnyEntryOfTheNode) {
    CapNodeRecord yes = node_record(5, 1);
    make_positive(yes);
    CapNodeRecord no = yes;
    no.real_time = yes.real_time == 0 ? 1 : 0;
    CapNodeRecord other_yes = yes;
    other_yes.node = 6;
    for (const auto &records : {std::vector{yes, no}, std::vector{no, yes}, std::vector{no, no, yes, other_yes}}) {
        add_nodes(records);
        CapNodeReady asked = {5, 0};
        trel_cap_sw_node_walk_cur(judge.judge, &asked);
        EXPECT_EQ(asked.ready, 1);
        delete_all_nodes();
    }
    add_nodes({no, other_yes, no});
    CapNodeReady asked = {5, 0};
    trel_cap_sw_node_walk_cur(judge.judge, &asked);
    EXPECT_EQ(asked.ready, 0);
}

// Every combination of the five conditions, with values other than 1 for what is set.
TEST(NodeReadiness, NeedsAllButADenial) {
    ScriptedPlatform platform;
    for (const uint8_t set : Bytes{1, 2, 128, 255}) {
        for (unsigned combination = 0; combination < 32; ++combination) {
            const auto bit = [&](unsigned n) { return static_cast<uint8_t>((combination >> n & 1) != 0 ? set : 0); };
            CapNode entry{};
            entry.record.node = 5;
            entry.record.ready = bit(0);
            entry.record.real_time = bit(1);
            entry.record.dm_install = bit(2);
            entry.record.app_df_chk = bit(3);
            entry.record.cns = bit(4);
            CapNodeReady asked = {5, 0};
            EXPECT_EQ(trel_cap_judge_node_ready(&entry, &asked), 0);
            EXPECT_EQ(asked.ready, combination == 0xf ? 1 : 0) << combination;
        }
    }
}

TEST(NodeReadiness, DoesNotLookAtAnythingElse) {
    ScriptedPlatform platform;
    for (const int32_t value : {0, 1, 2, 3, 5, 7, -1}) {
        CapNode entry{};
        entry.record = {.node = 5,
                        .config_dev_type = value,
                        .devid = value,
                        .slotid = value,
                        .sslotid = value,
                        .is_online = static_cast<uint8_t>(value),
                        .cns = 0,
                        .ready = 1,
                        .node_type = value,
                        .real_time = 1,
                        .dm_install = 1,
                        .app_df_chk = 1};
        CapNodeReady asked = {5, 0};
        EXPECT_EQ(trel_cap_judge_node_ready(&entry, &asked), 0);
        EXPECT_EQ(asked.ready, 1);
    }
}

TEST(NodeRealTime, IsLookedAtAlone) {
    ScriptedPlatform platform;
    for (const uint8_t real_time : Bytes{0, 1, 2, 128, 255}) {
        for (const uint8_t other : Bytes{0, 1, 255}) {
            CapNode entry{};
            entry.record = full_record(5);
            entry.record.ready = entry.record.cns = entry.record.dm_install = entry.record.app_df_chk = other;
            entry.record.real_time = real_time;
            CapNodeReady asked = {5, 0};
            EXPECT_EQ(trel_cap_judge_node_real_time(&entry, &asked), 0);
            EXPECT_EQ(asked.ready, real_time == 0 ? 1 : 0);
        }
    }
}

class PreInstallQuery : public NodeListTest {
protected:
    static constexpr const char *kJudge = "trel_cap_judge_node_real_time";
    static Log enter() { return {40, kJudge, "enter"}; }
    static Log leave() { return {40, kJudge, "leave"}; }
    static Log yes() { return {80, "trel_cap_is_preinstall_card", "this card is pre_install"}; }
    static CapNodeRecord in_real_time(int32_t node) {
        CapNodeRecord record = node_record(node);
        record.real_time = 1;
        return record;
    }
};

TEST_F(PreInstallQuery, IsYesForANodeNotYetInRealTime) {
    CapNodeRecord record = full_record(5);
    record.real_time = 0;
    add_nodes({in_real_time(4), record, in_real_time(6)});
    at_every_log_level([&] {
        EXPECT_EQ(trel_cap_is_preinstall_card(5), 1);
        expect_events({dumped(in_real_time(4)), enter(), dumped(record), enter(), leave(), dumped(in_real_time(6)),
                       enter(), yes()});
    });
}

TEST_F(PreInstallQuery, IsNoForANodeInRealTime) {
    add_nodes({node_record(4), in_real_time(5)});
    at_every_log_level([&] {
        EXPECT_EQ(trel_cap_is_preinstall_card(5), 0);
        expect_events({dumped(node_record(4)), enter(), dumped(in_real_time(5)), enter(), leave()});
    });
}

TEST_F(PreInstallQuery, IsNoForANodeThatIsNotThere) {
    EXPECT_EQ(trel_cap_is_preinstall_card(5), 0);
    EXPECT_THAT(platform.events(), IsEmpty());
    add_nodes({node_record(4)});
    EXPECT_EQ(trel_cap_is_preinstall_card(5), 0);
    EXPECT_THAT(platform.logs("trel_cap_is_preinstall_card"), IsEmpty());
}

TEST_F(PreInstallQuery, IsYesWhenAnyEntryOfTheNodeIs) {
    add_nodes({node_record(-4), in_real_time(-3), node_record(-3), in_real_time(-3), in_real_time(2), node_record(3)});
    at_every_log_level([] {
        EXPECT_EQ(trel_cap_is_preinstall_card(-3), 1);
        EXPECT_EQ(trel_cap_is_preinstall_card(2), 0);
    });
}

TEST_F(PreInstallQuery, IsAboutTheCallingThreadsList) {
    add_nodes({node_record(5)});
    std::thread([] { EXPECT_EQ(trel_cap_is_preinstall_card(5), 0); }).join();
}

}  // namespace
}  // namespace trel_cap_tests
