// What goes wrong beyond the command line, each with its own status.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "asleep.h"
#include "capctl_test.h"

namespace capctl_test {

namespace {

const std::vector<Arguments> kEveryVerb = {
    {"get", "/a"}, {"set", "/a", "--int", "1"}, {"ready", "glb"}, {"ready", "glb", "on"}};

test_support::RedisOptions with_databases(int databases) {
    test_support::RedisOptions options;
    options.databases = databases;
    return options;
}

test_support::RedisOptions with_arguments(const std::vector<std::string> &arguments) {
    test_support::RedisOptions options;
    options.arguments = arguments;
    return options;
}

TEST(Connection, ThatNobodyAnswersFails) {
    for (const Arguments &arguments : kEveryVerb) {
        EXPECT_THAT(run(arguments, {{"OX_MOM_STORE", "unix:///nonexistent/socket"}}),
                    FailsWith(3, "/nonexistent/socket"));
    }
    const std::string port = std::to_string(test_support::unused_port());
    EXPECT_THAT(run({"get", "/a", "--store", "redis://127.0.0.1:" + port}), FailsWith(3, port));
    EXPECT_THAT(run({"get", "/a", "--store", "sentinel://127.0.0.1:" + port + "/trel"}), FailsWith(3, ""));
}

class FewDatabases : public ServerTest {
protected:
    FewDatabases() : ServerTest(with_databases(16)) {}
};

TEST_F(FewDatabases, AreRefusedWithTheSettingToChange) {
    for (const Arguments &arguments : kEveryVerb) {
        EXPECT_THAT(run(arguments), FailsWith(5, "databases"));
    }
}

class Password : public ServerTest {
protected:
    Password() : ServerTest(options()) {}

private:
    static test_support::RedisOptions options() {
        test_support::RedisOptions options;
        options.tcp = true;
        options.password = "open";
        options.arguments = {"--requirepass", "open"};
        return options;
    }
};

TEST_F(Password, ThatIsWrongIsRefused) {
    const std::string host = "127.0.0.1:" + std::to_string(server().port());
    EXPECT_THAT(run({"get", "/a", "--store", "redis://default:shut@" + host}), FailsWith(5, ""));
    EXPECT_THAT(run({"get", "/a", "--store", "redis://" + host}), FailsWith(5, ""));
    EXPECT_THAT(run({"ready", "glb", "on", "--store", "redis://default:open@" + host}), Prints(""));
}

class Full : public ServerTest {
protected:
    Full() : ServerTest(with_arguments({"--maxmemory", "1"})) {}
};

TEST_F(Full, StoreRefusesWritesAndAnswersReads) {
    EXPECT_THAT(run({"set", "/a", "--int", "1"}), FailsWith(5, ""));
    EXPECT_THAT(run({"ready", "glb", "on"}), FailsWith(5, ""));
    EXPECT_THAT(run({"get", "/a"}), FailsWith(1, "no such capability"));
}

class Hung : public ServerTest {
protected:
    void SetUp() override { server().pause(); }

