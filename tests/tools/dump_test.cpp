// ls, dump, load, diff and decode.
#include <fstream>

#include "capctl_test.h"

namespace capctl_test {

namespace {

const std::string kReady = "{\"type\":\"s_frame.cap_glb_state\",\"key\":{},\"fields\":{\"ready\":true}}\n";
const std::string kNode = "{\"type\":\"s_frame.cap_fe_ready\",\"key\":{\"node\":2,\"config_dev_type\":900},"
                          "\"fields\":{\"ready\":true}}\n";
const std::string kCapability =
    "{\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/l3/arp\"},\"fields\":{\"int32_value\":3}}\n";

class Contents : public ServerTest {
protected:
    Outcome load(const std::string &text, const Arguments &more = {}) const {
        Arguments arguments = {"load"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        Launch launch = capctl(arguments, environment());
        launch.input = text;
        return Program(launch).finish();
    }
    std::string dumped() const { return run({"dump", "--output", "ndjson"}).out; }
};

TEST_F(Contents, AreListedInOrder) {
    EXPECT_THAT(run({"ls"}), Prints("")) << "it is empty, and that is an answer";
    ASSERT_THAT(run({"set", "cap_fe_ready:10:900", "ready=1"}), Prints(""));
    ASSERT_EQ(load(kCapability + kReady + kNode).status, 0);
    EXPECT_THAT(run({"ls"}), Prints("cap_fe_ready:2:900\ncap_fe_ready:10:900\ncap_glb_state\ncap_table:/l3/arp\n"));
    EXPECT_THAT(run({"ls", "cap_fe*"}), Prints("cap_fe_ready:2:900\ncap_fe_ready:10:900\n"));
    EXPECT_THAT(run({"ls", "/l3/*"}), Prints("cap_table:/l3/arp\n"));
    EXPECT_THAT(run({"ls", "/l3/*", "*:2:*"}), Prints("cap_fe_ready:2:900\ncap_table:/l3/arp\n"));
    EXPECT_THAT(run({"ls", "--type", "cap_table", "--type", "s_frame.cap_glb_state"}),
                Prints("cap_glb_state\ncap_table:/l3/arp\n"));
    EXPECT_THAT(run({"ls", "--type", "cap_tabel"}), FailsWith(2, "did you mean cap_table?"));
    EXPECT_THAT(run({"ls", "-o", "json", "*state", "/l3/*"}), Prints("[\"cap_glb_state\",\"cap_table:/l3/arp\"]\n"));
    EXPECT_THAT(run({"ls", "-o", "ndjson", "*state"}), Prints("\"cap_glb_state\"\n"));
    EXPECT_THAT(run({"ls", "-o", "table", "cap_fe*"}),
                Prints("KEY                  NODE  FIELDS\ncap_fe_ready:2:900   2     ready\n"
                       "cap_fe_ready:10:900  10    ready\n"));
    ASSERT_THAT(run({"set", "/n", "--fe", "7", "--int", "1"}), Prints(""));
    EXPECT_THAT(run({"ls", "-o", "table", "/n", "cap_glb_state"}),
                Prints("KEY                 NODE  FIELDS\ncap_glb_state       -     ready\n"
                       "cap_glb_table:7:/n  7     int32_value\n"));
}

// What fits a pattern may be nothing; what is named in full is missed.
TEST_F(Contents, AreMissedWhereTheyAreNamed) {
    ASSERT_EQ(load(kCapability).status, 0);
    const std::string line = kCapability.substr(0, kCapability.size() - 1);
    for (const char *pattern : {"nothing*", "/l[0-2]/arp", "/l?", "\\/l"}) {
        EXPECT_THAT(run({"ls", pattern}), Prints("")) << pattern;
        EXPECT_THAT(run({"dump", pattern, "-o", "json"}), Prints("[]\n")) << pattern;
    }
    EXPECT_THAT(run({"ls", "--type", "card_info"}), Prints(""));
    for (const char *verb : {"ls", "dump"}) {
        EXPECT_THAT(run({verb, "/l3"}), FailsWith(1, "\"/l3\": no such record")) << verb;
        const Outcome outcome = run({verb, "cap_glb_state", "-o", "json", "/l3/arp"});
        EXPECT_EQ(outcome.status, 1) << verb;
        EXPECT_EQ(outcome.err, "trel_capctl: \"cap_glb_state\": no such record\n") << verb;
        EXPECT_EQ(outcome.out, verb == std::string("ls") ? "[\"cap_table:/l3/arp\"]\n" : "[" + line + "]\n");
        EXPECT_EQ(run({verb, "cap_table:/l3/arp", "/l3/arp", "-o", "table"}).status, 0) << verb;
    }
    EXPECT_THAT(run({"get", "/l3"}), FailsWith(1, "no such capability"));
    EXPECT_EQ(run({"watch", "/l3", "--count", "0"}).status, 0) << "it may come";
}

TEST_F(Contents, AreDumpedInEachFormat) {
    ASSERT_EQ(load(kCapability + kReady).status, 0);
    EXPECT_THAT(run({"dump"}), Prints("cap_glb_state ready=1\ncap_table:/l3/arp int32_value=3\n"));
    EXPECT_THAT(run({"dump", "-o", "ndjson"}), Prints(kReady + kCapability));
    EXPECT_THAT(run({"dump", "-o", "json"}), Prints("[" + kReady.substr(0, kReady.size() - 1) + "," +
                                                    kCapability.substr(0, kCapability.size() - 1) + "]\n"));
    EXPECT_THAT(run({"dump", "-o", "table"}),
                Prints("cap_glb_state  ready\n-              1\n\ncap_table  int32_value\n/l3/arp    3\n"));
}

// Whatever a field holds, and whether it is there.
TEST_F(Contents, AreTheSameOnceLoadedAgain) {
    ASSERT_THAT(
        run({"set", "card_info:0:0:1:0", "static_info.node_type=3", "serial=00ff0a", "is_online=0", "name=a\"\n"}),
        Prints(""));
    ASSERT_THAT(run({"set", "/a", "--int", "0"}), Prints(""));
    publish_string("/\xff", "\xfe\n");
    ASSERT_THAT(run({"set", "app_df_card_deny_check_result:0:0:1:0", "stat=APP_DF_CHECK_DENY"}), Prints(""));
    raw().must({"HSET", "s_frame.cap_fe_ready:9:9", "5", "\x2a\x04\x08\x09\x10\x09"});
    raw().must({"SADD", "records:s_frame.cap_fe_ready", "s_frame.cap_fe_ready:9:9"});
    const std::string text = dumped();
    EXPECT_NE(text.find("cap_fe_ready"), std::string::npos) << "a record without fields is one";
    const auto bytes = [this] { return raw().text({"HGET", "p_libpub.cap_table:/\xff", "8"}); };
    const std::string before = bytes();
    server().restart(test_support::RedisServer::Data::kDropped);
    EXPECT_EQ(dumped(), "");
    ASSERT_EQ(load(text).status, 0);
    EXPECT_EQ(dumped(), text);
    EXPECT_EQ(bytes(), before);
}

TEST_F(Contents, StayAsTheyAreWhenADumpIsBroken) {
    EXPECT_THAT(load(kReady + kNode + "{\"type\":\n"), FailsWith(6, "standard input:3: no JSON"));
    EXPECT_THAT(load(kReady + kReady),
                FailsWith(6, "standard input:2: \"cap_glb_state\": the same record as at standard input:1"));
    const test_support::PrivateDirectory directory;
    std::ofstream(directory.file("dump")) << kReady << "{\"type\":\"x\"}\n";
    EXPECT_THAT(run({"load", directory.file("dump")}), FailsWith(6, "dump:2: type: no such record type as \"x\""));
    EXPECT_THAT(run({"load", directory.file("none")}), FailsWith(7, "No such file"));
    EXPECT_EQ(dumped(), "");
}

TEST_F(Contents, AreAddedToOrReplaced) {
    ASSERT_THAT(run({"set", "/l3/arp", "--bool", "1"}), Prints(""));
    ASSERT_THAT(run({"set", "/other", "--bool", "1"}), Prints(""));
    EXPECT_THAT(load(kCapability + kReady, {"-o", "json"}), Prints("{\"written\":2,\"deleted\":0}\n"));
    EXPECT_THAT(run({"dump", "*/*"}),
                Prints("cap_table:/l3/arp bool_value=1 int32_value=3\ncap_table:/other bool_value=1\n"));
    EXPECT_THAT(load(kCapability + kReady, {"--replace", "-o", "json"}), Prints("{\"written\":2,\"deleted\":2}\n"));
    EXPECT_THAT(load(kReady), Prints("1 record written\n"));
    EXPECT_THAT(load(kCapability + kReady, {"--replace"}), Prints("2 records written, 0 deleted\n"));
    EXPECT_EQ(dumped(), kReady + kCapability);
}

// Who forgets --output is told what is wanted.
TEST_F(Contents, AreNotReadFromWhatIsForReaders) {
    ASSERT_EQ(load(kCapability + kNode).status, 0);
    for (const char *format : {"text", "table"}) {
        EXPECT_THAT(load(run({"dump", "-o", format}).out),
                    FailsWith(6, "standard input:1: no JSON, byte 1; it looks like a dump for readers: one by dump "
                                 "--output ndjson is wanted"));
    }
    EXPECT_THAT(load("capital"), FailsWith(6, "standard input:1: no JSON, byte 1\n"));
}

// As the end of a pipe is whose beginning has failed.
TEST_F(Contents, AreNotReplacedByNothing) {
    ASSERT_EQ(load(kCapability + kReady).status, 0);
    EXPECT_THAT(load("\n", {"--replace"}),
                FailsWith(6, "standard input: no record; --replace would delete all that is stored"));
    EXPECT_THAT(load("[]", {"--replace"}), FailsWith(6, "no record"));
    EXPECT_THAT(load(""), Prints("0 records written\n"));
    EXPECT_EQ(dumped(), kReady + kCapability);
}

TEST_F(Contents, AreCompared) {
    ASSERT_EQ(load(kCapability + kReady).status, 0);
    const test_support::PrivateDirectory directory;
    std::ofstream(directory.file("dump")) << dumped();
    EXPECT_THAT(run({"diff", directory.file("dump")}), Prints(""));
    ASSERT_THAT(run({"ready", "glb", "off"}), Prints(""));
    ASSERT_THAT(run({"del", "/l3/arp"}), Prints(""));
    ASSERT_THAT(run({"set", "cap_fe_ready:2:900", "ready=1"}), Prints(""));
    const Outcome text = run({"diff", directory.file("dump")});
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.out, "+cap_fe_ready:2:900 ready=1\n"
                        "-cap_glb_state ready=1\n"
                        "+cap_glb_state ready=0\n"
                        "-cap_table:/l3/arp int32_value=3\n");
    const Outcome json = run({"diff", directory.file("dump"), environment()["OX_MOM_STORE"], "-o", "ndjson"});
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(
        json.out,
        "{\"type\":\"s_frame.cap_fe_ready\",\"key\":{\"node\":2,\"config_dev_type\":900},\"before\":null,\"after\":{"
        "\"ready\":true}}\n"
        "{\"type\":\"s_frame.cap_glb_state\",\"key\":{},\"before\":{\"ready\":true},\"after\":{\"ready\":false}}\n"
        "{\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/l3/"
        "arp\"},\"before\":{\"int32_value\":3},\"after\":null}\n");
    EXPECT_EQ(run({"diff", directory.file("dump"), "--color", "always"}).out.substr(0, 6), "\x1b[32m+");
    EXPECT_THAT(run({"diff", directory.file("dump"), directory.file("dump"), "-o", "json"}), Prints("[]\n"));
    EXPECT_THAT(run({"diff", directory.file("none")}), FailsWith(7, "No such file"));
}

TEST(Bytes, AreDecoded) {
    const auto decode = [](const Arguments &arguments, const std::string &input) {
        Launch launch = capctl(arguments);
        launch.input = input;
        return Program(launch).finish();
    };
    EXPECT_THAT(decode({"decode", "cap_fe_ready", "--hex"}, "2a05 0811 108407\n3000"),
                Prints("cap_fe_ready:17:900 ready=0\n"));
    EXPECT_THAT(decode({"decode", "cap_fe_ready", "--hex"}, "4803 3001 2a05 0811 108407"),
                Prints("cap_fe_ready:17:900 ready=1 slotid=3\n"));
    EXPECT_THAT(decode({"decode", "s_frame.cap_glb_state", "-o", "json"}, "\x28\x01"), Prints(kReady));
    EXPECT_THAT(decode({"decode", "cap_glb_state"}, "\x28"), FailsWith(6, "the 1 bytes are no s_frame.cap_glb_state"));
    EXPECT_THAT(decode({"decode", "cap_glb_state", "--hex"}, "2"), FailsWith(2, "--hex: pairs of hexadecimal digits"));
    EXPECT_THAT(decode({"decode", "cap_glb_stat"}, ""), FailsWith(2, "did you mean cap_glb_state?"));
}

}  // namespace

}  // namespace capctl_test
