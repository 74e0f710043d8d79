// What is said of files that are wrong: the place, what was expected there, and what may have been meant.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "command_line/exit_status.h"
#include "scenario/scenario.h"

namespace scenario {

namespace {

std::string mistake_in(const std::string &text) {
    try {
        read_text(text, "file");
    } catch (const command_line::Failure &failure) {
        EXPECT_EQ(failure.status(), command_line::kUsage);
        return failure.what();
    }
    return "no mistake";
}

std::string mistake_in_step(const std::string &step) {
    return mistake_in("cards:\n  lc1: {class: lc, node: 3}\nsteps:\n  - " + step + "\n");
}

struct Case {
    const char *text;
    const char *told;
};

class InAFile : public testing::TestWithParam<Case> {};

TEST_P(InAFile, IsToldWithItsPlace) { EXPECT_EQ(mistake_in(GetParam().text), GetParam().told); }

INSTANTIATE_TEST_SUITE_P(
    Mistakes, InAFile,
    testing::Values(
        Case{"steps:\n  - a: b: c\n", "file:2:9: not YAML: illegal map value"},
        Case{"", "file:1:1: a map expected, not nothing"}, Case{"# about\n", "file:1:1: a map expected, not nothing"},
        Case{"- a\n", "file:1:1: a map expected, not a list"}, Case{"about: x\n", "file:1:1: steps is missing"},
        Case{"steps:\nsteps:\n", "file:2:1: \"steps\" is here a second time"},
        Case{"stepps:\n", "file:1:1: one of about, cards, follow, before, steps, expect, expect_output, "
                          "expect_status expected, not \"stepps\"; did you mean steps?"},
        Case{"steps: 3\n", "file:1:8: a list expected, not \"3\""},
        Case{"cards:\n  all: {class: lc, node: 1}\nsteps:\n",
             "file:2:3: a card's name, which begins with a letter and is neither \"all\" nor a class, expected, not "
             "\"all\""},
        Case{"cards:\n  a: {class: lx, node: 1}\nsteps:\n",
             "file:2:14: one of lc, fab, cm, hps expected, not \"lx\"; did you mean lc?"},
        Case{"cards:\n  a: {class: lc}\nsteps:\n", "file:2:6: node is missing"},
        Case{"cards:\n  a: {class: lc, node: three}\nsteps:\n",
             "file:2:24: a whole number, decimal or 0x and hexadecimal, expected, not \"three\""},
        Case{"cards:\n  a: {class: lc, node: 1, online: maybe}\nsteps:\n",
             "file:2:35: yes or no expected, not \"maybe\""},
        Case{"cards:\n  a: {class: lc, node: 1, slt: 2}\nsteps:\n",
             "file:2:27: one of class, node, type, model, device, slot, subslot, name, online expected, not \"slt\"; "
             "did you mean slot?"},
        Case{"follow: [fab_nod]\nsteps:\n", "file:1:10: an event expected, not \"fab_nod\"; did you mean fab_node?"},
        Case{"steps:\nexpect: [fe_node]\n",
             "file:2:10: an event of a node is written as {event: fe_node, node: CARD, ready: yes}"},
        Case{"steps:\nexpect: [{event: system, node: 1}]\n", "file:2:18: this event is of no node: it stands alone"},
        Case{"steps:\nexpect: [{event: 9, node: 1}]\n", "file:2:18: an event expected, not \"9\""},
        Case{"steps:\nexpect: {events: [], order: some}\n", "file:2:29: one of listed, any expected, not \"some\""},
        Case{"steps:\nexpect_status: one\n",
             "file:2:16: a whole number, decimal or 0x and hexadecimal, expected, not \"one\""}));

class InAStep : public testing::TestWithParam<Case> {};

TEST_P(InAStep, IsToldWithItsPlace) { EXPECT_EQ(mistake_in_step(GetParam().text), GetParam().told); }

INSTANTIATE_TEST_SUITE_P(
    Mistakes, InAStep,
    testing::Values(
        Case{"insret: lc1",
             "file:4:5: one of insert, remove, check, ready, unready, withdraw, scope_ready, scope_unready, "
             "capability, set, del, flap, random, repeat, wait, expect expected, not \"insret\"; did you mean "
             "insert?"},
        Case{"{}", "file:4:5: one of insert, remove, check, ready, unready, withdraw, scope_ready, scope_unready, "
                   "capability, set, del, flap, random, repeat, wait, expect expected, not a map"},
        Case{"insert", "file:4:5: a map expected, not \"insert\""},
        Case{"{insert: lc1, remove: lc1}", "file:4:19: a step does one thing, and this one does insert already"},
        Case{"{insert: lc1, result: pass}", "file:4:19: one of insert, at expected, not \"result\""},
        Case{"insert: lc2",
             "file:4:13: a card, a class (lc, fab, cm, hps) or all expected, not \"lc2\"; did you mean lc, lc1?"},
        Case{"insert: fab", "file:4:13: there is no such card in cards: fab"},
        Case{"insert: []", "file:4:13: a card expected, not a list"}, Case{"check: lc1", "file:4:5: result is missing"},
        Case{"{check: lc1, result: passed}",
             "file:4:26: one of pass, deny, withdraw expected, not \"passed\"; did you mean pass?"},
        Case{"scope_ready: lc", "file:4:18: one of glb, cm, fab, hps expected, not \"lc\""},
        Case{"wait: 5", "file:4:11: a time as 50ms, 2s or 1.5m expected, not \"5\""},
        Case{"wait: -5s", "file:4:11: a time as 50ms, 2s or 1.5m expected, not \"-5s\""},
        Case{"wait: 9000h", "file:4:11: a time as 50ms, 2s or 1.5m expected, not \"9000h\""},
        Case{"wait: 1s\n  - {at: 500ms, insert: lc1}", "file:5:10: this time is over: the steps before it take 1s"},
        Case{"{flap: lc1, times: 0, every: 1s}", "file:4:24: 1 or more expected, not \"0\""},
        Case{"random: 5", "file:4:5: seed is missing"},
        Case{"{random: 5, seed: 1, of: insrt}", "file:4:30: one of insert, remove, check, ready, unready, withdraw, "
                                                "scope, capability expected, not \"insrt\"; did you mean insert?"},
        Case{"capability: /a", "file:4:5: a value is missing: bool, int, str, pri or state"},
        Case{"{capability: '', int: 1}", "file:4:18: a URL of 1 to 255 bytes expected, not \"\""},
        Case{"{capability: /a, int: x}",
             "file:4:27: a whole number, decimal or 0x and hexadecimal, expected, not \"x\""},
        Case{"{capability: /a, str: x}",
             "file:4:27: applications read strings of card nodes only: fe or cm is missing"},
        Case{"{capability: /a, class: cm, str: x}",
             "file:4:38: applications read strings of card nodes only: fe or cm is missing"},
        Case{"{capability: /a, class: cm, fe: 3, int: 1}", "file:4:5: a capability has one scope: class, fe or cm"},
        Case{"set: cap_fe_ready:3:900", "file:4:5: fields is missing: what is to be set"},
        Case{"{repeat: 2000000, steps: [{wait: 1us}]}",
             "file:4:31: a scenario has 1000000 steps at most, repeated ones counted"},
        Case{"{repeat: 10000, steps: [{wait: 1h}]}", "file:4:29: a scenario lasts a year at most"}));

// The records' own words are told where they stand.
TEST(Mistakes, InRecordsAreToldWithTheirPlace) {
    EXPECT_THAT(mistake_in_step("{set: cap_fe_redy:3:900, fields: {ready: true}}"),
                testing::AllOf(testing::StartsWith("file:4:11: "), testing::HasSubstr("cap_fe_ready")));
    EXPECT_THAT(mistake_in_step("{set: 'cap_fe_ready:3:900', fields: {redy: true}}"),
                testing::AllOf(testing::StartsWith("file:4:42: "), testing::HasSubstr("ready")));
    EXPECT_THAT(mistake_in_step("{set: 'cap_fe_ready:3:900', fields: {ready: maybe}}"),
                testing::StartsWith("file:4:42: "));
    EXPECT_THAT(mistake_in_step("set: {type: cap_tabel, key: {}}"),
                testing::AllOf(testing::StartsWith("file:4:10: "), testing::HasSubstr("cap_table")));
    EXPECT_THAT(mistake_in_step("{capability: /a, fe: 3, pri: 1}"), testing::StartsWith("file:4:34: "));
}

TEST(Mistakes, EndlessFilesEnd) {
    EXPECT_THAT(mistake_in("steps: &again\n  - {repeat: 2, steps: *again}\n"), testing::HasSubstr("16 deep at most"));
}

TEST(Mistakes, AFileThatIsNotThereIsNamed) {
    EXPECT_THROW(
        {
            try {
                read_file("/nowhere/file.yaml");
            } catch (const command_line::Failure &failure) {
                EXPECT_EQ(std::string(failure.what()), "/nowhere/file.yaml: cannot be read: No such file or directory");
                throw;
            }
        },
        command_line::Failure);
}

}  // namespace

}  // namespace scenario
