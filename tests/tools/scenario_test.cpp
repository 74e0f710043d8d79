// play, record and test: scenarios, as a user of trel_capctl meets them.
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "capctl_test.h"
#include "private_directory.h"
#include "terminal.h"

namespace capctl_test {

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr char kLateCheck[] = "about: a test\n"
                              "cards: {lc1: {class: lc, node: 3}}\n"
                              "steps:\n"
                              "  - insert: lc1\n"
                              "  - ready: lc1\n"
                              "  - {at: 20ms, check: lc1, result: pass}\n"
                              "expect: [{event: fe_node, node: lc1}]\n";

// What a program that is under way is to bring about.
bool comes_true(const std::function<bool()> &condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(40);
    while (!condition() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

// It may still have to be waited for by whoever it has fallen to.
bool has_ended(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    const size_t name_end = line.rfind(") ");
    return name_end == std::string::npos || line[name_end + 2] == 'Z';
}

class Files {
public:
    std::string write(const std::string &name, const std::string &text) const {
        std::ofstream(directory_.file(name)) << text;
        return directory_.file(name);
    }
    static std::string read(const std::string &file) {
        std::ifstream in(file);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::string file(const std::string &name) const { return directory_.file(name); }

private:
    test_support::PrivateDirectory directory_;
};

class Play : public ServerTest {
protected:
    Files files_;
};

TEST_F(Play, WritesEachStepAndPrintsIt) {
    const std::string file = files_.write("late.yaml", kLateCheck);
    EXPECT_THAT(run({"play", file}), Prints("    0.000 s  insert lc1, node 3, slot 3\n"
                                            "    0.000 s  ready lc1, node 3\n"
                                            "    0.020 s  check lc1, node 3: pass\n"));
    EXPECT_THAT(run({"ls"}).out, HasSubstr("app_df_card_deny_check_result:0:0:3:0"));
    EXPECT_THAT(run({"play", file, "--quiet", "--speed", "max"}), Prints(""));
    EXPECT_EQ(run({"play", file, "--speed", "0", "--output", "ndjson"}).out,
              "{\"at\":0.0,\"line\":4,\"step\":\"insert lc1, node 3, slot 3\"}\n"
              "{\"at\":0.0,\"line\":5,\"step\":\"ready lc1, node 3\"}\n"
              "{\"at\":0.02,\"line\":6,\"step\":\"check lc1, node 3: pass\"}\n");
    EXPECT_EQ(run({"play", file, "--speed", "0", "--output", "json"}).out,
              "[\n{\"at\":0.0,\"line\":4,\"step\":\"insert lc1, node 3, slot 3\"},\n"
              "{\"at\":0.0,\"line\":5,\"step\":\"ready lc1, node 3\"},\n"
              "{\"at\":0.02,\"line\":6,\"step\":\"check lc1, node 3: pass\"}\n]\n");
}

TEST_F(Play, RepeatsAsOftenAsItIsTold) {
    const std::string file = files_.write("loop.yaml", "before: [{scope_ready: cm}]\nsteps: [{scope_ready: glb}]\n");
    EXPECT_EQ(run({"play", file, "--times", "3"}).out, "    0.000 s  scope_ready cm\n"
                                                       "    0.000 s  scope_ready glb\n"
                                                       "    0.000 s  scope_ready glb\n"
                                                       "    0.000 s  scope_ready glb\n");
}

TEST_F(Play, EndsWhenItIsInterrupted) {
    const std::string file = files_.write("wait.yaml", "steps: [{scope_ready: glb}, {wait: 1h}]\n");
    Program program(capctl({"play", file, "--loop"}, environment()));
    ASSERT_TRUE(comes_true([&] { return run({"ready", "glb"}).status == 0; }));
    kill(program.pid(), SIGINT);
    EXPECT_EQ(program.finish().status, 130);
}

// In one message, the tool's own.
TEST_F(Play, EndsWhenTheStoreIsLost) {
    const std::string file = files_.write("lost.yaml", "steps: [{scope_ready: glb}, {wait: 1s}, {scope_ready: fab}]\n");
    Program program(capctl({"play", file}, environment()));
    ASSERT_TRUE(program.prints("scope_ready glb\n"));
    server().kill();
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, StartsWith("trel_capctl: "));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
}

TEST_F(Play, WritesNothingOfABrokenFileNorOfADryRun) {
    const std::string broken = files_.write("broken.yaml", "steps:\n  - scope_ready: glb\n  - insert: lc1\n");
    EXPECT_THAT(run({"play", broken}),
                FailsWith(2, broken + ":3:13: a card, a class (lc, fab, cm, hps) or all expected"));
    const std::string file = files_.write("late.yaml", kLateCheck);
    EXPECT_THAT(capctl_test::run({"play", file, "--dry-run"}).out, HasSubstr("insert lc1"));
    EXPECT_THAT(run({"ls"}).out, "");
}

TEST(Shipped, AreListedAndFoundByName) {
    EXPECT_THAT(run({"play", "--list"}).out, AllOf(HasSubstr("\nlate_check  "), HasSubstr("boot  ")));
    EXPECT_THAT(run({"play", "boot", "--dry-run"}).out, StartsWith("    0.000 s  insert cm1, node 1, slot 1\n"));
    EXPECT_THAT(run({"play", "bot", "--dry-run"}), FailsWith(2, "no such scenario: \"bot\"; did you mean boot?"));
    EXPECT_THAT(run({"play"}), FailsWith(2, "FILE is missing"));
    const auto list = nlohmann::ordered_json::parse(run({"play", "--list", "-o", "json"}).out);
    EXPECT_EQ(list[0]["name"], "boot");
    EXPECT_THAT(run({"play", "--list", "-o", "ndjson"}).out, StartsWith(list[0].dump() + "\n"));
    EXPECT_THAT(run({"play", "boot", "--speed", "fast"}), FailsWith(2, "--speed: a factor"));
}

// Each with the line that it says of itself.
TEST(Shipped, AreNamedOnTheirPage) {
    std::ifstream page(CAPCTL_SOURCES "/../docs/scenarios.md");
    std::string line;
    while (std::getline(page, line) && line != "| name | about |") {
    }
    std::getline(page, line);
    std::string rows;
    while (std::getline(page, line) && line.starts_with("| ")) {
        rows += line + "\n";
    }
    std::string expected;
    for (const auto &each : nlohmann::json::parse(run({"play", "--list", "-o", "json"}).out)) {
        expected += "| `" + each["name"].get<std::string>() + "` | " + each["about"].get<std::string>() + " |\n";
    }
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(rows, expected);
}

// As where the system has a directory for its own start.
TEST(Shipped, AreFoundBesideADirectoryOfTheirName) {
    const test_support::PrivateDirectory directory;
    std::filesystem::create_directory(directory.file("boot"));
    std::filesystem::create_directory(directory.file("other"));
    std::filesystem::current_path(directory.path());
    EXPECT_EQ(run({"play", "boot", "--dry-run"}).status, 0);
    EXPECT_THAT(run({"play", "other", "--dry-run"}), FailsWith(7, "other: cannot be read: Is a directory"));
}

// Each is a test that the library passes.
TEST(Shipped, ExpectWhatTheLibraryTells) {
    Arguments arguments = {"test"};
    for (const auto &entry : std::filesystem::directory_iterator(CAPCTL_SOURCES "/scenarios")) {
        arguments.push_back(entry.path());
    }
    EXPECT_GE(arguments.size(), 13U);
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_THAT(outcome.out, testing::Not(HasSubstr("SKIP")));
}

class Trial : public testing::Test {
protected:
    Files files_;
};

TEST_F(Trial, TellsTheResultsAsTap) {
    const std::string good = files_.write("good.yaml", kLateCheck);
    const std::string silent = files_.write("silent.yaml", "steps: [{scope_ready: glb}]\n");
    const std::string bad = files_.write("bad.yaml", "cards: {lc1: {class: lc, node: 3}}\n"
                                                     "steps: [{scope_ready: glb}]\n"
                                                     "expect:\n"
                                                     "  - {event: fe_node, node: lc1}\n"
                                                     "  - system\n");
    const Outcome outcome = run({"test", good, silent, bad});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "TAP version 13\n1..3\n"
                           "ok 1 - good\n"
                           "ok 2 - silent # SKIP it expects no events\n"
                           "not ok 3 - bad\n"
                           "  ---\n"
                           "  message: '" +
                               bad +
                               ":4: the events differ: - expected and not told, + told and not expected'\n"
                               "  difference: |2\n"
                               "    - {event: fe_node, node: lc1, ready: yes}\n"
                               "      system\n"
                               "    + lc_and_hps\n"
                               "  ...\n");
}

// Who has sent a report of a hundred scenarios learns of the mistake from it, and of the other ninety-nine.
TEST_F(Trial, ReportsAFileWithAMistakeAsFailed) {
    const std::string bad = files_.write("bad.yaml", "steps:\n  - inser: lc1\n");
    const std::string good = files_.write("good.yaml", kLateCheck);
    const Outcome tap = run({"test", bad, good});
    EXPECT_EQ(tap.status, 1);
    EXPECT_EQ(tap.err, "");
    EXPECT_THAT(tap.out, AllOf(StartsWith("TAP version 13\n1..2\nnot ok 1 - bad\n  ---\n  message: '" + bad + ":2:5: "),
                               EndsWith("  ...\nok 2 - good\n")));
    const Outcome junit = run({"test", bad, good, "--format", "junit"});
    EXPECT_EQ(junit.status, 1);
    EXPECT_THAT(junit.out, AllOf(HasSubstr("tests=\"2\" failures=\"1\" errors=\"0\" skipped=\"0\""),
                                 HasSubstr("<failure message=\"" + bad + ":2:5: ")));
    EXPECT_EQ(run({"test", bad}).status, 1);
    EXPECT_THAT(run({"test", bad, good, "--run", "cat", "--settle", "0"}).out,
                AllOf(HasSubstr("not ok 1 - bad"), HasSubstr("ok 2 - good")));
}

// The report names it, and why it is not tried: no file, a directory, no scenario of that name.
TEST_F(Trial, ReportsAFileThatCannotBeReadAsFailed) {
    const std::string good = files_.write("good.yaml", kLateCheck);
    const std::string missing = files_.file("missing.yaml");
    const Outcome tap = run({"test", missing, "/", "bot", good});
    EXPECT_EQ(tap.status, 1);
    EXPECT_EQ(tap.err, "");
    EXPECT_EQ(tap.out, "TAP version 13\n1..4\n"
                       "not ok 1 - missing\n  ---\n  message: '" +
                           missing +
                           ": cannot be read: No such file or directory'\n  ...\n"
                           "not ok 2 - /\n  ---\n  message: '/: cannot be read: Is a directory'\n  ...\n"
                           "not ok 3 - bot\n  ---\n"
                           "  message: 'no such scenario: \"bot\"; did you mean boot?'\n  ...\n"
                           "ok 4 - good\n");
    const Outcome junit = run({"test", missing, good, "--format", "junit"});
    EXPECT_EQ(junit.status, 1);
    EXPECT_THAT(junit.out,
                AllOf(HasSubstr("tests=\"2\" failures=\"1\" errors=\"0\" skipped=\"0\""),
                      HasSubstr("<failure message=\"" + missing + ": cannot be read: No such file or directory\"")));
    EXPECT_EQ(run({"test", missing}).status, 1);
    EXPECT_THAT(run({"test", missing, good, "--run", "cat", "--settle", "0"}).out,
                AllOf(HasSubstr("not ok 1 - missing"), HasSubstr("ok 2 - good")));
}

#ifndef __SANITIZE_ADDRESS__  // with it comes a check of types that takes a pipe itself
// Here there is no descriptor left for what tells the parent how it went.
TEST_F(Trial, ReportsATrialThatCannotBegin) {
    const std::string good = files_.write("good.yaml", kLateCheck);
    const std::string script = "for fd in /proc/$$/fd/*; do fd=${fd##*/}; [ $fd -le 2 ] || eval \"exec $fd>&-\"; done; "
                               "ulimit -n 4; exec " CAPCTL_PROGRAM " test " +
                               good + " " + good;
    Launch launch = capctl({"-c", script});
    launch.program = "/bin/bash";
    const Outcome outcome = Program(launch).finish();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.out,
                AllOf(HasSubstr("not ok 1 - good\n  ---\n  message: 'it could not be tried, for there is no "
                                "pipe: Too many open files'\n"),
                      HasSubstr("not ok 2 - good\n")));
}
#endif

// A pass would tell nothing.
TEST_F(Trial, RefusesToTestWhatExpectsNothing) {
    const std::string silent = files_.write("silent.yaml", "steps: [{scope_ready: glb}]\n");
    EXPECT_THAT(run({"test", silent}),
                FailsWith(2, silent + ": it expects no events (expect), so that there is nothing "
                                      "to test\nTry trel_capctl test --help."));
    const std::string printing = files_.write("printing.yaml", "steps: []\nexpect_output: [up]\n");
    EXPECT_THAT(run({"test", printing}), FailsWith(2, "; --run PROGRAM tries what it expects of a program"));
}

TEST_F(Trial, TellsTheResultsAsJUnit) {
    const std::string good = files_.write("good.yaml", kLateCheck);
    const std::string bad = files_.write("a&b.yaml", "steps: []\nexpect: [system]\n");
    const Outcome outcome = run({"test", good, bad, "--format", "junit"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, AllOf(StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"),
                                   HasSubstr("tests=\"2\" failures=\"1\" errors=\"0\" skipped=\"0\""),
                                   HasSubstr("<testcase classname=\"scenario\" name=\"good\""),
                                   HasSubstr("name=\"a&amp;b\""), HasSubstr("<failure message=\""),
                                   HasSubstr("\">- system\n</failure>"), EndsWith("  </testsuite>\n</testsuites>\n")));
}

// An application registers for some events only, and the library then follows other records.
TEST_F(Trial, FollowsTheEventsThatItIsTold) {
    const std::string steps = "cards: {fab1: {class: fab, node: 20}}\n"
                              "steps: [{insert: fab1}, {ready: fab1}, {scope_ready: [fab, glb]}]\n";
    EXPECT_EQ(run({"test", files_.write("fab.yaml", "follow: fab\n" + steps + "expect: [fab]\n")}).status, 0);
    EXPECT_EQ(run({"test", files_.write("none.yaml", "follow: []\n" + steps + "expect: []\n")}).status, 0);
    EXPECT_EQ(run({"test", files_.write("all.yaml", steps + "expect: [fab]\n")}).status, 1);
}

constexpr char kOutput[] = "cards: {lc1: {class: lc, node: 17}}\n"
                           "before: [{insert: lc1}, {check: lc1, result: pass}]\n"
                           "steps: [{ready: lc1}, {scope_ready: glb}]\n";

TEST_F(Trial, RunsAProgramOverAServerOfItsOwn) {
    const std::string file =
        files_.write("poll.yaml", kOutput + std::string("expect_output: [node 17 is ready, the device is ready]\n"));
    const Outcome outcome = run({"test", file, "--run", std::string("'") + EXAMPLES_DIR + "/poll_readiness'"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "TAP version 13\n1..1\nok 1 - poll\n");
}

TEST_F(Trial, TellsWhatAProgramHasNotPrinted) {
    const std::string file = files_.write("poll.yaml", kOutput + std::string("expect_output: [one, three]\n"));
    const Outcome outcome = run({"test", file, "--run", "sh -c 'echo one; echo two; cat'", "--started", "two",
                                 "--timeout", "0.2", "--speed", "max"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr(": the output differs: - expected and not printed, + printed and not "
                                       "expected'\n  difference: |2\n      one\n    - three\n    + two\n"));
}

TEST_F(Trial, JudgesHowAProgramEnds) {
    const std::string fine = files_.write("fine.yaml", "steps: []\n");
    const std::string three = files_.write("three.yaml", "steps: []\nexpect_status: 3\n");
    const auto trial = [](const std::string &file, const std::string &program) {
        return run({"test", file, "--run", program, "--settle", "0", "--timeout", "5"});
    };
    EXPECT_EQ(trial(fine, "cat").status, 0);        // it ends with its input
    EXPECT_EQ(trial(fine, "sleep 100").status, 0);  // and this when it is told to
    EXPECT_EQ(trial(three, "sh -c 'exit 3'").status, 0);
    EXPECT_THAT(trial(fine, "sh -c 'exit 3'").out, HasSubstr("the program ended with 3, not 0"));
    EXPECT_THAT(trial(fine, "sh -c 'kill -SEGV $$'").out, HasSubstr("the program was ended by Segmentation fault"));
    EXPECT_THAT(trial(fine, "/nowhere/program"), testing::Field(&Outcome::status, 2));
}

// One that the trial's own signal has ended has none, unless it took the signal and ended by itself.
TEST_F(Trial, ExpectsAStatusOfProgramsThatEndByThemselves) {
    const auto trial = [&](const std::string &status, const std::string &program) {
        const std::string file = files_.write("status.yaml", "steps: []\nexpect_status: " + status + "\n");
        return run({"test", file, "--run", program, "--settle", "0.2", "--timeout", "5"});
    };
    for (const std::string status : {"0", "130", "143"}) {
        const Outcome outcome = trial(status, "sleep 100");
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.out, HasSubstr("the program had to be ended by SIGTERM and has no status, and " + status +
                                           " is expected"));
    }
    const std::string handler = "sh -c 'trap \"exit 5\" TERM; while :; do sleep 0.01; done'";
    EXPECT_EQ(trial("5", handler).status, 0);
    EXPECT_THAT(trial("0", handler).out, HasSubstr("the program ended with 5, not 0"));
    EXPECT_EQ(trial("0", "cat").status, 0);
}

// Without an expected output a pass stands for little, and that is said.
TEST_F(Trial, SaysWhatItHasChecked) {
    const std::string fine = files_.write("fine.yaml", "steps: [{scope_ready: glb}]\n");
    const auto trial = [&](const std::string &file, const std::string &program, const char *format) {
        const char *const settling = program == "true" ? "50" : "0";  // it is over when the program has ended
        return run({"test", file, "--run", program, "--settle", settling, "--format", format}).out;
    };
    EXPECT_EQ(trial(fine, "cat", "tap"), "TAP version 13\n1..1\nok 1 - fine\n"
                                         "# fine: its output is not compared, for there is no expect_output; the "
                                         "program lived through all steps and exited with 0\n");
    EXPECT_THAT(trial(fine, "true", "tap"),
                HasSubstr("the program had ended before the last step was done and exited"));
    EXPECT_THAT(trial(fine, "sleep 100", "junit"),
                HasSubstr("lived through all steps and ended when it was told to</"));
    const std::string events = files_.write("events.yaml", "steps: []\nexpect: []\n");
    EXPECT_THAT(trial(events, "cat", "tap"), HasSubstr("nor are the events, which are the library's; the program"));
}

TEST_F(Trial, ReportsAProgramThatCannotBeRun) {
    const std::string file = files_.write("fine.yaml", "steps: []\n");
    const Outcome junit = run({"test", file, "--run", "/nowhere/program", "--format", "junit"});
    EXPECT_EQ(junit.status, 2);
    EXPECT_THAT(junit.out, AllOf(StartsWith("<?xml"), HasSubstr("tests=\"1\" failures=\"0\" errors=\"1\""),
                                 HasSubstr("<error message=\"&quot;/nowhere/program&quot; cannot be run: No such file"),
                                 EndsWith("  </testsuite>\n</testsuites>\n")));
    EXPECT_THAT(run({"test", file, "--run", "/nowhere/program"}).out,
                HasSubstr("Bail out! \"/nowhere/program\" cannot"));
}

// Each process that the program has started, and the server: also of those that heed no signal.
TEST_F(Trial, EndsAllThatItHasStarted) {
    const std::string file = files_.write("wait.yaml", "steps: [{wait: 1h}]\n");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        const std::string tmp = files_.file("tmp" + std::to_string(signal));
        const std::string up = files_.file("up" + std::to_string(signal));
        mkdir(tmp.c_str(), 0700);
        const std::string script = files_.write("program", "trap '' TERM HUP INT\n(sleep 100; :) &\necho $! >" + up +
                                                               ".part; mv " + up + ".part " + up + "; cat; wait\n");
        Program program(capctl({"test", file, "--run", "sh " + script}, {{"TMPDIR", tmp}}));
        ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(up); }));
        const pid_t grandchild = std::stoi(Files::read(up));
        ASSERT_EQ(kill(grandchild, 0), 0);
        kill(program.pid(), signal);
        EXPECT_EQ(program.finish().status, signal == SIGINT ? 130 : 1000 + signal);
        EXPECT_TRUE(std::filesystem::is_empty(tmp));
        EXPECT_TRUE(comes_true([&] { return has_ended(grandchild); })) << signal;
    }
}

