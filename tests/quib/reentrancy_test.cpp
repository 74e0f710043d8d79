// Commands that use the console, or the client, that runs them.
#include "console.h"
#include "handlers.h"

#include <cstdio>

namespace quib_test {
namespace {

class ReentrantCommandTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        ASSERT_EQ(register_command("hook", "void", call_hook), 0);
        ASSERT_EQ(register_command("nothing", "void", nothing), 0);
        ASSERT_EQ(register_command("number", "%d", number), 0);
    }
};

TEST_F(ReentrantCommandTest, MayDestroyTheClient) {
    MomClient *client = release_client();
    hook = [client] {
        puts("going");
        ox_mom_client_destroy(client);
        EXPECT_EQ(register_command("late", "void", nothing), 0) << "the module goes when the command has returned";
    };
    Operator mine = connect();
    Operator other = connect();
    ASSERT_TRUE(mine.send("hook\nnothing\n"));
    ASSERT_TRUE(other.send("nothing\n"));
    int32_t code = 0;
    for (int i = 0; i < 100 && code >= 0; ++i) {
        code = ox_mom_client_process(client, 100);
    }
    EXPECT_EQ(code, OX_MOM_E_DESTROYED);
    EXPECT_FALSE(mine.receive());
    EXPECT_EQ(mine.take_answer(), printed("going\n"));
    EXPECT_EQ(mine.take_answer(), std::nullopt);
    EXPECT_FALSE(other.receive());
    EXPECT_FALSE(exists(path()));
    EXPECT_LE(take_calls().size(), 1u) << "nothing is run for a client that is gone";
}

TEST_F(ReentrantCommandTest, MayRunTheClientAndSoOtherCommands) {
    Operator mine = connect();
    Operator other = connect();
    settle();
    hook = [&] {
        printf("outer ");
        EXPECT_EQ(ask(other, "number 5"), printed(""));
        ASSERT_TRUE(other.send("hook\n"));
        hook = [] { puts("inner"); };
        EXPECT_EQ(answer_to(other), printed("inner\n"));
        puts("again");
    };
    EXPECT_EQ(ask(mine, "hook"), printed("outer again\n"));
    EXPECT_THAT(take_calls(), testing::ElementsAre("number 5"));
}

TEST_F(ReentrantCommandTest, DoesNotRunTheSameOperatorsNextInsideIt) {
    Operator mine = connect();
    hook = [this] {
        for (int i = 0; i < 10; ++i) {
            ox_mom_client_process(client(), 0);
        }
        EXPECT_THAT(take_calls(), testing::IsEmpty());
    };
    ASSERT_TRUE(mine.send("hook\nnothing\n"));
    EXPECT_EQ(answer_to(mine), printed(""));
    EXPECT_EQ(answer_to(mine), printed(""));
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing"));
}

TEST_F(ReentrantCommandTest, ItsOperatorMayGoWhileItRunsTheClient) {
    Operator mine = connect();
    int32_t made = 0;
    hook = [&] {
        puts("for nobody");
        mine.hang_up();
        for (int i = 0; i < 20; ++i) {
            made += ox_mom_client_process(client(), 1);
        }
    };
    ASSERT_TRUE(mine.send("hook\n"));
    settle();
    EXPECT_LE(made, 2) << "told once, and not over and over";
    EXPECT_EQ(ask("nothing"), printed(""));
}

TEST_F(ReentrantCommandTest, MayDestroyTheClientInsideACommandInsideIt) {
    MomClient *client = release_client();
    Operator outer = connect();
    Operator inner = connect();
    ASSERT_GE(ox_mom_client_process(client, 0), 0);
    int depth = 0;
    int32_t code = 0;
    hook = [&] {
        if (++depth == 1) {
            ASSERT_TRUE(inner.send("hook\n"));
            while (code >= 0) {
                code = ox_mom_client_process(client, 100);
            }
        } else {
            ox_mom_client_destroy(client);
        }
        printf("depth %d\n", depth--);
    };
    ASSERT_TRUE(outer.send("hook\n"));
    EXPECT_EQ(ox_mom_client_process(client, 1000), OX_MOM_E_DESTROYED);
    EXPECT_EQ(code, OX_MOM_E_DESTROYED);
    inner.receive();
    outer.receive();
    EXPECT_EQ(inner.take_answer(), printed("depth 2\n"));
    EXPECT_EQ(outer.take_answer(), printed("depth 1\n"));
}

TEST_F(ReentrantCommandTest, MayRegisterCommandsAndReplaceItself) {
    hook = [] {
        for (int i = 0; i < 100; ++i) {
            ASSERT_EQ(register_command(("new" + std::to_string(i)).c_str(), "%d", number), 0);
        }
        ASSERT_EQ(register_command("hook", "%d", number), 0);
        puts("replaced");
    };
    EXPECT_EQ(ask("hook"), printed("replaced\n"));
    EXPECT_EQ(ask("hook 4"), printed(""));
    EXPECT_EQ(ask("new99 5"), printed(""));
    EXPECT_THAT(take_calls(), testing::ElementsAre("number 4", "number 5"));
}

TEST_F(ReentrantCommandTest, MayMakeAModule) {
    hook = [this] {
        ASSERT_EQ(quib_lib_init(client(), "made"), 0);
        ASSERT_EQ(register_command("nothing", "void", nothing, "made"), 0);
    };
    EXPECT_EQ(ask("hook"), printed(""));
    Operator at_made = connect("made");
    EXPECT_EQ(ask(at_made, "nothing"), printed(""));
}

TEST_F(ReentrantCommandTest, MayRunAnotherClientsCommands) {
    const ClientPtr second = make_client();
    ASSERT_EQ(quib_lib_init(second.get(), "second"), 0);
    ASSERT_EQ(register_command("number", "%d", number, "second"), 0);
    Operator at_second = connect("second");
    hook = [&] {
        printf("outer ");
        ASSERT_TRUE(at_second.send("number 9\n"));
        std::optional<Answer> answer;
        while (!answer && ox_mom_client_process(second.get(), 1000) > 0) {
            at_second.receive();
            answer = at_second.take_answer();
        }
        EXPECT_EQ(answer, printed(""));
        puts("again");
    };
    EXPECT_EQ(ask("hook"), printed("outer again\n"));
}

TEST_F(ReentrantCommandTest, MayHaveTheStoreRead) {
    hook = [this] { EXPECT_EQ(ox_mom_client_connect_sync(client(), 28), 0); };
    EXPECT_EQ(ask("hook"), printed(""));
}

}  // namespace
}  // namespace quib_test
