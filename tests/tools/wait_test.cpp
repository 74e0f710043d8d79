// wait.
#include <nlohmann/json.hpp>

#include "chassis_verbs.h"

namespace capctl_test {

using nlohmann::json;
using testing::HasSubstr;

namespace {

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
                FailsWith(4, "ready fab off: not so within 0 s; it is on"));
    EXPECT_THAT(run({"wait", "ready", "hps", "--timeout", "0.1"}),
                FailsWith(4, "ready hps on: not so within 0.1 s; nobody has published it"));
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
                FailsWith(4, "/a int32_value=17: not so within 0.1 s; it is stored with bool_value=1 "
                             "int32_value=16"));
    EXPECT_THAT(run({"wait", "/b", "--timeout", "0.1"}), FailsWith(4, "not so within 0.1 s; there is no such record"));
    EXPECT_THAT(run({"wait", "/a", "--gone", "--timeout", "0.1"}), FailsWith(4, "trel_capctl: /a gone: not so"));
    EXPECT_THAT(run({"wait", "/a", "--fe", "4", "--timeout", "0.1"}), FailsWith(4, "trel_capctl: /a --fe 4: not so"));
    EXPECT_THAT(run({"wait", "cap_table:/b", "--timeout", "0.1"}), FailsWith(4, "trel_capctl: cap_table:/b: not so"));
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
    EXPECT_THAT(run({"wait", "ready", "lc"}),
                FailsWith(2, "SCOPE: glb, cm, fab or hps expected, not \"lc\"; line cards are ready with the device, "
                             "which is glb"));
    EXPECT_THAT(run({"wait", "node", "17", "ready", "--gone"}),
                FailsWith(2, "--gone: a record is gone; a node is unready, as in wait node 17 unready"));
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