    Environment environment_with(const std::string &limit) const {
        Environment environment = ServerTest::environment();
        environment["OX_MOM_TIMEOUT_MS"] = limit;
        return environment;
    }
};

TEST_F(Hung, StoreRunsOutOfTime) {
    for (const Arguments &arguments : kEveryVerb) {
        EXPECT_THAT(capctl_test::run(arguments, environment_with("200")), FailsWith(4, "no answer in "));
    }
}

TEST_F(Hung, LimitMustBeMilliseconds) {
    EXPECT_THAT(capctl_test::run({"get", "/a"}, environment_with("soon")), FailsWith(2, "OX_MOM_TIMEOUT_MS"));
}

// Until the process would be told of the signal.
void wait_until_caught(pid_t pid) {
    const std::string field = "SigCgt:";
    for (;;) {
        std::ifstream status("/proc/" + std::to_string(pid) + "/status");
        for (std::string line; std::getline(status, line);) {
            const bool is_field = line.starts_with(field);
            if (is_field && (std::stoull(line.substr(field.size()), nullptr, 16) & (1U << (SIGINT - 1))) != 0) {
                return;
            }
        }
        usleep(1000);
    }
}

TEST_F(Hung, WaitIsInterrupted) {
    Program program(capctl({"get", "/a"}, environment_with("30000")));
    wait_until_caught(program.pid());
    kill(program.pid(), SIGINT);
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 130) << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

TEST_F(Hung, WaitIsNotInterruptedInTheBackground) {
    Launch background = capctl({"get", "/a"}, environment_with("30000"));
    background.ignores_interrupts = true;
    Program program(background);
    EXPECT_TRUE(test_support::falls_asleep(program.pid())) << "it waits for the store";
    kill(program.pid(), SIGINT);
    server().resume();
    EXPECT_THAT(program.finish(), FailsWith(1, "no such capability"));
}

class Garbage : public ServerTest {
protected:
    void SetUp() override { ASSERT_THAT(run({"set", "/a", "--int", "1"}), Prints("")); }
};

TEST_F(Garbage, InAFieldDoesNotDecode) {
    raw().must({"HSET", "p_libpub.cap_table:/a", "7", "\xff\xff"});
    EXPECT_THAT(run({"get", "/a"}), FailsWith(6, ""));
    EXPECT_THAT(run({"get", "/a", "--int", "--output", "json"}), FailsWith(6, ""));
}

TEST_F(Garbage, InAStateDoesNotDecode) {
    raw().must({"SET", "s_frame.cap_glb_state", "\xff\xff"});
    EXPECT_THAT(run({"ready", "glb"}), FailsWith(6, ""));
}

TEST_F(Garbage, OfAnotherKindIsOfTheWrongType) {
    raw().must({"DEL", "p_libpub.cap_table:/a"});
    raw().must({"SET", "p_libpub.cap_table:/a", "text"});
    raw().must({"RPUSH", "s_frame.cap_cm_glb_state", "item"});
    EXPECT_THAT(run({"get", "/a"}), FailsWith(6, ""));
    EXPECT_THAT(run({"set", "/a", "--int", "1"}), FailsWith(6, ""));
    EXPECT_THAT(run({"ready", "cm"}), FailsWith(6, ""));
}

// Whichever verb is to read it; the command line is as it should be.
TEST(Input, ThatIsMissingFails) {
    const Environment nowhere = {{"OX_MOM_STORE", "unix:///nonexistent"}};
    for (const Arguments &arguments : std::vector<Arguments>{{"load", "/nowhere/a.yaml"},
                                                             {"explain", "--from", "/nowhere/a.yaml"},
                                                             {"diff", "/nowhere/a.yaml", "/dev/null"},
                                                             {"decode", "card_info", "/nowhere/a.yaml"},
                                                             {"set", "card_info:0:0:1:0", "name@/nowhere/a.yaml"},
                                                             {"play", "/nowhere/a.yaml"},
                                                             {"play", "nowhere.yaml"}}) {
        EXPECT_THAT(run(arguments, nowhere), FailsWith(7, "No such file or directory\n"));
    }
    EXPECT_THAT(run({"load", "/"}, nowhere), FailsWith(7, "\"/\": Is a directory"));
    EXPECT_THAT(run({"play", "/"}, nowhere), FailsWith(7, "/: cannot be read: "));
}

class Output : public ServerTest {
protected:
    Outcome run_into(Stdout standard_output, const Arguments &arguments) const {
        Launch started = capctl(arguments, environment());
        started.standard_output = standard_output;
        return Program(started).finish();
    }
};

const std::vector<Arguments> kPrinting = {{"get", "/a"},
                                          {"get", "/a", "--int", "--output", "json"},
                                          {"set", "/a", "--int", "2", "--output", "json"},
                                          {"ready", "glb"},
                                          {"ready", "glb", "on", "--output", "json"},
                                          {"--help"},
                                          {"get", "--help"},
                                          {"--version"}};

TEST_F(Output, ThatDoesNotFitFails) {
    ASSERT_THAT(run({"set", "/a", "--int", "1"}), Prints(""));
    for (const Arguments &arguments : kPrinting) {
        EXPECT_THAT(run_into(Stdout::kFull, arguments),
                    FailsWith(7, "standard output cannot be written: No space left on device"));
    }
    publish_string("/a", std::string(100000, 'x'));
    EXPECT_THAT(run_into(Stdout::kFull, {"get", "/a"}), FailsWith(7, "standard output cannot be written"));
}

// Above all it is not sent to the store, whose connection could have got the number of the closed descriptor.
TEST_F(Output, ThatIsClosedFails) {
    ASSERT_THAT(run({"set", "/a", "--int", "1"}), Prints(""));
    for (const Arguments &arguments : kPrinting) {
        EXPECT_THAT(run_into(Stdout::kClosed, arguments),
                    FailsWith(7, "standard output cannot be written: Bad file descriptor"));
    }
}

TEST_F(Output, ThatIsNotNeededMayBeClosed) {
    EXPECT_THAT(run_into(Stdout::kClosed, {"set", "/a", "--int", "3"}), Prints(""));
    EXPECT_THAT(run_into(Stdout::kFull, {"ready", "glb", "on"}), Prints(""));
    EXPECT_THAT(run({"get", "/a", "--int"}), Prints("3\n"));
}

}  // namespace

}  // namespace capctl_test
