// watch.
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "capctl_test.h"
#include "sentinel_servers.h"
#include "terminal.h"

namespace capctl_test {

namespace {

using nlohmann::json;

class Watching : public ServerTest {
protected:
    // The lines without their times, which are to be times.
    static std::vector<std::string> lines_of(const std::string &text) {
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) {
            EXPECT_THAT(line, testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\\.[0-9]{3}Z  .*"));
            lines.push_back(line.substr(std::min<size_t>(line.size(), 26)));
        }
        return lines;
    }

    Launch watch(Arguments arguments) const {
        arguments.insert(arguments.begin(), "watch");
        return capctl(arguments, environment());
    }
};

TEST_F(Watching, TellsWhatIsStoredAndThatThisIsAll) {
    const Outcome nothing = run({"watch", "--count", "0", "-o", "ndjson"});
    EXPECT_EQ(nothing.status, 0);
    EXPECT_EQ(json::parse(nothing.out)["event"], "complete");
    ASSERT_THAT(run({"set", "/a", "--int", "1"}), Prints(""));
    const Outcome outcome = run({"watch", "--count", "0"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(lines_of(outcome.out), testing::ElementsAre("initial  cap_table:/a int32_value=1"));
    EXPECT_EQ(outcome.err, "trel_capctl: all that is stored has been told\n");
}

TEST_F(Watching, TellsEachChangeAsItComes) {
    ASSERT_THAT(run({"set", "/a", "--int", "1"}), Prints(""));
    Program program(watch({"-o", "ndjson", "--count", "3"}));
    ASSERT_TRUE(program.prints("\"complete\"}\n"));
    ASSERT_THAT(run({"set", "/a", "--bool", "1"}), Prints(""));
    ASSERT_TRUE(program.prints("\"written\"")) << "before there is more";
    ASSERT_THAT(run({"set", "/a", "--bool", "1"}), Prints(""));
    ASSERT_THAT(run({"del", "/a"}), Prints(""));
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    std::istringstream in(outcome.out);
    std::vector<json> events;
    for (std::string line; std::getline(in, line);) {
        events.push_back(json::parse(line));
        EXPECT_TRUE(events.back().contains("time")) << line;
        events.back().erase("time");
    }
    const json record = {{"type", "p_libpub.cap_table"}, {"key", {{"url", "/a"}}}};
    const auto event = [&](const char *name, const json &changed, const json &fields) {
        json whole = record;
        whole.update(json{{"event", name}, {"changed", changed}, {"fields", fields}});
        return whole;
    };
    const json both = {{"bool_value", true}, {"int32_value", 1}};
    EXPECT_EQ(events, (std::vector<json>{event("initial", {"int32_value"}, {{"int32_value", 1}}),
                                         {{"event", "complete"}},
                                         event("written", {"bool_value"}, both),
                                         event("written", json::array(), both),
                                         event("deleted", {"bool_value", "int32_value"}, both)}));
}

TEST_F(Watching, TellsInWordsWhatIsNew) {
    Program program(watch({"--count", "3", "/a", "/b"}));
    // Until it follows; before, what is written is told as stored.
    for (int i = 0; program.printed().find("written") == std::string::npos; ++i) {
        ASSERT_THAT(run({"set", "/c", "--int", "1"}), Prints("")) << "not asked for";
        ASSERT_THAT(run({"set", "/a", "--int", std::to_string(i)}), Prints(""));
    }
    for (int i = 0; i < 3; ++i) {
        run({"set", "/b", "--int", "5"});
    }
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 0);
    for (const std::string &line : lines_of(outcome.out)) {
        EXPECT_THAT(line,
                    testing::MatchesRegex("(initial|written)  cap_table:/[ab]( int32_value=[0-9]+| \\(as it was\\))"));
    }
}

TEST_F(Watching, LeavesOutWhatIsStoredWhenToldTo) {
    ASSERT_THAT(run({"set", "/a", "--int", "1"}), Prints(""));
    EXPECT_EQ(run({"watch", "--changes-only", "--count", "0"}).out, "");
}

TEST_F(Watching, EndsInTime) {
    EXPECT_EQ(run({"watch", "--timeout", "0.1"}).status, 0) << "all that was asked for";
    EXPECT_EQ(run({"watch", "--timeout", "0.1", "--count", "1"}).status, 4);
    for (const char *bad : {"", "x", "-1", "1e9", "1s", "inf", "nan"}) {
        EXPECT_THAT(run({"watch", std::string("--timeout=") + bad}), FailsWith(2, "")) << bad;
    }
    for (const char *bad : {"x", "-1", "1.5"}) {
        EXPECT_THAT(run({"watch", std::string("--count=") + bad}), FailsWith(2, "--count: a whole number from 0"))
            << bad;
    }
}

TEST_F(Watching, TellsNoMoreChangesThanItIsTo) {
    Program program(watch({"--count", "2", "-o", "ndjson"}));
    ASSERT_TRUE(program.prints("\"complete\""));
    kill(program.pid(), SIGSTOP);
    for (const char *word : {"1", "2", "3", "4"}) {
        ASSERT_EQ(run({"set", "/a", "--int", word}).status, 0);
    }
    kill(program.pid(), SIGCONT);
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1 + 2) << outcome.out;
}

TEST_F(Watching, IsInterrupted) {
    Program program(watch({"-o", "ndjson"}));
    ASSERT_TRUE(program.prints("complete"));
    kill(program.pid(), SIGINT);
    EXPECT_EQ(program.finish().status, 130);
}

TEST_F(Watching, GoesOnThroughARestart) {
    ASSERT_THAT(run({"set", "/gone", "--int", "1"}), Prints(""));
    Program program(watch({"-o", "ndjson"}));
    ASSERT_TRUE(program.prints("\"complete\""));
    server().kill();
    ASSERT_TRUE(program.prints("\"lost\""));
    server().start();
    ASSERT_TRUE(program.prints("\"restored\""));
    ASSERT_TRUE(program.prints("\"deleted\""));
    ASSERT_THAT(run({"set", "/a", "--int", "7"}), Prints(""));
    EXPECT_TRUE(program.prints("\"int32_value\":7"));
    kill(program.pid(), SIGINT);
    EXPECT_EQ(program.finish().err, "") << "the events say it all";
}

// Once each, in the program's own words.
TEST_F(Watching, TellsALossAndTheReturnAtATerminal) {
    test_support::Terminal terminal(watch({}));
    terminal.expect("all that is stored has been told\r\n");
    server().kill();
    std::string told = terminal.expect("trel_capctl: the store is lost: ");
    told += terminal.expect("trel_capctl: the store is still lost: ");
    server().start();
    told += terminal.expect("trel_capctl: the store is back; what changed meanwhile has been told\r\n");
    terminal.type("\003");
    EXPECT_EQ(terminal.finish(), 130);
    EXPECT_THAT(told + terminal.rest(), testing::Not(testing::HasSubstr("ox_mom")));
}

// One that follows cannot end an array.
TEST_F(Watching, PrintsALineEachAsJsonToo) {
    ASSERT_THAT(run({"set", "/a", "--int", "1"}), Prints(""));
    std::istringstream in(run({"watch", "--count", "0", "-o", "json"}).out);
    std::vector<std::string> events;
    for (std::string line; std::getline(in, line);) {
        events.push_back(json::parse(line)["event"]);
    }
    EXPECT_THAT(events, testing::ElementsAre("initial", "complete"));
    EXPECT_THAT(run({"watch", "--help"}).out, testing::HasSubstr("every change, a line each\n"));
    EXPECT_THAT(run({"--help"}).out, testing::HasSubstr("watch prints a line each as both"));
}

// A master that is replaced: the sentinels announce the new one, and it is followed from then on.
TEST(WatchingThroughAFailOver, GoesOnWithTheNewMaster) {
    test_support::SentinelServers servers("redis-server", {.sentinels = 3});
    ASSERT_TRUE(servers.replica_is_ready());
    const Environment environment = {{"OX_MOM_STORE", servers.store_name()}};
    ASSERT_THAT(run({"set", "/a", "--int", "1"}, environment), Prints(""));
    Program watching(capctl({"watch", "-o", "ndjson"}, environment));
    Program waiting(capctl({"wait", "/a", "int32_value=7", "--timeout", "50"}, environment));
    ASSERT_TRUE(watching.prints("\"complete\""));
    ASSERT_TRUE(servers.replica_has_everything());
    ASSERT_TRUE(servers.fail_over());
    servers.master().kill();
    ASSERT_TRUE(watching.prints("\"restored\""));
    // It may hear of the new master from the one sentinel when it has learnt of the old one from another, and says so.
    ASSERT_EQ(run({"set", "/a", "--int", "7"}, environment).status, 0);
    EXPECT_TRUE(watching.prints("\"int32_value\":7"));
    EXPECT_EQ(waiting.finish().status, 0);
    EXPECT_THAT(watching.printed(), testing::Not(testing::HasSubstr("deleted"))) << "the replica had all of it";
    kill(watching.pid(), SIGINT);
    EXPECT_EQ(watching.finish().err, "");
}

TEST_F(Watching, NeedsAStoreThatAnswers) {
    EXPECT_THAT(capctl_test::run({"watch"}, {{"OX_MOM_STORE", "unix:///nonexistent"}}), FailsWith(3, "/nonexistent"));
}

}  // namespace

}  // namespace capctl_test
