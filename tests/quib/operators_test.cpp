// Operators: several, gone, slow, silent, and talking nonsense.
#include "console.h"
#include "handlers.h"

#include "quib/protocol.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <list>
#include <random>

namespace quib_test {
namespace {

constexpr size_t kMegabyte = size_t{1} << 20U;

int32_t say(const char *what) {
    puts(what);
    return 0;
}

int32_t say_much(int32_t megabytes) {
    const std::string block(kMegabyte, 'x');
    for (; megabytes > 0; --megabytes) {
        fwrite(block.data(), 1, block.size(), stdout);
    }
    return nothing();
}

class OperatorsTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        ASSERT_EQ(register_command("say", "%s", say), 0);
        ASSERT_EQ(register_command("much", "%d", say_much), 0);
        ASSERT_EQ(register_command("nothing", "void", nothing), 0);
    }

    bool ends(Operator &connection) const {
        return pump_until([&connection] { return !connection.receive(); });
    }

    // The client has nothing to do, and says so to a poll loop.
    void expect_quiet() const {
        settle();
        EXPECT_EQ(ox_mom_client_process(client(), 30), 0);
        EXPECT_FALSE(readable(ox_mom_client_fd(client()), milliseconds(30)));
    }
};

TEST_F(OperatorsTest, TheClientIsQuietUntilOneSpeaks) {
    expect_quiet();
    Operator mine = connect();
    expect_quiet();
    ASSERT_TRUE(mine.send("say hello\n"));
    EXPECT_TRUE(readable(ox_mom_client_fd(client())));
    EXPECT_EQ(ox_mom_client_process(client(), 0), 1) << "counted among the callbacks";
    mine.receive();
    EXPECT_EQ(mine.take_answer(), printed("hello\n"));
    expect_quiet();
}

TEST_F(OperatorsTest, CommandsRunOnlyInsideProcess) {
    Operator mine = connect();
    settle();
    ASSERT_TRUE(mine.send("nothing\n"));
    EXPECT_EQ(ox_mom_client_connect_sync(client(), 28), 0);
    EXPECT_THAT(take_calls(), testing::IsEmpty());
    EXPECT_EQ(answer_to(mine), printed(""));
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing"));
}

TEST_F(OperatorsTest, TwoAtOnceGetTheirOwnAnswers) {
    Operator first = connect();
    Operator second = connect();
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(first.send("say first\n"));
        ASSERT_TRUE(second.send("say second\n"));
        EXPECT_EQ(answer_to(second), printed("second\n"));
        EXPECT_EQ(answer_to(first), printed("first\n"));
    }
}

TEST_F(OperatorsTest, LinesAreAnsweredInOrder) {
    Operator mine = connect();
    ASSERT_TRUE(mine.send("say 1\nsay 2\r\n\nnonsense-\nsay 3\n"));
    EXPECT_EQ(answer_to(mine), printed("1\n"));
    EXPECT_EQ(answer_to(mine), printed("2\n"));
    EXPECT_EQ(answer_to(mine), printed(""));
    EXPECT_EQ(answer_to(mine).code, 2);
    EXPECT_EQ(answer_to(mine), printed("3\n"));
    expect_quiet();
}

TEST_F(OperatorsTest, ManyLinesAtOnceOfSeveralTakeTurns) {
    constexpr int kLines = 300;
    std::list<Operator> all;
    std::string lines;
    for (int i = 0; i < kLines; ++i) {
        lines += "say " + std::to_string(i) + "\n";
    }
    for (int i = 0; i < 3; ++i) {
        all.push_back(connect());
        ASSERT_TRUE(all.back().send(lines));
    }
    for (int i = 0; i < kLines; ++i) {
        for (Operator &each : all) {
            ASSERT_EQ(answer_to(each), printed(std::to_string(i) + "\n"));
        }
    }
}

TEST_F(OperatorsTest, ALineMayComeInPieces) {
    Operator mine = connect();
    for (const char *piece : {"s", "ay", " '", "a b", "'", "\r", "\n"}) {
        EXPECT_EQ(mine.take_answer(), std::nullopt);
        ASSERT_TRUE(mine.send(piece));
        settle();
        mine.receive();
    }
    EXPECT_EQ(mine.take_answer(), printed("a b\n"));
}

TEST_F(OperatorsTest, HalfALineHarmsNobody) {
    Operator half = connect();
    ASSERT_TRUE(half.send("nothi"));
    expect_quiet();
    EXPECT_EQ(ask("say meanwhile"), printed("meanwhile\n"));
    half.hang_up();
    expect_quiet();
    EXPECT_THAT(take_calls(), testing::IsEmpty());
}