TEST_F(Trial, EndsWhatAProgramLeavesBehind) {
    const std::string file = files_.write("fine.yaml", "steps: []\n");
    const std::string up = files_.file("up");
    const std::string script = files_.write("program", "sleep 100 >/dev/null &\necho $! >" + up + "\n");
    EXPECT_EQ(run({"test", file, "--run", "sh " + script, "--settle", "50"}).status, 0);
    const pid_t left = std::stoi(Files::read(up));
    EXPECT_TRUE(comes_true([&] { return has_ended(left); }));
}

TEST_F(Trial, LeavesNothingBehind) {
    const std::string file = files_.write("fine.yaml", "steps: [{wait: 1h}]\n");
    mkdir(files_.file("tmp").c_str(), 0700);
    Program program(capctl({"test", file, "--run", "sh -c 'touch " + files_.file("up") + "; cat'"},
                           {{"TMPDIR", files_.file("tmp")}}));
    ASSERT_TRUE(comes_true([&] { return std::filesystem::exists(files_.file("up")); }));
    EXPECT_FALSE(std::filesystem::is_empty(files_.file("tmp")));
    kill(program.pid(), SIGINT);
    EXPECT_EQ(program.finish().status, 130);
    EXPECT_TRUE(std::filesystem::is_empty(files_.file("tmp")));
}

