// Any record by its key, and capabilities of classes and nodes: get, set, del.
#include <fstream>

#include "capctl_test.h"

namespace capctl_test {

namespace {

class AnyRecord : public ServerTest {};

TEST_F(AnyRecord, IsWrittenReadAndDeletedByItsKey) {
    ASSERT_THAT(run({"set", "cap_fe_ready:0x11:900", "ready=1", "real_time=0", "node_type=3"}), Prints(""));
    EXPECT_THAT(run({"get", "cap_fe_ready:17:900"}), Prints("ready      1\n"
                                                            "node_type  3\n"
                                                            "real_time  0\n"));
    EXPECT_THAT(run({"get", "cap_fe_ready:17:900", "--field", "real_time"}), Prints("0\n"));
    EXPECT_THAT(run({"get", "cap_fe_ready:17:900", "--output", "table"}),
                Prints("cap_fe_ready  ready  node_type  real_time\n"
                       "17:900        1      3          0\n"));
    EXPECT_THAT(run({"get", "s_frame.cap_fe_ready:17:900", "-o", "json"}),
                Prints("{\"type\":\"s_frame.cap_fe_ready\",\"key\":{\"node\":17,\"config_dev_type\":900},"
                       "\"fields\":{\"ready\":true,\"node_type\":3,\"real_time\":false}}\n"));
    EXPECT_THAT(run({"get", "cap_fe_ready:17:900", "--field", "devid"}),
                FailsWith(1, "\"cap_fe_ready:17:900\": its devid was never set"));
    EXPECT_THAT(run({"del", "cap_fe_ready:17:900"}), Prints(""));
    EXPECT_THAT(run({"get", "cap_fe_ready:17:900"}), FailsWith(1, "\"cap_fe_ready:17:900\": no such record"));
    EXPECT_THAT(run({"del", "cap_fe_ready:17:900"}), FailsWith(1, "\"cap_fe_ready:17:900\": no such record"));
}

TEST_F(AnyRecord, OfTheCardsIsInTheirDatabase) {
    ASSERT_THAT(
        run({"set", "card_info:0:0:1:0", "static_info.node_type=5", "card_nodeid=20", "serial=00ff", "name=LPU"}),
        Prints(""));
    test_support::RedisConnection cards = server().connection();
    cards.must({"SELECT", "1"});
    EXPECT_EQ(cards.text({"HGET", "p_dev.card_info:0:0:1:0", "17"}), "\x88\x01\x14");
    EXPECT_THAT(run({"get", "card_info:0:0:1:0"}), Prints("name                      \"LPU\"\n"
                                                          "static_info.node_type     5\n"
                                                          "static_info.sub_slot_num  0\n"
                                                          "static_info.name          \"\"\n"
                                                          "card_nodeid               20\n"
                                                          "serial                    00ff\n"));
    EXPECT_THAT(run({"get", "card_info:0:0:1:0", "--field", "static_info.node_type"}), Prints("5\n"));
}

TEST_F(AnyRecord, ThatIsASingleObjectIsReadByItsType) {
    EXPECT_THAT(run({"get", "cap_fab_glb_state"}), FailsWith(1, "no such record"));
    ASSERT_THAT(run({"set", "cap_fab_glb_state", "ready=true"}), Prints(""));
    EXPECT_THAT(run({"ready", "fab"}), Prints("on\n"));
    EXPECT_THAT(run({"del", "cap_fab_glb_state", "-o", "json"}),
                Prints("{\"type\":\"s_frame.cap_fab_glb_state\",\"key\":{},\"fields\":{\"ready\":true}}\n"));
    EXPECT_THAT(run({"get", "cap_fab_glb_state"}), FailsWith(1, "no such record"));
}

TEST_F(AnyRecord, TakesValuesFromFilesAndStandardInput) {
    Launch launch = capctl({"set", "card_info:0:0:1:0", "serial@-", "card_nodeid=1"}, environment());
    launch.input = std::string("\0\n\xff\n", 4);
    EXPECT_THAT(Program(launch).finish(), Prints(""));
    EXPECT_THAT(run({"get", "card_info:0:0:1:0", "--field", "serial"}), Prints("000aff0a\n"));
    const test_support::PrivateDirectory directory;
    std::ofstream(directory.file("name")) << "a name\n";
    EXPECT_THAT(run({"set", "card_info:0:0:1:0", "name@" + directory.file("name")}), Prints(""));
    EXPECT_THAT(run({"get", "card_info:0:0:1:0", "--field", "name"}), Prints("a name\n"));
    EXPECT_THAT(run({"set", "card_info:0:0:1:0", "name@" + directory.file("none")}),
                FailsWith(7, "none\": No such file"));
}

TEST_F(AnyRecord, IsCheckedAgainstTheSchema) {
    const auto refused = [this](const Arguments &words, const std::string &why) {
        Arguments arguments = {"set", "cap_fe_ready:17:900"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        EXPECT_THAT(run(arguments), FailsWith(2, why));
    };
    refused({"ready=1", "redy=1"}, "\"redy\": s_frame.cap_fe_ready has no such field; did you mean ready?");
    refused({"ready=yes"}, "ready: 0, 1, false or true expected, not \"yes\"");
    refused({"ready"}, "\"ready\": FIELD=VALUE or FIELD@FILE expected");
    refused({"=1"}, "\"=1\": FIELD=VALUE or FIELD@FILE expected");
    refused({"index.node=3"}, "\"index.node=3\": what addresses the record is in its key");
    refused({"--int", "3"}, "\"cap_fe_ready:17:900\": it is no capability; FIELD=VALUE expected");
    refused({}, "a value is missing");
    EXPECT_THAT(run({"set", "/a", "int32_value=1", "--int", "2"}),
                FailsWith(2, "\"int32_value=1\": give FIELD=VALUE, or one"));
    EXPECT_THAT(run({"get", "cap_fe_ready:17:900"}), FailsWith(1, "")) << "nothing of it was written";
    EXPECT_THAT(run({"get", "cap_fe_ready:17"}), FailsWith(2, "cap_fe_ready:node:config_dev_type expected"));
    EXPECT_THAT(run({"get", "cap_fe_ready:17:900", "--int"}), FailsWith(2, "--int: cap_fe_ready has no such value"));
    EXPECT_THAT(run({"get", "cap_fe_ready:17:900", "--field", "x"}),
                FailsWith(2, "\"x\": s_frame.cap_fe_ready has no"));
    EXPECT_THAT(run({"get", "cap_fe_redy:17:900"}),
                FailsWith(1, "\"cap_fe_redy:17:900\": no such capability; did you mean cap_fe_ready?"));
}

// Nobody would notice a capability that stands for a record; who means one can still say so.
TEST_F(AnyRecord, IsNotTakenForACapabilityWhenItsKeyIsMistyped) {
    for (const char *mistyped : {"cap_fe_redy:1:2", "cap_glb_stat", "card-info:0:0:1:0", "s_frame.cap_fe_ready:1:2x"}) {
        const Outcome outcome = run({"set", mistyped, "--int", "1"});
        EXPECT_EQ(outcome.status, 2) << mistyped;
        EXPECT_EQ(run({"wait", mistyped, "--timeout", "0"}).status, 2) << mistyped;
    }
    EXPECT_THAT(run({"set", "cap_fe_redy:1:2", "int32_value=1"}),
                FailsWith(2, "\"cap_fe_redy:1:2\": it looks like a mistyped key; did you mean cap_fe_ready? If it is a "
                             "capability's URL, write \"cap_table:cap_fe_redy:1:2\"\nTry"));
    EXPECT_EQ(run({"ls"}).out, "");
    EXPECT_THAT(run({"del", "cap_glb_stat"}), FailsWith(1, "no such capability; did you mean cap_glb_state?"));
    EXPECT_THAT(run({"set", "cap_table:cap_fe_redy:1:2", "--int", "1"}), Prints(""));
    EXPECT_THAT(run({"get", "cap_fe_redy:1:2", "--int"}), Prints("1\n"));
    for (const Arguments &meant :
         {Arguments{"/cap_tabel:1"}, {"cap:1"}, {"glb"}, {"table"}, {"cap_tabel", "--fe", "3"}}) {
        Arguments arguments = {"set", "--int", "1"};
        arguments.insert(arguments.end(), meant.begin(), meant.end());
        EXPECT_THAT(run(arguments), Prints("")) << meant[0];
    }
}

// A value within a message, too; what was printed as text was no JSON.
TEST_F(AnyRecord, HasEachOfItsValuesAsJson) {
    ASSERT_THAT(run({"set", "card_info:0:0:1:0", "static_info.node_type=5", "static_info.name=a\"b", "name=LPU"}),
                Prints(""));
    const auto value = [this](const char *field) {
        return run({"get", "card_info:0:0:1:0", "--field", field, "-o", "json"}).out;
    };
    EXPECT_EQ(value("static_info.node_type"), "5\n");
    EXPECT_EQ(value("static_info.name"), "\"a\\\"b\"\n");
    EXPECT_EQ(value("name"), "\"LPU\"\n");
    EXPECT_EQ(value("index.slotid"), "1\n");
}

TEST_F(AnyRecord, IsPrintedAsATableOnceWritten) {
    EXPECT_THAT(run({"set", "cap_glb_state", "ready=1", "-o", "table"}),
                Prints("cap_glb_state  ready\n-              1\n"));
    EXPECT_THAT(run({"ready", "glb", "-o", "table"}), Prints("cap_glb_state  ready\n-              1\n"));
    EXPECT_THAT(run({"del", "cap_glb_state", "-o", "table"}), Prints("cap_glb_state  ready\n-              1\n"));
}

class ScopedCapability : public ServerTest {};

TEST_F(ScopedCapability, IsItsOwnInEachScope) {
    const std::vector<std::pair<Arguments, std::string>> scopes = {
        {{}, "p_libpub.cap_table:/a"},
        {{"--class", "cm"}, "p_libpub.cap_cm_table:/a"},
        {{"--class", "fab"}, "p_libpub.cap_fab_table:/a"},
        {{"--class", "hps"}, "p_libpub.cap_hps_table:/a"},
        {{"--fe", "0x11"}, "s_frame.cap_glb_table:17:/a"},
        {{"--cm", "17"}, "s_frame.cap_cm_glb_table:17:/a"},
    };
    for (size_t i = 0; i < scopes.size(); ++i) {
        Arguments arguments = {"set", "/a", "--int", std::to_string(i)};
        arguments.insert(arguments.end(), scopes[i].first.begin(), scopes[i].first.end());
        ASSERT_THAT(run(arguments), Prints(""));
        EXPECT_EQ(raw().list({"HKEYS", scopes[i].second}).size(), 2U) << scopes[i].second;
    }
    for (size_t i = 0; i < scopes.size(); ++i) {
        Arguments arguments = {"get", "/a", "--int"};
        arguments.insert(arguments.end(), scopes[i].first.begin(), scopes[i].first.end());
        EXPECT_THAT(run(arguments), Prints(std::to_string(i) + "\n"));
        arguments = {"del", "/a"};
        arguments.insert(arguments.end(), scopes[i].first.begin(), scopes[i].first.end());
        EXPECT_THAT(run(arguments), Prints(""));
        EXPECT_THAT(run(arguments), FailsWith(1, "\"/a\": no such capability"));
    }
}

TEST_F(ScopedCapability, OfANodeMayBeAString) {
    ASSERT_THAT(run({"set", "/a", "--fe", "3", "--str", "wide"}), Prints(""));
    EXPECT_THAT(run({"get", "/a", "--fe", "3"}), Prints("string  \"wide\"\n"));
    ASSERT_THAT(run({"set", "/a", "--cm", "3", "--str", ""}), Prints(""));
    EXPECT_THAT(run({"get", "/a", "--cm", "3", "--str"}), Prints("\n"));
    EXPECT_THAT(run({"set", "/a", "--class", "cm", "--str", "x"}), FailsWith(2, "--str: applications read strings of"));
    EXPECT_THAT(run({"set", "/a", "str_value=x"}), FailsWith(2, "--str: applications read strings of"));
    EXPECT_THAT(run({"set", "/a", "--fe", "3", "--state", "1"}),
                FailsWith(2, "--state: a capability of a node has no state"));
}

TEST_F(ScopedCapability, HasOneScope) {
    EXPECT_THAT(run({"get", "/a", "--fe", "3", "--cm", "3"}),
                FailsWith(2, "--fe and --cm exclude each other; give one of them"));
    EXPECT_THAT(run({"get", "/a", "--class", "lc"}), FailsWith(2, "--class: cm, fab or hps expected, not \"lc\""));
    EXPECT_THAT(run({"get", "/a", "--fe", "x"}), FailsWith(2, "--fe: a whole number"));
    EXPECT_THAT(run({"get", "cap_glb_state", "--fe", "3"}),
                FailsWith(2, "\"cap_glb_state\": a key says whose record it is"));
}

}  // namespace

}  // namespace capctl_test
