// Operators who are silent for too long.
#include "console.h"
#include "handlers.h"

#include "quib/protocol.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

namespace quib_test {
namespace {

class IdleTest : public SpeakingTest {
protected:
    void SetUp() override {
        setenv("QUIB_IDLE_MS", "300", 1);
        SpeakingTest::SetUp();
    }

    static constexpr const char *kFarewell = "closed after 300 ms without a command\n";
};

TEST_F(IdleTest, OneWhoSaysNothingIsToldAndClosed) {
    Operator silent = connect();
    Operator half = connect();
    std::optional<Operator> active(connect());
    const auto start = std::chrono::steady_clock::now();
    auto asked = start;
    bool silent_ended = false;
    bool half_ended = false;
    ASSERT_TRUE(pump_until([&] {
        half.send("n");
        silent_ended = silent_ended || !silent.receive();
        half_ended = half_ended || !half.receive();
        const auto before = std::exchange(asked, std::chrono::steady_clock::now());
        if (ask(*active, "say something").code != 0) {
            EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(290)) << "the machine is not that slow";
            active.emplace(connect());
        }
        return silent_ended && half_ended;
    })) << "bytes that are no command do not count";
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(290));
    for (Operator *gone : {&silent, &half}) {
        EXPECT_EQ(gone->take_answer(), std::nullopt);
        EXPECT_EQ(gone->partial().errors, kFarewell);
    }
    EXPECT_THAT(take_calls(), testing::IsEmpty());
}

TEST_F(IdleTest, APollLoopAloneNoticesTheTime) {
    Operator silent = connect();
    settle();
    EXPECT_TRUE(readable(ox_mom_client_fd(client()), kLongEnough));
    EXPECT_EQ(ox_mom_client_process(client(), 0), 1);
    EXPECT_FALSE(silent.receive());
    expect_quiet();
}

TEST_F(IdleTest, OneWhoDoesNotTakeAnAnswerIsClosedToo) {
    settle();
    const std::ptrdiff_t before = descriptors();
    Operator stuck = connect();
    ASSERT_TRUE(stuck.send("much 20\n"));
    settle();
    EXPECT_TRUE(pump_until([before] { return descriptors() <= before + 1; }))
        << "nothing but the operator's own is left";
    EXPECT_TRUE(ends(stuck));
    stuck.take_answer();
    EXPECT_LT(stuck.partial().output.size(), 20 * kMegabyte);
}

using IdleByDefaultTest = ConsoleTest;

// For how many seconds the module's timer is set; none when it is not set.
std::vector<long> seconds_on_timers() {
    std::vector<long> all;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
        std::ifstream about(entry.path());
        for (std::string line; std::getline(about, line);) {
            long seconds = 0;
            if (std::sscanf(line.c_str(), "it_value: (%ld,", &seconds) == 1 && seconds > 0) {
                all.push_back(seconds);
            }
        }
    }
    return all;
}

TEST_F(IdleByDefaultTest, IsTenMinutesUnlessSaidOtherwise) {
    EXPECT_EQ(quib::kIdleLimit, std::chrono::minutes(10));
    int n = 0;
    for (const char *setting : {"", "0", "-1", "soon", "5s", "99999999999"}) {
        setenv("QUIB_IDLE_MS", setting, 1);
        const ClientPtr another = make_client();
        ASSERT_EQ(quib_lib_init(another.get(), ("n" + std::to_string(++n)).c_str()), 0);
        const Operator silent = connect("n" + std::to_string(n));
        EXPECT_EQ(ox_mom_client_process(another.get(), 1000), 1);
        EXPECT_THAT(seconds_on_timers(), testing::ElementsAre(testing::AllOf(testing::Ge(590), testing::Le(600))))
            << setting;
    }
}

}  // namespace
}  // namespace quib_test