TEST_F(Trial, SaysThatThereIsNoServer) {
    const std::string file = files_.write("fine.yaml", "steps: []\n");
    EXPECT_THAT(run({"test", file, "--run", "cat"}, {{"PATH", "/nowhere"}}).err,
                HasSubstr("neither redis-server nor valkey-server is along $PATH"));
}

class Record : public Play {
protected:
    void expect_end_by(int signal) {
        const std::string file = files_.file(std::to_string(signal) + ".yaml");
        Program program(capctl({"record", file}, environment()));
        ASSERT_TRUE(comes_true([&] { return Files::read(file).find("steps:") != std::string::npos; }));
        ASSERT_EQ(run({"ready", "glb", "on"}).status, 0);
        ASSERT_EQ(run({"ready", "glb", "off"}).status, 0);
        ASSERT_TRUE(comes_true([&] { return Files::read(file).find("false") != std::string::npos; }));
        kill(program.pid(), signal);
        const Outcome outcome = program.finish();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "trel_capctl: recorded 1 record and 2 changes\n");
        EXPECT_EQ(run({"play", file, "--speed", "max", "--quiet"}).status, 0);
    }
};

TEST_F(Record, GoesOnThroughALossAndPlaysTheSame) {
    ASSERT_EQ(run({"ready", "cm", "on"}).status, 0);
    const std::string file = files_.file("recorded.yaml");
    Program program(capctl({"record", file, "--count", "3"}, environment()));
    ASSERT_TRUE(comes_true([&] { return Files::read(file).find("steps:") != std::string::npos; }));
    ASSERT_EQ(run({"ready", "glb", "on"}).status, 0);
    ASSERT_TRUE(comes_true([&] { return Files::read(file).find("cap_glb_state") != std::string::npos; }));
    server().restart(test_support::RedisServer::Data::kDropped);
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("trel_capctl: the store is lost: "), HasSubstr("the store is back"),
                                   testing::Not(HasSubstr("ox_mom"))));
    const std::string text = Files::read(file);
    EXPECT_THAT(text, AllOf(StartsWith("# Recorded from "), HasSubstr("s: the store is lost: ")));
    EXPECT_THAT(run({"play", file, "--speed", "max"}).out,
                testing::ContainsRegex("    0.000 s  set cap_cm_glb_state\n"
                                       " +[0-9.]+ s  set cap_glb_state\n"
                                       " +[0-9.]+ s  del cap_.*glb_state\n"
                                       " +[0-9.]+ s  del cap_.*glb_state\n"));
}

