// The completion of zsh, in a zsh at a terminal.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "capctl_test.h"
#include "private_directory.h"
#include "terminal.h"

namespace capctl_test {

namespace {

constexpr char kZsh[] = "/usr/bin/zsh";

class Zsh : public ServerTest {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(kZsh)) {
            GTEST_SKIP() << kZsh << " is not installed";
        }
        std::filesystem::create_symlink(CAPCTL_SOURCES "/trel_capctl.zsh", directory_.file("_trel_capctl"));
        // The function is found by its place, as an installed one is; a key tells what the line has become.
        std::ofstream(directory_.file(".zshrc"))
            << "PS1='> '\n"
            << "path=(" << std::filesystem::path(CAPCTL_PROGRAM).parent_path().string() << " $path)\n"
            << "fpath=(" << directory_.file("") << " $fpath)\n"
            << "autoload -Uz compinit && compinit -D -u\n"
            << "tell() { print -r -- \"$BUFFER|\" >>" << directory_.file("lines") << " }\n"
            << "zle -N tell && bindkey '^Xt' tell\n";
        Launch launch = {.program = kZsh, .arguments = {"-i"}, .environment = environment()};
        launch.environment["ZDOTDIR"] = directory_.file("");
        launch.environment["TERM"] = "xterm";
        launch.unset = {"OX_MOM_TIMEOUT_MS"};
        zsh_.emplace(launch);
        zsh_->expect("> ");
    }

    // What becomes of the line by a Tab.
    std::string completed(const std::string &line) {
        zsh_->type("\x15" + line + "\t\x18t");  // after what stands there is gone
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        ++told_;
        while (std::chrono::steady_clock::now() < end) {
            std::ifstream in(directory_.file("lines"));
            std::string told;
            for (size_t i = 0; i < told_ && std::getline(in, told);) {
                ++i;
                if (i == told_ && told.ends_with('|')) {
                    return told.substr(0, told.size() - 1);
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return "nothing in time";
    }

private:
    test_support::PrivateDirectory directory_;
    std::optional<test_support::Terminal> zsh_;
    size_t told_ = 0;
};

TEST_F(Zsh, CompletesVerbsOptionsAndValues) {
    EXPECT_EQ(completed("trel_capctl wat"), "trel_capctl watch ");
    EXPECT_EQ(completed("trel_capctl ready f"), "trel_capctl ready fab ");
    EXPECT_EQ(completed("trel_capctl explain --ev"), "trel_capctl explain --events ");
    EXPECT_EQ(completed("trel_capctl get /a --output=nd"), "trel_capctl get /a --output=ndjson ");
    EXPECT_EQ(completed("trel_capctl dump --type cap_glb_s"), "trel_capctl dump --type cap_glb_state ");
}

// A word that may go on gets no blank.
TEST_F(Zsh, CompletesWhatTheStoreHolds) {
    ASSERT_THAT(run({"set", "/l3/arp", "--int", "1"}), Prints(""));
    ASSERT_THAT(run({"set", "cap_fe_ready:17:900", "ready=1"}), Prints(""));
    EXPECT_EQ(completed("trel_capctl get /l"), "trel_capctl get /l3/arp ");
    EXPECT_EQ(completed("trel_capctl get cap_fe_ready:1"), "trel_capctl get cap_fe_ready:17:900 ");
    EXPECT_EQ(completed("trel_capctl set cap_fe_ready:17:900 rea"), "trel_capctl set cap_fe_ready:17:900 rea");
    EXPECT_EQ(completed("trel_capctl set cap_fe_ready:17:900 read"), "trel_capctl set cap_fe_ready:17:900 ready=");
    EXPECT_EQ(completed("trel_capctl wait node "), "trel_capctl wait node 17 ");
}

}  // namespace

}  // namespace capctl_test
