// Steps, and the writes that come of them at which time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "record/record_json.h"
#include "scenario/scenario.h"
#include <nlohmann/json.hpp>

namespace scenario {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kCards[] = "cards:\n"
                          "  lc1: {class: lc, node: 3, slot: 1}\n"
                          "  lc2: {class: lc, node: 0x4, model: 901, type: 6, name: a name, online: no}\n"
                          "  cm1: {class: cm, node: 1}\n";

Timeline steps_of(const std::string &steps) { return read_text(kCards + ("steps:\n" + steps), "file").steps; }

// "milliseconds text".
std::vector<std::string> moments_of(const Timeline &timeline) {
    std::vector<std::string> moments;
    for (const Moment &moment : timeline.moments) {
        moments.push_back(std::to_string(moment.at.count() / 1000) + " " + moment.text);
    }
    return moments;
}

std::string record_of(const std::string &step) {
    const Timeline timeline = steps_of("  - " + step);
    EXPECT_EQ(timeline.moments.size(), 1U);
    const Write &write = timeline.moments.at(0).writes.at(0);
    return (write.kind == Write::Kind::kSet ? "set " : "del ") + record::json_line(to_json(write.record));
}

TEST(Steps, NameCardsClassesListsAndAll) {
    EXPECT_THAT(moments_of(steps_of("  - insert: lc1\n")), ElementsAre("0 insert lc1, node 3, slot 1"));
    EXPECT_THAT(moments_of(steps_of("  - ready: lc\n")), ElementsAre("0 ready lc1, node 3", "0 ready lc2, node 4"));
    EXPECT_THAT(moments_of(steps_of("  - unready: [cm1, lc2]\n")),
                ElementsAre("0 unready cm1, node 1", "0 unready lc2, node 4"));
    EXPECT_THAT(moments_of(steps_of("  - remove: all\n")),
                ElementsAre("0 remove lc1, node 3", "0 remove lc2, node 4", "0 remove cm1, node 1"));
}

TEST(Steps, WriteWhatTheProcessesAroundACardWrite) {
    EXPECT_EQ(record_of("insert: lc2"),
              "set {\"type\":\"p_dev.card_info\",\"key\":{\"t_mod\":0,\"devid\":0,\"slotid\":4,\"sslotid\":0},"
              "\"fields\":{\"config_dev_type\":901,\"is_online\":false,\"name\":\"a name\",\"static_info\":{\"index\":{"
              "\"type\":901},\"node_type\":6,\"sub_slot_num\":0,\"name\":\"\"},\"card_nodeid\":4}}\n");
    EXPECT_THAT(record_of("{check: lc1, result: deny}"), HasSubstr("\"stat\":\"APP_DF_CHECK_DENY\""));
    EXPECT_THAT(record_of("{check: lc1, result: pass}"), HasSubstr("\"stat\":\"APP_DF_CHECK_PASS\""));
    EXPECT_THAT(record_of("{check: lc1, result: withdraw}"),
                testing::StartsWith("del {\"type\":\"p_libpub.app_df_card_deny_check_result\""));
    EXPECT_THAT(record_of("ready: lc1"), HasSubstr("\"real_time\":true"));
    EXPECT_THAT(record_of("{ready: lc1, real_time: no}"), HasSubstr("\"real_time\":false"));
    EXPECT_THAT(record_of("ready: cm1"), HasSubstr("cap_cm_ready"));
    EXPECT_THAT(record_of("unready: lc1"), HasSubstr("\"ready\":false"));
    EXPECT_THAT(record_of("withdraw: lc1"), testing::StartsWith("del {\"type\":\"s_frame.cap_fe_ready\""));
    EXPECT_EQ(record_of("scope_ready: fab"),
              "set {\"type\":\"s_frame.cap_fab_glb_state\",\"key\":{},\"fields\":{\"ready\":true}}\n");
    EXPECT_THAT(record_of("scope_unready: glb"), HasSubstr("\"ready\":false"));
}

TEST(Steps, WriteCapabilitiesOfEveryScope) {
    EXPECT_EQ(record_of("{capability: /a, int: 0x10, state: on}"),
              "set {\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a\"},"
              "\"fields\":{\"int32_value\":16,\"state\":true}}\n");
    EXPECT_THAT(record_of("{capability: /a, class: hps, int: 1}"),
                testing::AllOf(HasSubstr("cap_hps_table"), HasSubstr("\"int32_value\":1")));
    EXPECT_THAT(record_of("{capability: /a, cm: 1, str: \"1\"}"),
                testing::AllOf(HasSubstr("cap_cm_glb_table"), HasSubstr("\"str_value\":\"1\"")));
    EXPECT_THAT(record_of("{capability: /a, fe: lc1, bool: yes}"),
                testing::AllOf(HasSubstr("cap_glb_table"), HasSubstr("\"node\":3")));
    EXPECT_THAT(record_of("{capability: /a, cm: 0x11, bool: no}"),
                testing::AllOf(HasSubstr("cap_cm_glb_table"), HasSubstr("\"node\":17")));
}

TEST(Steps, WriteAnyRecordAsItIsPrinted) {
    const std::string line = "{\"type\":\"s_frame.cap_fe_ready\",\"key\":{\"node\":3,\"config_dev_type\":900},"
                             "\"fields\":{\"ready\":true,\"real_time\":false}}\n";
    EXPECT_EQ(record_of("set: " + line), "set " + line);
    EXPECT_EQ(record_of("{set: 'cap_fe_ready:3:900', fields: {ready: 1, real_time: 0}}"), "set " + line);
    EXPECT_EQ(record_of("del: cap_glb_state"), "del {\"type\":\"s_frame.cap_glb_state\",\"key\":{},\"fields\":{}}\n");
    EXPECT_THAT(record_of("del: {type: cap_table, key: {url: /a}}"), HasSubstr("\"url\":\"/a\""));
}

// Bytes and numbers in quotes are text; so are control characters, and what is not ASCII.
TEST(Steps, TakeEveryStringThatIsPrinted) {
    const std::string line = "{\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a: {b}, #c\"},"
                             "\"fields\":{\"str_value\":\"12\\u0001\\t\\n\\\\ \\\" \xC3\xA9 \xF0\x9F\x98\x80\"}}\n";
    EXPECT_EQ(record_of("set: " + line), "set " + line);
}

TEST(Times, AddUpAndAreTakenFromTheBeginning) {
    const Timeline timeline = steps_of("  - wait: 50ms\n"
                                       "  - insert: lc1\n"
                                       "  - wait: 1.5s\n"
                                       "  - {at: 2s, remove: lc1}\n"
                                       "  - wait: 1m\n");
    EXPECT_THAT(moments_of(timeline), ElementsAre("50 insert lc1, node 3, slot 1", "2000 remove lc1, node 3"));
    EXPECT_EQ(timeline.length, std::chrono::seconds(62));
    EXPECT_EQ(timeline.moments[1].line, 9);
}

TEST(Times, AreExactToTheMicrosecond) {
    EXPECT_EQ(steps_of("  - {at: 1234.567891s, insert: lc1}\n").moments[0].at.count(), 1234567891);
    EXPECT_EQ(steps_of("  - wait: 0\n").length.count(), 0);
    EXPECT_EQ(steps_of("  - wait: 7us\n").length.count(), 7);
}

TEST(Repetitions, CountTheirTimesFromTheirOwnBeginning) {
    EXPECT_THAT(
        moments_of(steps_of("  - wait: 1s\n"
                            "  - repeat: 2\n"
                            "    steps:\n"
                            "      - {at: 100ms, insert: lc1}\n"
                            "      - wait: 200ms\n"
                            "  - {at: 5s, remove: lc1}\n")),
        ElementsAre("1100 insert lc1, node 3, slot 1", "1400 insert lc1, node 3, slot 1", "5000 remove lc1, node 3"));
}

TEST(Flapping, IsNotReadyAndReadyInTurn) {
    const Timeline timeline = steps_of("  - {flap: lc1, times: 2, every: 100ms}\n");
    EXPECT_THAT(moments_of(timeline), ElementsAre("0 unready lc1, node 3", "50 ready lc1, node 3",
                                                  "100 unready lc1, node 3", "150 ready lc1, node 3"));
    EXPECT_EQ(timeline.length, std::chrono::milliseconds(200));
}

TEST(RandomChanges, AreTheSameForASeed) {
    const auto with_seed = [](int seed) {
        return moments_of(steps_of("  - {random: 100, over: 1s, seed: " + std::to_string(seed) + "}\n"));
    };
    EXPECT_EQ(with_seed(7).size(), 100U);
    EXPECT_EQ(with_seed(7), with_seed(7));
    EXPECT_NE(with_seed(7), with_seed(8));
    // On every machine: a drawing that is done otherwise makes other scenarios of the same files.
    EXPECT_THAT(moments_of(steps_of("  - {random: 4, seed: 1, over: 1s}\n")),
                ElementsAre("0 withdraw cm1, node 1", "250 unready cm1, node 1", "500 capability cap_table:/random/11",
                            "750 capability cap_table:/random/0"));
}

TEST(RandomChanges, AreOfTheKindsAndCardsThatAreNamed) {
    const Timeline timeline = steps_of("  - {random: 50, seed: 1, of: [insert, remove], cards: cm1}\n");
    for (const std::string &moment : moments_of(timeline)) {
        EXPECT_TRUE(moment == "0 insert cm1, node 1, slot 1" || moment == "0 remove cm1, node 1") << moment;
    }
    EXPECT_EQ(steps_of("  - {random: 3, seed: 1, over: 1s}\n").length, std::chrono::seconds(1));
}

TEST(Scenarios, HaveASentenceAndStepsOfBefore) {
    const Scenario scenario = read_text("about: a test\nbefore:\n  - scope_ready: glb\nsteps:\n", "file");
    EXPECT_EQ(scenario.about, "a test");
    EXPECT_THAT(moments_of(scenario.before), ElementsAre("0 scope_ready glb"));
    EXPECT_TRUE(scenario.steps.moments.empty());
    EXPECT_FALSE(scenario.expects_events());
}

}  // namespace

}  // namespace scenario