TEST_F(Record, EndsWellWhenItIsInterruptedOrEnded) {
    for (const int signal : {SIGINT, SIGTERM}) {
        ASSERT_EQ(run({"ready", "cm", "on"}).status, 0);
        run({"del", "cap_glb_state"});  // where there is one
        expect_end_by(signal);
    }
}

TEST_F(Record, TakesNoMoreChangesThanItIsTo) {
    const std::string file = files_.file("recorded.yaml");
    Program program(capctl({"record", file, "--count", "2"}, environment()));
    ASSERT_TRUE(comes_true([&] { return Files::read(file).find("steps:") != std::string::npos; }));
    kill(program.pid(), SIGSTOP);
    for (const char *word : {"on", "off", "on", "off"}) {
        ASSERT_EQ(run({"ready", "glb", word}).status, 0);
    }
    kill(program.pid(), SIGCONT);
    EXPECT_EQ(program.finish().status, 0);
    EXPECT_THAT(run({"play", file, "--speed", "max"}).out,
                testing::MatchesRegex("[^\n]* set cap_glb_state\n[^\n]* set cap_glb_state\n"));
}

TEST_F(Record, SaysAtATerminalThatItHasBegunAndHowItEnds) {
    const std::string file = files_.file("recorded.yaml");
    test_support::Terminal terminal(capctl({"record", file}, environment()));
    terminal.expect("trel_capctl: 0 records stored; recording what changes, until Ctrl-C\r\n");
    terminal.type("\003");
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_THAT(terminal.rest(), HasSubstr("trel_capctl: recorded 0 records and 0 changes\r\n"));
    EXPECT_THAT(Files::read(file), EndsWith("before:\nsteps:\n"));
}

