// Operators who are silent for too long.
#include "console.h"
#include "handlers.h"

#include "quib/protocol.h"

#include <cstdlib>

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
    Operator active = connect();
    const auto start = std::chrono::steady_clock::now();
    bool silent_ended = false;
    bool half_ended = false;
    ASSERT_TRUE(pump_until([&] {
        half.send("n");
        silent_ended = silent_ended || !silent.receive();
        half_ended = half_ended || !half.receive();
        EXPECT_EQ(ask(active, "say something").code, 0);
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
    EXPECT_TRUE(readable(ox_mom_client_fd(client()), milliseconds(5000)));
    EXPECT_EQ(ox_mom_client_process(client(), 0), 1);
    EXPECT_FALSE(silent.receive());
    expect_quiet();
}

TEST_F(IdleTest, OneWhoDoesNotTakeAnAnswerIsClosedToo) {
    Operator stuck = connect();
    ASSERT_TRUE(stuck.send("much 20\n"));
    settle();
    EXPECT_FALSE(pump_until([] { return false; }, milliseconds(400)));
    settle();
    EXPECT_TRUE(ends(stuck));
    stuck.take_answer();
    EXPECT_LT(stuck.partial().output.size(), 20 * kMegabyte);
}

TEST(Idleness, IsTenMinutesUnlessSaidOtherwise) { EXPECT_EQ(quib::kIdleLimit, std::chrono::minutes(10)); }

}  // namespace
}  // namespace quib_test
