// Records that are stored and do not decode: every verb names them in the tool's words, and goes on with the others.
#include <fstream>
#include <nlohmann/json.hpp>

#include "chassis_verbs.h"
#include "private_directory.h"
#include "terminal.h"

namespace capctl_test {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string kLeftOut = " is stored, but does not decode as its type; it is left out\n";

class Unreadable : public ChassisVerbs {
protected:
    // A field of a record that is stored becomes what it cannot be.
    void spoil(const std::string &key, const std::string &number) const {
        raw().must({"HSET", key, number, "\xff\xff"});
    }
    void publish_card() const {
        does({"card", "insert", "3"});
        does({"check", "3", "pass"});
        does({"node", "3", "ready"});
        does({"ready", "glb", "on"});
    }
};

TEST_F(Unreadable, IsNamedAndTheOthersAreListed) {
    does({"set", "/a", "--int", "1"});
    does({"set", "/b", "--int", "2"});
    spoil("p_libpub.cap_table:/b", "7");
    for (const char *format : {"text", "json", "ndjson", "table"}) {
        for (const char *verb : {"ls", "dump"}) {
            const Outcome outcome = run({verb, "-o", format});
            EXPECT_EQ(outcome.status, 6) << verb;
            EXPECT_EQ(outcome.err, "trel_capctl: cap_table:/b" + kLeftOut) << verb;
            EXPECT_THAT(outcome.out, AllOf(HasSubstr("/a"), Not(HasSubstr("/b")))) << verb;
        }
    }
    EXPECT_THAT(run({"ls", "/a*"}), Prints("cap_table:/a\n")) << "it is not asked for";
    EXPECT_EQ(run({"dump", "/b"}).err, "trel_capctl: cap_table:/b" + kLeftOut) << "it is there";
    // What no key of a record could be.
    raw().must({"SET", "other", "text"});
    raw().must({"SADD", "records:p_libpub.cap_table", "other"});
    EXPECT_THAT(run({"ls", "--type", "cap_table"}).err,
                HasSubstr("trel_capctl: other is stored, but cannot be read (WRONGTYPE "));
}

TEST_F(Unreadable, IsReadAndDeletedByItsKey) {
    does({"set", "/a", "--int", "1"});
    does({"set", "/l", "--fe", "3", "--int", "1"});
    spoil("p_libpub.cap_table:/a", "7");
    spoil("s_frame.cap_glb_table:3:/l", "5");
    raw().must({"SET", "s_frame.cap_glb_state", "\xff"});
    EXPECT_THAT(run({"get", "/a"}),
                FailsWith(6, "\"cap_table:/a\": it is stored, but does not decode; del deletes it"));
    EXPECT_THAT(run({"get", "/l", "--fe", "3"}), FailsWith(6, "\"cap_glb_table:3:/l\": it is stored, but does not"));
    EXPECT_THAT(run({"ready", "glb"}), FailsWith(6, "\"cap_glb_state\": it is stored, but does not decode"));
    EXPECT_THAT(run({"del", "/a", "-o", "json"}),
                Prints("{\"type\":\"p_libpub.cap_table\",\"key\":{\"url\":\"/a\"},\"fields\":{}}\n"));
    does({"del", "/l", "--fe", "3"});
    does({"del", "cap_glb_state"});
    EXPECT_THAT(run({"ls"}), Prints(""));
    // Whatever is in its URL.
    does({"set", "/it has no index", "--int", "1"});
    spoil("p_libpub.cap_table:/it has no index", "7");
    EXPECT_EQ(run({"ls"}).err, "trel_capctl: cap_table:/it has no index" + kLeftOut);
}

// In neither store is it, as far as one knows: they are not the same for that.
TEST_F(Unreadable, IsNoDumpsAndNoDifferences) {
    does({"set", "/a", "--int", "1"});
    const test_support::PrivateDirectory directory;
    std::ofstream(directory.file("dump")) << dump();
    does({"set", "/b", "--int", "1"});
    spoil("p_libpub.cap_table:/b", "7");
    const Outcome outcome = run({"diff", directory.file("dump")});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.err, "trel_capctl: cap_table:/b" + kLeftOut);
    // The store is as the file says, whatever there was.
    EXPECT_EQ(run({"load", "--replace", directory.file("dump")}).out, "1 record written, 1 deleted\n");
    EXPECT_THAT(run({"diff", directory.file("dump")}), Prints(""));
}