TEST_F(OperatorsTest, LinesBeforeTheEndAreAnsweredAndHalfALineIsNot) {
    Operator mine = connect();
    ASSERT_TRUE(mine.send("say 1\nsay 2\nnothing"));
    mine.end();
    EXPECT_EQ(answer_to(mine), printed("1\n"));
    EXPECT_EQ(answer_to(mine), printed("2\n"));
    EXPECT_TRUE(ends(mine));
    EXPECT_EQ(mine.take_answer(), std::nullopt);
    EXPECT_THAT(take_calls(), testing::IsEmpty());
}

TEST_F(OperatorsTest, ACommandRunsThoughItsOperatorDoesNotWait) {
    {
        const Operator hasty = connect();
        ASSERT_TRUE(hasty.send("much 3\n"));
    }
    ASSERT_TRUE(pump_until([] { return take_calls() == std::vector<std::string>{"nothing"}; }));
    EXPECT_EQ(ask("say 'still here'"), printed("still here\n"));
    expect_quiet();
}

TEST_F(OperatorsTest, OneMayGoAwayInTheMiddleOfAnAnswer) {
    Operator leaving = connect();
    Operator staying = connect();
    ASSERT_TRUE(leaving.send("much 20\nnothing\n"));
    ASSERT_TRUE(pump_until([&leaving] {
        leaving.receive();
        leaving.take_answer();
        return leaving.partial().output.size() > kMegabyte;
    }));
    leaving.hang_up();
    EXPECT_EQ(ask(staying, "say 'still here'"), printed("still here\n"));
    expect_quiet();
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing")) << "what it asked for next is not run";
}

TEST_F(OperatorsTest, ASlowOneHoldsUpNobody) {
    Operator slow = connect();
    ASSERT_TRUE(slow.send("much 20\nnothing\nsay done\n"));
    settle();
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing")) << "the next is not run before its answer is taken";
    expect_quiet();
    Operator quick = connect();
    EXPECT_EQ(ask(quick, "say quick"), printed("quick\n"));
    EXPECT_THAT(take_calls(), testing::IsEmpty());
    EXPECT_EQ(answer_to(slow).output.size(), 20 * kMegabyte);
    EXPECT_EQ(answer_to(slow), printed(""));
    EXPECT_EQ(answer_to(slow), printed("done\n"));
}

TEST_F(OperatorsTest, EightAreServedAndTheNinthIsToldSo) {
    std::list<Operator> all;
    for (size_t i = 0; i < quib::kOperatorLimit; ++i) {
        all.push_back(connect());
        EXPECT_EQ(ask(all.back(), "say in"), printed("in\n"));
    }
    Operator ninth = connect();
    EXPECT_EQ(answer_to(ninth), refused("8 operators are connected already", 5));
    EXPECT_TRUE(ends(ninth));
    for (Operator &each : all) {
        EXPECT_EQ(ask(each, "say in"), printed("in\n"));
    }
    all.pop_front();
    settle();
    EXPECT_EQ(ask("say next"), printed("next\n"));
}

TEST_F(OperatorsTest, ALineThatIsTooLongIsRefusedAndTheConnectionClosed) {
    const std::string fits(quib::kLineLimit - std::string("say \n").size(), 'x');
    EXPECT_EQ(ask("say " + fits), printed(fits + "\n"));
    for (const std::string &line : {"say " + fits + "x", "say " + fits + "x\nnothing\n", std::string(100000, 'x')}) {
        Operator mine = connect();
        mine.send(line);
        EXPECT_EQ(answer_to(mine), refused("a line has 4096 bytes at the most"));
        EXPECT_TRUE(ends(mine));
    }
    EXPECT_THAT(take_calls(), testing::IsEmpty());
    expect_quiet();
}

TEST_F(OperatorsTest, GarbageIsAnsweredAsAnyMistypedLine) {
    Operator mine = connect();
    std::mt19937 random(20261121);
    for (int i = 0; i < 200; ++i) {
        std::string line(1 + random() % 100, '\0');
        for (char &byte : line) {
            byte = static_cast<char>(random() % 256);
            byte = byte == '\n' ? '\0' : byte;
        }
        line[0] = '\x01';
        const Answer answer = ask(mine, line);
        EXPECT_EQ(answer.code, 2);
        EXPECT_EQ(answer.output, "");
    }
    EXPECT_EQ(ask(mine, "say sense"), printed("sense\n"));
}

TEST_F(OperatorsTest, ComeAndGoWithoutLeavingADescriptor) {
    const auto descriptors = [] {
        const auto all = std::filesystem::directory_iterator("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    EXPECT_EQ(ask("say once"), printed("once\n"));
    settle();
    const auto before = descriptors();
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(ask("say again"), printed("again\n"));
        connect();
    }
    settle();
    EXPECT_EQ(descriptors(), before);
}

class IdleTest : public OperatorsTest {
protected:
    void SetUp() override {
        setenv("QUIB_IDLE_MS", "300", 1);
        OperatorsTest::SetUp();
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
