// trel_capctl board over a server, as a user runs it.
#include "http_client.h"
#include "private_directory.h"
#include "program.h"
#include "redis_server.h"
#include "store/store.h"
#include "viewer.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

#include "chassis/card.h"

namespace board_test {

namespace {

using test_support::Launch;
using test_support::Outcome;
using test_support::Program;
using test_support::RedisServer;

Launch board(const std::string &store, const std::vector<std::string> &arguments) {
    std::vector<std::string> all = {"board"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return {.program = CAPCTL_PROGRAM,
            .arguments = all,
            .unset = {"OX_MOM_STORE", "OX_MOM_TIMEOUT_MS"},
            .environment = {{"OX_MOM_STORE", store}}};
}

test_support::RedisOptions with_password() {
    test_support::RedisOptions options;
    options.tcp = true;
    options.arguments = {"--requirepass", "secret"};
    options.password = "secret";
    return options;
}

class BoardProgram : public testing::Test {
protected:
    BoardProgram() : server_(with_password()) {}

    std::string store() const { return "redis://:secret@127.0.0.1:" + std::to_string(server_.port()); }
    RedisServer &server() { return server_; }
    Outcome run(const std::vector<std::string> &arguments) const { return Program(board(store(), arguments)).finish(); }

private:
    RedisServer server_;
};

// Waits for the address that it prints.
uint16_t port_of(const Program &program) {
    program.prints("\n");
    const std::string line = program.printed();
    std::smatch match;
    if (!std::regex_match(line, match, std::regex("http://127\\.0\\.0\\.1:([0-9]+)/\n"))) {
        throw std::runtime_error("no address, but " + line);
    }
    return static_cast<uint16_t>(std::stoi(match[1]));
}

TEST_F(BoardProgram, ShowsWhatOthersWriteAndEndsWhenInterrupted) {
    Program program(board(store(), {"--listen", "127.0.0.1:0"}));
    const uint16_t port = port_of(program);
    Viewer viewer(port);
    store::Store writer(store());
    const chassis::Card card = chassis::usual_card(chassis::CardClass::kFabric, 7);
    writer.write(card_info(card));
    writer.write(node_ready(card, true, true));
    viewer.read_until([&](const Json &) { return viewer.state_of(7) == "ready"; });
    EXPECT_EQ(viewer.shown()["store"]["name"].get<std::string>().find("secret"), std::string::npos);
    kill(program.pid(), SIGINT);
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(BoardProgram, SaysThatTheStoreIsLostAndShowsWhatChangedMeanwhile) {
    Program program(board(store(), {"--listen", "127.0.0.1:0", "--output", "text"}));
    const uint16_t port = port_of(program);
    Viewer viewer(port);
    const chassis::Card stays = chassis::usual_card(chassis::CardClass::kFabric, 7);
    const chassis::Card goes = chassis::usual_card(chassis::CardClass::kFabric, 8);
    {
        store::Store writer(store());
        writer.write(card_info(stays));
        writer.write(card_info(goes));
    }
    viewer.read_until([&](const Json &) { return viewer.state_of(8) == "not ready"; });
    server().kill();
    viewer.read_until([](const Json &shown) { return shown["store"]["state"] == "lost"; });
    EXPECT_NE(viewer.shown()["store"]["reason"], "");
    EXPECT_EQ(viewer.state_of(8), "not ready") << "what is shown is as it last was";
    EXPECT_EQ(get(port, "/healthz").body, "lost\n");
    server().restart(RedisServer::Data::kDropped);
    store::Store writer(store());
    writer.write(card_info(stays));
    writer.write(node_ready(stays, true, true));
    viewer.read_until([&](const Json &shown) {
        return shown["store"]["state"] == "up" && viewer.state_of(7) == "ready" && viewer.state_of(8).empty();
    });
    EXPECT_EQ(get(port, "/healthz").body, "up\n");
}

TEST_F(BoardProgram, OtherMachinesAreLetInOnlyWhereThatIsSaid) {
    for (const char *listen : {"0.0.0.0:0", "[::]:0", "10.0.0.1:0"}) {
        EXPECT_THAT(run({"--listen", listen}), test_support::FailsWith("trel_capctl", 2, "--allow-remote"));
    }
    Program program(board(store(), {"--listen", "0.0.0.0:0", "--allow-remote"}));
    ASSERT_TRUE(program.prints("http://0.0.0.0:"));
    kill(program.pid(), SIGINT);
    EXPECT_EQ(program.finish().status, 130);
}

TEST_F(BoardProgram, AnAddressThatCannotBeHadIsNamed) {
    Program first(board(store(), {"--listen", "127.0.0.1:0"}));
    const std::string address = "127.0.0.1:" + std::to_string(port_of(first));
    EXPECT_THAT(run({"--listen", address}), test_support::FailsWith("trel_capctl", 7, address));
    EXPECT_THAT(run({"--listen", "example.org:80"}), test_support::FailsWith("trel_capctl", 2, "example.org:80"));
    kill(first.pid(), SIGINT);
    first.finish();
}

TEST_F(BoardProgram, PrintsTheAddressAsJson) {
    Program program(board(store(), {"--listen", "127.0.0.1:0", "--output", "json"}));
    ASSERT_TRUE(program.prints("\n"));
    EXPECT_THAT(program.printed(), testing::MatchesRegex("\\{\"url\":\"http://127.0.0.1:[0-9]+/\"\\}\n"));
    kill(program.pid(), SIGINT);
    program.finish();
}

// A board with a scenario, and no store named.
class BoardThatPlays : public testing::Test {
protected:
    Launch play(const std::string &scenario, const std::vector<std::string> &more = {}) const {
        std::vector<std::string> arguments = {"--play", scenario, "--listen", "127.0.0.1:0"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        Launch launch = board("", arguments);
        launch.environment.clear();
        return launch;
    }
    std::string file(const std::string &text) const {
        std::ofstream(directory_.file("scenario.yaml")) << text;
        return directory_.file("scenario.yaml");
    }

private:
    test_support::PrivateDirectory directory_;
};

// How many times a thing was told in the time line.
size_t times_told(const Json &shown, const std::string &text) {
    const Json &events = shown["events"];
    return static_cast<size_t>(
        std::count_if(events.begin(), events.end(), [&](const Json &each) { return each["text"] == text; }));
}

TEST_F(BoardThatPlays, NeedsNoStoreAndShowsHowItEnds) {
    Program program(play("boot", {"--speed", "max"}));
    Viewer viewer(port_of(program));
    viewer.read_until([&](const Json &shown) {
        return viewer.state_of(3) == "ready" && viewer.state_of(30) == "ready" &&
               shown["scopes"]["glb"]["ready"] == true && shown["store"]["state"] == "up";
    });
    kill(program.pid(), SIGINT);
    const Outcome outcome = program.finish();
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(BoardThatPlays, IsServedWhileAStepIsWaitedFor) {
    const std::string scenario = file("cards: {lc1: {class: lc, node: 3}}\n"
                                      "steps: [{insert: lc1}, {wait: 1h}, {remove: lc1}]\n");
    Program program(play(scenario));
    const uint16_t port = port_of(program);
    Viewer viewer(port);
    viewer.read_until([&](const Json &) { return viewer.state_of(3) == "not ready"; });
    EXPECT_EQ(get(port, "/healthz").body, "up\n");
}

TEST_F(BoardThatPlays, BeginsAfreshAtItsEnd) {
    const std::string scenario = file("cards: {lc1: {class: lc, node: 3}}\n"
                                      "before: [{insert: lc1}]\n"
                                      "steps: [{ready: lc1}, {wait: 1ms}]\n");
    Program program(play(scenario, {"--loop"}));
    Viewer viewer(port_of(program));
    viewer.read_until([](const Json &shown) { return times_told(shown, "the card says it is ready") > 1; });
}

TEST_F(BoardThatPlays, RefusesWhatDoesNotFit) {
    const auto refused = [](const Launch &launch, const std::string &why) {
        EXPECT_THAT(Program(launch).finish(), test_support::FailsWith("trel_capctl", 2, why));
    };
    refused(play("bot"), "bot");
    refused(play("boot", {"--speed", "x"}), "--speed: a factor");
    refused(play("boot", {"--store", "mem:"}), "--store: --play has a store of its own");
    refused(play(file("steps: 3\n")), "scenario.yaml:1:8");
    refused(board("", {"--loop"}), "--loop: --play is missing");
    refused(board("", {"--speed", "2"}), "--speed: --play is missing");
}

TEST_F(BoardProgram, WithoutAStoreThereIsNoBoard) {
    server().kill();
    EXPECT_EQ(run({"--listen", "127.0.0.1:0"}).status, 3);
}

}  // namespace

}  // namespace board_test
