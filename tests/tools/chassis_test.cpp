// card, check, node, explain and wait.
#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

#include "capctl_test.h"
#include "private_directory.h"

namespace capctl_test {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

namespace {

class ChassisVerbs : public ServerTest {
protected:
    std::string dump() const { return run({"dump", "--output", "ndjson"}).out; }
    void does(const Arguments &arguments) const { ASSERT_THAT(run(arguments), Prints("")); }
    Program start(const Arguments &arguments) const { return Program(capctl(arguments, environment())); }
};

MATCHER_P(Explains, text, "") { return arg.status == 1 && arg.out.find(text) != std::string::npos && arg.err.empty(); }

MATCHER(IsReady, "") { return arg.status == 0 && arg.out.find(": ready\n") != std::string::npos && arg.err.empty(); }

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

TEST_F(ChassisVerbs, ExplainTheWholeChassisWithWhatIsWrongOnTop) {
    EXPECT_THAT(run({"explain"}), Explains("No record names a node."));
    does({"card", "insert", "1", "--class", "cm"});
    does({"node", "1", "ready"});
    does({"ready", "cm", "on"});
    Outcome outcome = run({"explain"});
    EXPECT_EQ(outcome.status, 0);
    does({"card", "insert", "17", "--name", "right"});
    does({"check", "17", "deny"});
    outcome = run({"explain"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out,
              "device not ready, class fab not ready, class cm ready, class hps not ready\n"
              "\n"
              "NODE  CLASS  SLOT    MODEL  NAME   STATE      MISSING\n"
              "17    lc     0/17/0  900    right  not ready  not denied (application's checker), ready (card's "
              "software), real time (card's software)\n"
              "1     cm     0/1/0   300    -      ready\n");

    const json array = json::parse(run({"explain", "--output", "json"}).out);
    EXPECT_EQ(run({"explain", "--output", "table"}).out, outcome.out);
    ASSERT_EQ(array.size(), 2);
    EXPECT_EQ(array[0]["node"], 17);
    const std::string lines = run({"explain", "--output", "ndjson"}).out;
    EXPECT_EQ(json::parse(lines.substr(0, lines.find('\n'))), array[0]);
    EXPECT_EQ(json::parse(run({"explain", "17", "--output", "json"}).out), array[0]);
}

// All that is explained: the cards, and the classes that have any.
TEST_F(ChassisVerbs, ExplainThatAllIsReadyWhenTheClassesAreToo) {
    does({"card", "insert", "33", "--class", "fab"});
    does({"node", "33", "ready"});
    EXPECT_THAT(run({"explain", "33"}), IsReady());
    EXPECT_EQ(run({"explain"}).status, 1) << "its class is not ready";
    does({"ready", "fab", "on"});
    EXPECT_EQ(run({"explain"}).status, 0);
    does({"card", "insert", "34", "--class", "fab"});
    EXPECT_EQ(run({"explain"}).status, 1);
}

// Words that somebody meets for the first time are explained where they are.
TEST_F(ChassisVerbs, ExplainTheirWords) {
    does({"card", "insert", "3"});
    does({"node", "3", "ready", "--real-time", "off"});
    does({"ready", "glb", "on"});
    const char *const in_advance = "In advance: applications are told that a card is ready because its class is, "
                                   "though it is not yet in real time.";
    EXPECT_THAT(run({"explain", "3"}).out, AllOf(HasSubstr(": ready in advance\n"), HasSubstr(in_advance)));
    EXPECT_THAT(run({"explain"}).out, HasSubstr(in_advance));
    does({"card", "remove", "3"});
    EXPECT_THAT(run({"explain", "3"}),
                Explains("  slot watcher (writes card_info when a card is put in or pulled out): "
                         "no card_info names node 3"));
    EXPECT_THAT(run({"explain"}),
                Explains("\nThe slot watcher writes card_info when a card is put in or pulled out.\n"));
    does({"card", "insert", "4", "--class", "cm"});
    does({"set", "cap_fe_ready:4:300", "ready=1", "real_time=1", "node_type=2"});
    EXPECT_THAT(run({"explain", "4"}), Explains("  NO   right record  cap_fe_ready:4:300\n"));
}

// Its check says nothing of what it is; what it is not is not made up.
TEST_F(ChassisVerbs, ExplainANodeThatOnlyItsCheckNames) {
    does({"check", "3", "deny"});
    const std::string text = run({"explain", "3"}).out;
    EXPECT_THAT(text, AllOf(HasSubstr("node 3, card of a class not known yet"), testing::Not(HasSubstr("of no class")),
                            HasSubstr("no record tells its node type yet")));
    does({"set", "cap_fe_ready:3:900", "ready=1", "node_type=4"});
    EXPECT_THAT(run({"explain", "3"}).out,
                AllOf(HasSubstr("node 3, card of no class"), HasSubstr("node_type 4 is of no class")));
}

TEST_F(ChassisVerbs, ExplainADump) {
    does({"card", "insert", "3"});
    does({"check", "3", "deny"});
    const test_support::PrivateDirectory directory;
    const std::string file = directory.path() + "/field.ndjson";
    std::ofstream(file) << dump();
    does({"card", "remove", "3"});
    // No store is asked.
    EXPECT_THAT(capctl_test::run({"explain", "3", "--from", file}), Explains("denies the card"));
    EXPECT_THAT(capctl_test::run({"explain", "--from", file}), Explains("not denied (application's checker)"));
    std::ofstream(file) << "{}\n";
    EXPECT_THAT(capctl_test::run({"explain", "--from", file}), FailsWith(6, "1"));
}

TEST(Events, AreToldAsTextTableAndJson) {
    const Outcome text = run({"explain", "--events"});
    EXPECT_EQ(text.status, 0);
    EXPECT_THAT(
        text.out,
        AllOf(HasSubstr("\n  lc          trel_cap_event_callback_reg\n"),
              HasSubstr("\nClass fab\n"
                        "  card_info\n"
                        "    inserted          FAB_NODE (4) ready, to fab: ready, in real time\n"
                        "    removed           FE_NODE (1) not ready, to lc: told to those who follow line "
                        "cards, and to nobody who follows fabric cards\n"),
              HasSubstr("    pass, withdrawn   nothing: fabric cards are not checked\n"),
              HasSubstr("\nAll classes\n"
                        "  cap_glb_state, cap_fab_glb_state, cap_cm_glb_state, cap_hps_glb_state\n"
                        "    off               nothing: nothing is announced in advance until it is on again\n")));
    EXPECT_LT(std::count(text.out.begin(), text.out.end(), '\n'), 90);
    EXPECT_THAT(run({"explain", "--events", "--output", "table"}).out,
                AllOf(HasSubstr("CLASS  RECORD"), HasSubstr("fab    card_info")));
    bool found = false;
    for (const json &rule : json::parse(run({"explain", "--events", "--output", "json"}).out)) {
        found = found || (rule["class"] == "fab" && rule["change"] == "removed" && rule["event"] == 1 &&
                          rule["list"] == "lc" && rule["ready"] == false);
        // Each fact is in the text.
        const std::string condition = rule["condition"];
        const std::string event = rule["event"].is_null()
                                      ? "nothing"
                                      : rule["name"].get<std::string>() + " (" + rule["event"].dump() + ") " +
                                            (rule["ready"] ? "ready" : "not ready") + ", to " +
                                            rule["list"].get<std::string>();
        EXPECT_THAT(text.out, HasSubstr(event + (condition.empty() ? "\n" : ": " + condition + "\n")));
    }
    EXPECT_TRUE(found);
    EXPECT_THAT(run({"explain", "3", "--events"}), FailsWith(2, "--events"));
}

// What is waited for lasts, so that it does not matter who is first.
TEST_F(ChassisVerbs, WaitForANode) {
    EXPECT_THAT(
        run({"wait", "node", "3", "ready", "--timeout", "0.1"}),
        FailsWith(4,
                  "node 3 ready: not so within 0.1 s; node 3 is not ready; missing: installed (slot watcher), checked "
                  "(application's checker), "));
    Program waiting = start({"wait", "node", "3", "ready", "--timeout", "50"});
    does({"card", "insert", "3"});
    does({"check", "3", "pass"});
    does({"node", "3", "ready"});
    EXPECT_THAT(waiting.finish(), Prints(""));
    EXPECT_THAT(run({"wait", "node", "3", "ready"}), Prints(""));
    Program unready = start({"wait", "node", "0x3", "unready", "--timeout", "50", "--output", "json"});
    does({"check", "3", "deny"});
    const Outcome outcome = unready.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(json::parse(outcome.out)["verdict"], "not ready");
}

TEST_F(ChassisVerbs, WaitForAScope) {
    Program waiting = start({"wait", "ready", "fab", "--timeout", "50"});
    does({"ready", "fab", "on"});
    EXPECT_THAT(waiting.finish(), Prints(""));
    EXPECT_THAT(run({"wait", "ready", "glb", "off"}), Prints(""));
    EXPECT_THAT(run({"wait", "ready", "fab", "off", "--timeout", "0"}),
                FailsWith(4, "cap_fab_glb_state off: not so within 0 s; it is on"));
    EXPECT_THAT(run({"wait", "ready", "hps", "--timeout", "0.1"}),
                FailsWith(4, "cap_hps_glb_state on: not so within 0.1 s; nobody has published it"));
    Program off = start({"wait", "ready", "fab", "off", "--timeout", "50", "--output", "json"});
    does({"ready", "fab", "off"});
    EXPECT_EQ(off.finish().out, "{\"type\":\"s_frame.cap_fab_glb_state\",\"key\":{},\"fields\":{\"ready\":false}}\n");
}

TEST_F(ChassisVerbs, WaitForARecord) {
    Program there = start({"wait", "/a", "--timeout", "50"});
    Program value = start({"wait", "/a", "int32_value=0x10", "bool_value=1", "--timeout", "50"});
    Program of_node = start({"wait", "/a", "--fe", "3", "int32_value=1", "--timeout", "50"});
    does({"set", "/a", "--int", "16"});
    EXPECT_THAT(there.finish(), Prints(""));
    does({"set", "/a", "--bool", "1"});
    EXPECT_THAT(value.finish(), Prints(""));
    does({"set", "/a", "--fe", "3", "--int", "1"});
    EXPECT_THAT(of_node.finish(), Prints(""));
    EXPECT_THAT(run({"wait", "/a", "int32_value=17", "--timeout", "0.1"}),
                FailsWith(4, "cap_table:/a int32_value=17: not so within 0.1 s; it is stored with bool_value=1 "
                             "int32_value=16"));
    EXPECT_THAT(run({"wait", "/b", "--timeout", "0.1"}), FailsWith(4, "not so within 0.1 s; there is no such record"));
    EXPECT_THAT(run({"wait", "/a", "--gone", "--timeout", "0.1"}), FailsWith(4, "cap_table:/a gone: not so"));
    // A value that was never written is none, not even 0.
    EXPECT_THAT(run({"wait", "/a", "state=0", "--timeout", "0.1"}), FailsWith(4, "not so"));
    Program gone = start({"wait", "/a", "--gone", "--timeout", "50"});
    does({"del", "/a"});
    EXPECT_THAT(gone.finish(), Prints(""));
    EXPECT_THAT(run({"wait", "/a", "--gone"}), Prints(""));
}

TEST_F(ChassisVerbs, WaitForNothingThatCannotBe) {
    EXPECT_THAT(run({"wait"}), FailsWith(2, "WHAT"));
    EXPECT_THAT(run({"wait", "node", "3"}), FailsWith(2, "node NODE ready|unready expected"));
    EXPECT_THAT(run({"wait", "node", "3", "up"}), FailsWith(2, "ready or unready expected, not \"up\""));
    EXPECT_THAT(run({"wait", "ready", "lc"}), FailsWith(2, "SCOPE: glb, cm, fab or hps expected"));
    EXPECT_THAT(run({"wait", "ready"}), FailsWith(2, "ready SCOPE [on|off] expected"));
    EXPECT_THAT(run({"wait", "/a", "int32_value"}), FailsWith(2, "FIELD=VALUE expected"));
    EXPECT_THAT(run({"wait", "/a", "int_value=1"}), FailsWith(2, "int_value"));
    EXPECT_THAT(run({"wait", "/a", "int32_value=x"}), FailsWith(2, "int32_value"));
    EXPECT_THAT(run({"wait", "/a", "int32_value=1", "--gone"}), FailsWith(2, "--gone"));
}

TEST_F(ChassisVerbs, WaitThroughALostStore) {
    does({"ready", "fab", "off"});
    Program waiting = start({"wait", "ready", "fab", "--timeout", "50"});
    // It has read what is stored, and listens.
    while (raw().text({"CLIENT", "LIST"}).find("cmd=get ") == std::string::npos) {
    }
    server().kill();
    server().start();
    does({"ready", "fab", "on"});
    const Outcome outcome = waiting.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("trel_capctl: the store is lost: "));
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("ox_mom")));
}

}  // namespace

}  // namespace capctl_test
