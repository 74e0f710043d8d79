// Operators: several, gone, slow.
#include "console.h"
#include "handlers.h"

#include "quib/protocol.h"

#include <unistd.h>

#include <list>
#include <vector>

namespace quib_test {
namespace {

using OperatorsTest = SpeakingTest;

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

TEST_F(OperatorsTest, AreLetGoWhenTheClientIsDestroyed) {
    settle();
    const std::ptrdiff_t before = descriptors();
    Operator unsent = connect();
    Operator waiting = connect();
    Operator half = connect();
    Operator silent = connect();
    ASSERT_TRUE(unsent.send("much 20\nnothing\n"));
    ASSERT_TRUE(half.send("noth"));
    settle();
    ASSERT_TRUE(waiting.send("nothing\n"));
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing"));
    destroy_client();
    for (Operator *each : {&unsent, &waiting, &half, &silent}) {
        EXPECT_FALSE(each->receive());
        EXPECT_EQ(each->take_answer(), std::nullopt);
        each->hang_up();
    }
    EXPECT_THAT(take_calls(), testing::IsEmpty());
    EXPECT_LT(descriptors(), before) << "nothing of theirs is left, and nothing of the client";
}

TEST_F(OperatorsTest, WaitWhileTheProgramHasNoDescriptorForThem) {
    // UBSan needs a descriptor when it sees a virtual call for the first time.
    EXPECT_EQ(ask("say before"), printed("before\n"));
    settle();
    std::vector<int> taken;
    for (int fd = dup(STDERR_FILENO); fd >= 0; fd = dup(STDERR_FILENO)) {
        taken.push_back(fd);
    }
    close(taken.back());
    taken.pop_back();
    Operator mine = connect();
    EXPECT_TRUE(mine.send("say now\n"));
    // Each try to accept is followed by a pause, which ends once in a while. A client that spun would have something to
    // do every time.
    constexpr int32_t kTimes = 40;
    int32_t made = 0;
    for (int32_t times = 0; times < kTimes; ++times) {
        made += ox_mom_client_process(client(), 5);
    }
    for (const int fd : taken) {
        close(fd);
    }
    EXPECT_LT(made, kTimes) << "the client must not spin meanwhile";
    EXPECT_EQ(answer_to(mine), printed("now\n"));
}

TEST_F(OperatorsTest, ComeAndGoWithoutLeavingADescriptor) {
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

}  // namespace
}  // namespace quib_test
