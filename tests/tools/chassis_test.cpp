// card, check and node.
#include <nlohmann/json.hpp>

#include "chassis_verbs.h"

namespace capctl_test {

using nlohmann::json;
using testing::HasSubstr;

namespace {

TEST_F(ChassisVerbs, PublishALineCardThatBecomesReady) {
    EXPECT_THAT(run({"explain", "3"}), Explains("No record of the store names it."));
    does({"card", "insert", "3"});
    EXPECT_THAT(run({"explain", "3"}), Explains("  NO   checked "));
    does({"check", "3", "pass"});
    EXPECT_THAT(run({"explain", "3"}), Explains("card's software: there is no cap_fe_ready:3:900"));
    does({"node", "0x3", "ready"});
    EXPECT_THAT(run({"explain", "3"}), IsReady());
    does({"check", "3", "deny"});
    EXPECT_THAT(run({"explain", "3"}), Explains("denies the card"));
    does({"check", "3", "withdraw"});
    EXPECT_THAT(run({"explain", "3"}), Explains("no app_df_card_deny_check_result names node 3"));
    does({"check", "3", "pass"});
    does({"card", "remove", "3"});
    EXPECT_THAT(run({"explain", "3"}), Explains("no card_info names node 3"));
}

TEST_F(ChassisVerbs, PublishACardOfEachClass) {
    for (const auto &[card_class, node] : Environment{{"fab", "33"}, {"cm", "1"}, {"hps", "50"}}) {
        does({"card", "insert", node, "--class", card_class});
        does({"node", node, "ready"});
        EXPECT_THAT(run({"explain", node}), IsReady()) << card_class;
    }
}

// What a dump shows is what another process would have written.
TEST_F(ChassisVerbs, WriteTheRecordsOfTheProcessesThatTheyStandFor) {
    does({"card", "insert", "17", "--class", "hps", "--model", "0x2bd", "--dev", "1", "--slot", "5", "--subslot", "2",
          "--name", "left"});
    ASSERT_EQ(run({"check", "17", "deny"}).status, 0);
    does({"node", "17", "ready", "--real-time", "off"});
    EXPECT_EQ(dump(),
              R"({"type":"p_dev.card_info","key":{"t_mod":0,"devid":1,"slotid":5,"sslotid":2},"fields":)"
              R"({"config_dev_type":701,"is_online":true,"name":"left","static_info":{"index":{"type":701},)"
              R"("node_type":7,"sub_slot_num":0,"name":""},"card_nodeid":17}})"
              "\n"
              R"({"type":"p_libpub.app_df_card_deny_check_result","key":{"t_mod":0,"devid":1,"slotid":5,"sslotid":2},)"
              R"("fields":{"stat":"APP_DF_CHECK_DENY","config_dev_type":701,"card_nodeid":17}})"
              "\n"
              R"({"type":"s_frame.cap_fe_ready","key":{"node":17,"config_dev_type":701},"fields":{"ready":true,)"
              R"("config_dev_type":701,"devid":1,"slotid":5,"sslotid":2,"node_type":7,"real_time":false}})"
              "\n");
}

TEST_F(ChassisVerbs, KeepWhatIsStoredOfACard) {
    does({"card", "insert", "17", "--class", "fab", "--slot", "5", "--name", "left"});
    does({"set", "card_info:0:0:5:0", "is_online=0", "port_num=4"});
    does({"card", "insert", "17", "--model", "501"});
    const json fields = json::parse(run({"get", "card_info:0:0:5:0", "--output", "json"}).out)["fields"];
    EXPECT_EQ(fields["name"], "left");
    EXPECT_EQ(fields["port_num"], 4);
    EXPECT_EQ(fields["is_online"], true);
    EXPECT_EQ(fields["config_dev_type"], 501);
    EXPECT_EQ(fields["static_info"]["node_type"], 5);
    does({"node", "17", "ready"});
    EXPECT_THAT(run({"get", "cap_fe_ready:17:501", "--field", "node_type"}), Prints("5\n"));
}

// A card that was swapped for one of another model: the readiness record has its old address.
TEST_F(ChassisVerbs, FindTheReadinessRecordOfANode) {
    does({"card", "insert", "3"});
    does({"node", "3", "ready"});
    does({"card", "insert", "3", "--model", "901"});
    does({"node", "3", "unready"});
    EXPECT_THAT(run({"get", "cap_fe_ready:3:900", "--field", "ready"}), Prints("0\n"));
    does({"node", "3", "ready", "--model", "901"});
    EXPECT_THAT(run({"node", "3", "unready"}), FailsWith(1, "it has 2 readiness records, such as cap_fe_ready:3:900 "
                                                            "and cap_fe_ready:3:901; say which with --model"));
    EXPECT_THAT(run({"explain", "3"}), Explains("cap_fe_ready:3:901 and cap_fe_ready:3:900 contradict each other"));
}

TEST_F(ChassisVerbs, PutOneCardIntoASlot) {
    does({"card", "insert", "3"});
    EXPECT_THAT(run({"card", "insert", "4", "--slot", "3"}),
                FailsWith(1, "card_info:0:0:3:0: the card of node 3 is in that slot"));
    EXPECT_THAT(run({"card", "insert", "3", "--slot", "4"}),
                FailsWith(1, "node 3: its card is in another slot, card_info:0:0:3:0; remove it first"));
    does({"card", "remove", "3"});
    EXPECT_THAT(run({"card", "remove", "3"}), FailsWith(1, "node 3: no card of it is inserted"));
    EXPECT_THAT(run({"check", "3", "withdraw"}), FailsWith(1, "node 3: no result of a check is stored"));
    EXPECT_EQ(dump(), "");
}

TEST_F(ChassisVerbs, RefuseWhatTheyDoNotKnow) {
    EXPECT_THAT(run({"card", "instert", "3"}), FailsWith(2, "insert or remove expected, not \"instert\"; did "
                                                            "you mean insert?"));
    EXPECT_THAT(run({"check", "3", "passed"}), FailsWith(2, "pass, deny or withdraw expected"));
    EXPECT_THAT(run({"node", "3", "up"}), FailsWith(2, "ready or unready expected"));
    EXPECT_THAT(run({"node", "3", "ready", "--real-time", "1"}), FailsWith(2, "--real-time: on or off expected"));
    EXPECT_THAT(run({"card", "insert", "three"}), FailsWith(2, "NODE"));
    EXPECT_THAT(run({"card", "insert", "3", "--class", "fabric"}),
                FailsWith(2, "--class: lc, fab, cm or hps expected"));
    EXPECT_THAT(run({"card", "insert", "3", "--class", "cm", "--type", "5"}),
                FailsWith(2, "--type: \"5\" is no node type of class cm"));
    for (const char *type : {"99", "4", "0", "-1"}) {
        EXPECT_THAT(run({"card", "insert", "3", "--type", type}),
                    FailsWith(2, std::string("--type: 1, 3 or 6 (line cards), 2 (cm), 5 (fab) or 7 (hps) expected, not "
                                             "\"") +
                                     type + "\"; set writes any"));
    }
    EXPECT_EQ(dump(), "");
}

TEST(CardOptions, AreReadBeforeTheStore) {
    const Environment nowhere = {{"OX_MOM_STORE", "unix:///nonexistent"}};
    for (const Arguments &words : {Arguments{"--class", "x"}, {"--type", "9"}, {"--slot", "x"}, {"--model", "-1"}}) {
        for (Arguments verb : {Arguments{"card", "insert", "3"}, {"check", "3", "pass"}, {"node", "3", "ready"}}) {
            verb.insert(verb.end(), words.begin(), words.end());
            EXPECT_THAT(run(verb, nowhere), FailsWith(2, words[0] + ": "));
        }
    }
}

// What a script computed wrong; a node with its highest bit set is written in hexadecimal.
TEST_F(ChassisVerbs, TakeNoNumbersBelowZero) {
    EXPECT_THAT(run({"card", "insert", "-1"}), FailsWith(2, "NODE: 0 or more expected, not \"-1\""));
    EXPECT_THAT(run({"check", "-1", "pass"}), FailsWith(2, "NODE: 0 or more expected"));
    EXPECT_THAT(run({"node", "-1", "ready"}), FailsWith(2, "NODE: 0 or more expected"));
    for (const char *option : {"--slot", "--dev", "--subslot", "--model"}) {
        EXPECT_THAT(run({"card", "insert", "3", option, "-2"}),
                    FailsWith(2, std::string(option) + ": 0 or more expected, not \"-2\""));
    }
    EXPECT_THAT(run({"card", "insert", "3", "--slot", "0xfffffffe"}), FailsWith(2, "--slot: 0 or more expected"));
    EXPECT_EQ(dump(), "");
    does({"card", "insert", "0x80000002"});
    EXPECT_THAT(dump(), HasSubstr("\"slotid\":2,"));
    does({"card", "insert", "0x80000001", "--slot", "3"});
    EXPECT_THAT(run({"explain", "0x80000001"}), Explains("at a desk: trel_capctl check 0x80000001 pass"));
}

TEST_F(ChassisVerbs, SayThatACheckDecidesNothing) {
    for (const auto &[card_class, node] : Environment{{"fab", "33"}, {"cm", "1"}, {"hps", "50"}}) {
        does({"card", "insert", node, "--class", card_class});
        const Outcome outcome = run({"check", node, "deny"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.err, HasSubstr("only line cards of other types than 1 are checked: it is ready or not "
                                           "without this result"));
        EXPECT_THAT(run({"check", node, "withdraw"}), Prints(""));
    }
    EXPECT_THAT(dump(), testing::Not(HasSubstr("deny_check")));
}

}  // namespace

}  // namespace capctl_test