// Also one that becomes so: the notification cannot tell which it is.
TEST_F(Unreadable, IsToldOfWhileOthersAreWatched) {
    for (const char *url : {"/a", "/b", "/c"}) {
        does({"set", url, "--int", "1"});
    }
    spoil("p_libpub.cap_table:/b", "7");
    test_support::Terminal terminal(capctl({"watch", "/[ab]"}, environment()));
    std::string told = terminal.expect("all that is stored has been told\r\n");
    told += terminal.expect("trel_capctl: cap_table:/b is stored, but does not decode as its type; it is left out\r\n");
    spoil("p_libpub.cap_table:/c", "7");
    spoil("p_libpub.cap_table:/a", "7");
    does({"set", "/a", "--bool", "1"});  // whose notification has the spoilt field
    told += terminal.expect("trel_capctl: cap_table:/a is stored, but does not decode as its type; it is left out\r\n");
    does({"set", "/a", "--int", "5"});
    told += terminal.expect("int32_value=5\r\n");
    terminal.type("\003");
    EXPECT_EQ(terminal.finish(), 130) << "as it would have ended";
    EXPECT_THAT(told, AllOf(Not(HasSubstr("/c")), Not(HasSubstr("ox_mom"))));
}

// Its deletion cannot be told by what it was.
TEST_F(Unreadable, IsSeenToGo) {
    does({"set", "/a", "--int", "1"});
    Program program = start({"watch", "-o", "ndjson", "--count", "1"});
    ASSERT_TRUE(program.prints("\"complete\"}\n"));
    spoil("p_libpub.cap_table:/a", "7");
    does({"del", "/a"});
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("\"event\":\"deleted\""));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Unreadable, IsExplained) {
    publish_card();
    EXPECT_THAT(run({"explain", "3"}), IsReady());
    spoil("s_frame.cap_fe_ready:3:900", "6");
    const Outcome outcome = run({"explain", "3"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out, HasSubstr("  NO   ready        cap_fe_ready:3:900  (does not decode)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  card's software: cap_fe_ready:3:900 is stored, but does not decode\n"
                                       "      at a desk: trel_capctl del cap_fe_ready:3:900 && trel_capctl node 3 "
                                       "ready\n"));
    const Outcome all = run({"explain"});
    EXPECT_EQ(all.status, 6);
    EXPECT_EQ(all.err, "trel_capctl: cap_fe_ready:3:900" + kLeftOut);
    EXPECT_THAT(all.out, HasSubstr("ready (does not decode)"));
    EXPECT_THAT(run({"explain", "4"}), Explains("No record of the store names it.")) << "it is another node's";
    paste(json::parse(run({"explain", "3", "-o", "json"}).out)["missing"][0]["remedy"]);
    EXPECT_THAT(run({"explain", "3"}), IsReady());

    raw().must({"SET", "s_frame.cap_glb_state", "\xff"});
    EXPECT_THAT(run({"explain"}).out,
                HasSubstr("  glb: cap_glb_state is stored, but does not decode, so that the device is not ready"));
}

// No other record names the node, so that its number is known by the key alone.
TEST_F(Unreadable, IsAllThatIsKnownOfANode) {
    does({"node", "3", "ready", "--model", "901"});
    spoil("s_frame.cap_fe_ready:3:901", "6");
    const Outcome outcome = run({"explain", "3"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.out, HasSubstr("\ncap_fe_ready:3:901 is stored, but does not decode; trel_capctl del "
                                       "cap_fe_ready:3:901 deletes it.\n"));
}

// Verbs that read others on their way.
TEST_F(Unreadable, IsNamedInPassing) {
    publish_card();
    spoil("s_frame.cap_fe_ready:3:900", "6");
    const Outcome outcome = run({"card", "insert", "4"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "trel_capctl: cap_fe_ready:3:900" + kLeftOut);
    EXPECT_EQ(run({"complete", "explain", ""}).err, "") << "a line among the words of a command line";
}

}  // namespace

}  // namespace capctl_test