// As a shell does that runs it in the background.
TEST_F(Record, GoesOnWhereInterruptionsAreIgnored) {
    Launch launch = capctl({"record", files_.file("recorded.yaml"), "--count", "1"}, environment());
    launch.ignores_interrupts = true;
    Program program(launch);
    ASSERT_TRUE(
        comes_true([&] { return Files::read(files_.file("recorded.yaml")).find("steps:") != std::string::npos; }));
    kill(program.pid(), SIGINT);
    ASSERT_EQ(run({"ready", "glb", "on"}).status, 0);
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Record, WritesOverAFileOnlyWhenTold) {
    const std::string file = files_.write("mine.yaml", "mine\n");
    EXPECT_THAT(run({"record", file, "--duration", "0"}), FailsWith(7, "mine.yaml: it is there already; --force"));
    EXPECT_EQ(Files::read(file), "mine\n");
    EXPECT_THAT(run({"record", file, "--duration", "0", "--force"}), Prints(""));
    EXPECT_THAT(Files::read(file), EndsWith("before:\nsteps:\n"));
    EXPECT_THAT(run({"record", "-", "--duration", "0"}).out, EndsWith("before:\nsteps:\n"));
}

// The files of the documentation, each of which is whole.
TEST(Documentation, OfScenariosIsTrue) {
    const Files files;
    std::istringstream in(Files::read(CAPCTL_SOURCES "/../docs/scenarios.md"));
    std::string example;
    int count = 0;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (inside && line == "```") {
            const std::string file = files.write("example" + std::to_string(++count) + ".yaml", example);
            EXPECT_EQ(run({"play", file, "--dry-run"}).status, 0) << example;
            const bool has_expectation = example.find("expect:") != std::string::npos;
            EXPECT_EQ(run({"test", file}).status, has_expectation ? 0 : 2) << run({"test", file});
        }
        inside = line == "```yaml" || (inside && line != "```");
        example = inside && line != "```yaml" ? example + line + "\n" : "";
    }
    EXPECT_EQ(count, 4);
}

}  // namespace

}  // namespace capctl_test
