// Lines: in pieces, halves, too long, nonsense.
#include "console.h"
#include "handlers.h"

#include "quib/protocol.h"

#include <list>
#include <random>

namespace quib_test {
namespace {

using LinesTest = SpeakingTest;

TEST_F(LinesTest, LinesAreAnsweredInOrder) {
    Operator mine = connect();
    ASSERT_TRUE(mine.send("say 1\nsay 2\r\n\nnonsense-\nsay 3\n"));
    EXPECT_EQ(answer_to(mine), printed("1\n"));
    EXPECT_EQ(answer_to(mine), printed("2\n"));
    EXPECT_EQ(answer_to(mine), printed(""));
    EXPECT_EQ(answer_to(mine).code, 2);
    EXPECT_EQ(answer_to(mine), printed("3\n"));
    expect_quiet();
}

TEST_F(LinesTest, ManyLinesAtOnceOfSeveralTakeTurns) {
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

TEST_F(LinesTest, ALineMayComeInPieces) {
    Operator mine = connect();
    for (const char *piece : {"s", "ay", " '", "a b", "'", "\r", "\n"}) {
        EXPECT_EQ(mine.take_answer(), std::nullopt);
        ASSERT_TRUE(mine.send(piece));
        settle();
        mine.receive();
    }
    EXPECT_EQ(mine.take_answer(), printed("a b\n"));
}

TEST_F(LinesTest, HalfALineHarmsNobody) {
    Operator half = connect();
    ASSERT_TRUE(half.send("nothi"));
    expect_quiet();
    EXPECT_EQ(ask("say meanwhile"), printed("meanwhile\n"));
    half.hang_up();
    expect_quiet();
    EXPECT_THAT(take_calls(), testing::IsEmpty());
}

TEST_F(LinesTest, LinesBeforeTheEndAreAnsweredAndHalfALineIsNot) {
    Operator mine = connect();
    ASSERT_TRUE(mine.send("say 1\nsay 2\nnothing"));
    mine.end();
    EXPECT_EQ(answer_to(mine), printed("1\n"));
    EXPECT_EQ(answer_to(mine), printed("2\n"));
    EXPECT_TRUE(ends(mine));
    EXPECT_EQ(mine.take_answer(), std::nullopt);
    EXPECT_THAT(take_calls(), testing::IsEmpty());
}

TEST_F(LinesTest, ALineThatIsTooLongIsRefusedAndTheConnectionClosed) {
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

TEST_F(LinesTest, GarbageIsAnsweredAsAnyMistypedLine) {
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

}  // namespace
}  // namespace quib_test
