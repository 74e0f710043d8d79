// What trel_capctl does on a terminal only: colour, and how far a long work has come.
#include <fstream>

#include "capctl_test.h"
#include "private_directory.h"
#include "terminal.h"

namespace capctl_test {

namespace {

using test_support::PrivateDirectory;
using test_support::Terminal;

constexpr char kRed[] = "\x1b[31m";

// A card that is not ready is explained in red; from a dump, so that no server is needed.
class OnATerminal : public testing::Test {
protected:
    OnATerminal() {
        std::ofstream(file("dump")) << R"({"type":"s_frame.cap_fe_ready","key":{"node":3,"config_dev_type":900},)"
                                    << R"("fields":{"ready":true,"node_type":3}})"
                                    << "\n";
    }

    std::string file(const std::string &name) const { return directory_.file(name); }
    Launch explaining(const std::string &colour, const Environment &environment) const {
        Launch launch = capctl({"explain", "--from", file("dump")}, environment);
        if (!colour.empty()) {
            launch.arguments.push_back("--color=" + colour);
        }
        for (const char *variable : {"NO_COLOR", "TERM"}) {
            if (!environment.contains(variable)) {
                launch.unset.emplace_back(variable);
            }
        }
        return launch;
    }
    bool is_coloured(const std::string &colour, const Environment &environment) const {
        Terminal terminal(explaining(colour, environment));
        EXPECT_EQ(terminal.finish(), 1);
        EXPECT_THAT(terminal.rest(), testing::HasSubstr("not ready"));
        return terminal.rest().find(kRed) != std::string::npos;
    }
    bool is_coloured_elsewhere(const std::string &colour, const Environment &environment) const {
        return Program(explaining(colour, environment)).finish().out.find(kRed) != std::string::npos;
    }

private:
    PrivateDirectory directory_;
};

TEST_F(OnATerminal, ThereIsColourUnlessTheEnvironmentDeclinesIt) {
    for (const char *option : {"", "auto"}) {
        EXPECT_TRUE(is_coloured(option, {}));
        EXPECT_TRUE(is_coloured(option, {{"TERM", "xterm"}}));
        EXPECT_TRUE(is_coloured(option, {{"NO_COLOR", ""}})) << "set to nothing is not set";
        EXPECT_FALSE(is_coloured(option, {{"NO_COLOR", "1"}, {"TERM", "xterm"}}));
        EXPECT_FALSE(is_coloured(option, {{"TERM", "dumb"}}));
    }
}

TEST_F(OnATerminal, TheOptionDecidesOverTheEnvironment) {
    EXPECT_FALSE(is_coloured("never", {{"TERM", "xterm"}}));
    EXPECT_TRUE(is_coloured("always", {{"TERM", "dumb"}}));
    EXPECT_TRUE(is_coloured("always", {{"NO_COLOR", "1"}}));
}

TEST_F(OnATerminal, AndNowhereElseThereIsColourByItself) {
    EXPECT_FALSE(is_coloured_elsewhere("", {{"TERM", "xterm"}}));
    EXPECT_FALSE(is_coloured_elsewhere("auto", {{"TERM", "xterm"}}));
    EXPECT_FALSE(is_coloured_elsewhere("never", {}));
    EXPECT_TRUE(is_coloured_elsewhere("always", {{"NO_COLOR", "1"}, {"TERM", "dumb"}}));
}

class Progress : public ServerTest {
protected:
    // It takes longer than a second, from which on there is something to be said.
    Launch playing() const {
        std::ofstream(directory_.file("slow.yaml"))
            << "steps: [{wait: 1200ms}, {scope_ready: glb}, {scope_ready: cm}]\n";
        return capctl({"play", "--quiet", directory_.file("slow.yaml")}, environment());
    }

private:
    PrivateDirectory directory_;
};

TEST_F(Progress, IsShownOnATerminalAndTakenBackAtTheEnd) {
    Terminal terminal(playing());
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_THAT(terminal.rest(),
                testing::AllOf(testing::ContainsRegex("\r\x1b\\[Kplayed: [12] of 2"), testing::EndsWith("\r\x1b[K")));
}

TEST_F(Progress, IsNotShownElsewhere) { EXPECT_THAT(Program(playing()).finish(), Prints("")); }

}  // namespace

}  // namespace capctl_test
