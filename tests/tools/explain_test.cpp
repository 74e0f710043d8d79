// explain.
#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

#include "chassis_verbs.h"
#include "private_directory.h"

namespace capctl_test {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

namespace {

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
              "1     cm     0/1/0   300    -      ready\n"
              "\n"
              "Scopes that have cards, and are not ready:\n"
              "  glb: there is no cap_glb_state, so that the device is not ready; it waits for the readiness "
              "calculation\n"
              "      at a desk: trel_capctl ready glb on\n"
              "\n"
              "The readiness calculation writes whether the device and the classes are ready.\n");

    const json array = json::parse(run({"explain", "--output", "json"}).out);
    EXPECT_EQ(run({"explain", "--output", "table"}).out, outcome.out);
    ASSERT_EQ(array.size(), 2 + 4) << "the cards, and the scopes";
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

// The cards are ready: who reads that it is not all ready is told what else there is, and how to mend it.
TEST_F(ChassisVerbs, ExplainThatAScopeIsNotReady) {
    does({"card", "insert", "33", "--class", "fab"});
    does({"node", "33", "ready"});
    does({"ready", "fab", "off"});
    const Outcome outcome = run({"explain"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("  fab: cap_fab_glb_state says that the class of fabric cards is not ready; it "
                                       "waits for the readiness calculation\n"));
    const std::vector<json> missing = missing_in_json();
    ASSERT_EQ(missing.size(), 1) << "the other scopes have no cards";
    EXPECT_EQ(missing[0]["scope"], "fab");
    EXPECT_EQ(missing[0]["cards"], 1);
    EXPECT_EQ(missing[0]["verdict"], "not ready");
    paste(missing[0]["missing"][0]["remedy"]);
    EXPECT_EQ(run({"explain"}).status, 0);
    EXPECT_TRUE(missing_in_json().empty());
}

// What --help proposes, as far as this program does it: jq is not everywhere.
TEST_F(ChassisVerbs, ExplainAsJsonWhatIsMissing) {
    EXPECT_THAT(run({"explain", "--help"}).out, HasSubstr("jq '.[] | select(.missing != [])'"));
    does({"card", "insert", "3"});
    does({"card", "insert", "33", "--class", "fab"});
    does({"node", "33", "ready"});
    does({"ready", "fab", "on"});
    const std::vector<json> missing = missing_in_json();
    ASSERT_EQ(missing.size(), 2);
    EXPECT_EQ(missing[0]["node"], 3);
    EXPECT_EQ(missing[0]["missing"][0],
              json::parse(R"({"condition":"checked","record":"app_df_card_deny_check_result:0:0:3:0",)"
                          R"("actor":"application's checker","why":"no app_df_card_deny_check_result names node 3",)"
                          R"("remedy":"trel_capctl check 3 pass"})"));
    EXPECT_EQ(missing[1]["scope"], "glb");
}

// The slot holds another card, by mistake or not: what is told to do works, and is not told of a record that is there
// that there is none.
TEST_F(ChassisVerbs, ExplainThatARecordNamesAnotherNode) {
    does({"card", "insert", "18", "--slot", "17"});
    does({"check", "18", "pass", "--slot", "17"});
    does({"node", "17", "ready", "--slot", "17"});
    EXPECT_THAT(run({"explain", "17"}),
                Explains("  NO   installed    card_info:0:0:17:0  (names node 18)\n"
                         "  NO   checked      app_df_card_deny_check_result:0:0:17:0  (names node 18)\n"));
    EXPECT_THAT(run({"explain", "17"}), Explains("card_info:0:0:17:0 names node 18, not 17\n"
                                                 "      at a desk: trel_capctl card remove 18 && trel_capctl card "
                                                 "insert 17 --class lc\n"));
    const json judgement = json::parse(run({"explain", "17", "-o", "json"}).out);
    for (const json &each : judgement["missing"]) {
        paste(each["remedy"]);
    }
    EXPECT_THAT(run({"explain", "17"}), IsReady());
    does({"card", "remove", "17"});
    does({"del", "cap_fe_ready:17:900"});
    does({"check", "17", "withdraw"});
    does({"card", "insert", "18", "--slot", "17"});
    EXPECT_THAT(run({"explain", "17"}), Explains("No record of the store names it.\nIn the slot of that number is "
                                                 "another card: card_info:0:0:17:0 names node 18, not 17.\n"));
}

// Each remedy as it is told, and all of them one after the other; none of them takes away what is ready.
TEST_F(ChassisVerbs, ExplainHowToMendOneOfManyReadinessRecords) {
    does({"card", "insert", "17"});
    does({"check", "17", "pass"});
    does({"node", "17", "ready"});
    const auto unready = [&] { does({"node", "17", "unready", "--model", "901"}); };
    unready();
    const auto remedies = [&] {
        std::vector<std::string> commands;
        const json judgement = json::parse(run({"explain", "17", "-o", "json"}).out);
        for (const json &each : judgement["missing"]) {
            commands.push_back(each["remedy"]);
        }
        return commands;
    };
    const std::vector<std::string> told = remedies();
    EXPECT_THAT(told,
                testing::ElementsAre("trel_capctl node 17 ready --model 901", "trel_capctl del cap_fe_ready:17:901"));
    for (const std::string &each : told) {
        unready();
        paste(each);
        EXPECT_THAT(run({"explain", "17"}), IsReady()) << each;
    }
    unready();
    for (const std::string &each : told) {
        paste(each);
    }
    EXPECT_THAT(run({"explain", "17"}), IsReady());
}

TEST_F(ChassisVerbs, ExplainHowToMendChecksThatContradict) {
    does({"card", "insert", "17"});
    does({"node", "17", "ready"});
    does({"set", "app_df_card_deny_check_result:0:0:16:0", "stat=1", "card_nodeid=17"});
    does({"set", "app_df_card_deny_check_result:0:0:17:0", "stat=0", "card_nodeid=17"});
    const json judgement = json::parse(run({"explain", "17", "-o", "json"}).out);
    ASSERT_EQ(judgement["missing"].size(), 2) << judgement;
    for (const json &each : judgement["missing"]) {
        paste(each["remedy"]);
        EXPECT_THAT(run({"explain", "17"}), IsReady()) << each;
    }
}

TEST_F(ChassisVerbs, ExplainThatTwoCardsNameANode) {
    does({"card", "insert", "33", "--class", "fab"});
    does({"node", "33", "ready"});
    does({"set", "card_info:0:0:5:0", "card_nodeid=33", "static_info.node_type=5"});
    const Outcome outcome = run({"explain", "33"});
    EXPECT_THAT(outcome, IsReady());
    EXPECT_THAT(outcome.out, HasSubstr("\nNote: more than one card_info names this node, of which an application goes "
                                       "by the one that it reads last: card_info:0:0:33:0, card_info:0:0:5:0.\n"));
}

// As it has to be written: a remedy would not find it otherwise.
TEST_F(ChassisVerbs, ExplainALargeNodeInHexadecimal) {
    does({"card", "insert", "0x80000005"});
    EXPECT_THAT(run({"explain", "0x80000005"}),
                Explains("node 0x80000005, line card, slot 0/5/0, model 900: not ready\n"));
    EXPECT_THAT(run({"explain", "0x80000005"}), Explains("result names node 0x80000005\n"));
    EXPECT_THAT(run({"explain"}), Explains("\n0x80000005  lc "));
}

// Capabilities say nothing of its readiness, but who has written some is not told that there is nothing.
TEST_F(ChassisVerbs, ExplainANodeThatHasCapabilitiesOnly) {
    does({"set", "/n", "--fe", "99", "--int", "1"});
    does({"set", "/n", "--cm", "98", "--int", "1"});
    const std::string text = "No readiness record names it; there are capabilities of it.\n";
    EXPECT_THAT(run({"explain", "99"}), Explains("node 99: not ready\n\n" + text));
    EXPECT_THAT(run({"explain", "98"}), Explains(text));
    EXPECT_THAT(run({"explain", "97"}), Explains("No record of the store names it.\n"));
    const test_support::PrivateDirectory directory;
    const std::string file = directory.path() + "/field.ndjson";
    std::ofstream(file) << dump();
    EXPECT_THAT(capctl_test::run({"explain", "99", "--from", file}), Explains(text));
}

// The card has moved, and its check is where it was.
TEST_F(ChassisVerbs, ExplainHowToPassACheckThatIsElsewhere) {
    does({"card", "insert", "3"});
    does({"check", "3", "deny"});
    does({"card", "remove", "3"});
    does({"card", "insert", "3", "--slot", "5"});
    does({"node", "3", "ready"});
    paste(json::parse(run({"explain", "3", "-o", "json"}).out)["missing"][0]["remedy"]);
    EXPECT_THAT(run({"explain", "3"}), IsReady());
}

// Each makes a difference that the conditions do not show, or shows one that makes none.
TEST_F(ChassisVerbs, ExplainWhatIsOddInRecords) {
    does({"card", "insert", "3"});
    does({"check", "3", "pass"});
    does({"node", "3", "ready"});
    EXPECT_THAT(run({"explain", "3"}).out, testing::Not(HasSubstr("Note: ")));
    does({"set", "cap_fe_ready:3:900", "node_type=1"});
    EXPECT_THAT(run({"explain", "3"}).out,
                HasSubstr("\nNote: card_info:0:0:3:0 says node_type 3, cap_fe_ready:3:900 node_type 1; an application "
                          "goes by the one that it reads last, when it starts the latter, for which no check is "
                          "asked.\n"));
    does({"set", "cap_fe_ready:3:900", "node_type=3"});
    does({"set", "card_info:0:0:3:0", "is_online=0"});
    EXPECT_THAT(run({"explain", "3"}).out, HasSubstr("\nNote: card_info:0:0:3:0 says that the card is not online "
                                                     "(is_online); no condition asks for that.\n"));
    EXPECT_EQ(run({"explain", "3"}).status, 0);
    does({"set", "app_df_card_deny_check_result:0:0:3:0", "stat=7"});
    EXPECT_THAT(run({"explain", "3"}).out, HasSubstr("\nNote: app_df_card_deny_check_result:0:0:3:0 has stat 7, which "
                                                     "is neither a denial nor a pass; applications take it for a "
                                                     "pass.\n"));
    does({"del", "app_df_card_deny_check_result:0:0:3:0"});
    does({"set", "app_df_card_deny_check_result:0:0:3:0", "card_nodeid=3"});
    const Outcome outcome = run({"explain", "3"});
    EXPECT_THAT(outcome, Explains("  NO   not denied   app_df_card_deny_check_result:0:0:3:0  (has no stat)\n"));
    EXPECT_THAT(outcome, Explains("app_df_card_deny_check_result:0:0:3:0 does not say whether the card is denied "
                                  "(stat), which is read as a denial\n"));
    EXPECT_THAT(outcome.out, testing::Not(HasSubstr("denies the card")));
}

// What is not known of a node is not made up.
TEST_F(ChassisVerbs, ExplainAsJsonWhatIsKnown) {
    const json unknown = json::parse(run({"explain", "99", "-o", "json"}).out);
    EXPECT_EQ(unknown, json::parse(R"({"node":99,"verdict":"not ready","conditions":[],"missing":[{"condition":)"
                                   R"("installed","record":"","actor":"slot watcher","why":"no card_info names node)"
                                   R"( 99","remedy":"trel_capctl card insert 99"}],"told":[],"notes":[]})"));
    does({"check", "3", "deny"});
    EXPECT_TRUE(json::parse(run({"explain", "3", "-o", "json"}).out)["node_type"].is_null());
    const Outcome empty = capctl_test::run({"explain", "--from", "/dev/null", "-o", "ndjson"});
    EXPECT_EQ(empty.err, "trel_capctl: No record names a node.\n");
}

// Words that somebody meets for the first time are explained where they are.
TEST_F(ChassisVerbs, ExplainTheirWords) {
    does({"card", "insert", "3"});
    does({"node", "3", "ready", "--real-time", "off"});
    does({"ready", "glb", "on"});
    const char *const in_advance = "Ready in advance: applications are told that a card is ready because its class is, "
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

}  // namespace

}  // namespace capctl_test
