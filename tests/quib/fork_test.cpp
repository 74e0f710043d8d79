// Forked children: the module stays the parent's.
#include "console.h"
#include "handlers.h"
#include "other_program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace quib_test {
namespace {

class ForkTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        ASSERT_EQ(register_command("hook", "void", call_hook), 0);
        ASSERT_EQ(register_command("nothing", "void", nothing), 0);
    }
};

TEST_F(ForkTest, AChildNeitherServesNorRemovesTheSocket) {
    Operator mine = connect();
    settle();
    OtherProgram child([this](const auto &say) {
        say(std::to_string(ox_mom_client_process(client(), 0)));
        ox_mom_client_destroy(client());
        std::exit(0);  // NOLINT(concurrency-mt-unsafe): what an exit runs must not harm the parent
    });
    ASSERT_EQ(child.heard(), std::to_string(OX_MOM_E_FORK));
    ASSERT_EQ(child.wait(), 0);
    EXPECT_TRUE(exists(path()));
    EXPECT_EQ(ask(mine, "nothing"), printed(""));
    EXPECT_EQ(ask("nothing"), printed(""));
}

TEST_F(ForkTest, AChildMayHaveModulesOfItsOwn) {
    OtherProgram child([](const auto &say) {
        const ClientPtr its = make_client();
        say(std::to_string(quib_lib_init(its.get(), "m")));
        serve_module("its", say);
    });
    EXPECT_EQ(child.heard(), "0") << "an instance, as another process gets one";
    ASSERT_EQ(child.heard(), "ready");
    EXPECT_TRUE(connect("m.2").connected());
    Operator at_child = connect("its");
    ASSERT_TRUE(at_child.send("nothing\n"));
    ASSERT_TRUE(readable(at_child.fd(), kLongEnough));
    at_child.receive();
    EXPECT_EQ(at_child.take_answer(), printed(""));
    EXPECT_EQ(ask("nothing"), printed(""));
}

TEST_F(ForkTest, AChildThatOutlivesTheProgramDoesNotKeepOperatorsWaiting) {
    OtherProgram program([](const auto &say) {
        hook = [&say] {
            const pid_t child = fork();
            if (child == 0) {
                pause();
                _exit(0);
            }
            say(std::to_string(child));
        };
        serve_module("n", say);
    });
    ASSERT_EQ(program.heard(), "ready");
    Operator at_program = connect("n");
    ASSERT_TRUE(at_program.send("hook\n"));
    const pid_t grandchild = std::stoi(program.heard());
    program.kill();
    while (at_program.receive()) {
        ASSERT_TRUE(readable(at_program.fd(), kLongEnough)) << "no end of the connection";
    }
    EXPECT_EQ(kill(grandchild, 0), 0) << "it still runs";
    EXPECT_EQ(quib_lib_init(client(), "n"), 0) << "nobody serves it";
    kill(grandchild, SIGKILL);
}

TEST_F(ForkTest, ACommandMayForkAndOnlyTheParentAnswers) {
    hook = [] {
        puts("before");
        fflush(stdout);
        const pid_t child = fork();
        if (child > 0) {
            int status = 0;
            waitpid(child, &status, 0);
            printf("child ended with %d\n", WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
        }
    };
    const pid_t parent = getpid();
    Operator mine = connect();
    ASSERT_TRUE(mine.send("hook\n"));
    std::optional<Answer> answer;
    while (!answer) {
        const int32_t made = ox_mom_client_process(client(), 1000);
        if (getpid() != parent) {
            // The child comes back from the command too.
            _exit(made == 1 && ox_mom_client_process(client(), 0) == OX_MOM_E_FORK ? 7 : 8);
        }
        mine.receive();
        answer = mine.take_answer();
    }
    EXPECT_EQ(answer, printed("before\nchild ended with 7\n"));
    EXPECT_EQ(ask(mine, "nothing"), printed(""));
}

TEST_F(ForkTest, AForkedCommandsChildMayRunCommandsOfItsOwn) {
    hook = [] {
        const pid_t child = fork();
        if (child == 0) {
            const ClientPtr its = make_client();
            bool right =
                quib_lib_init(its.get(), "its") == 0 && register_command("nothing", "void", nothing, "its") == 0;
            Operator own(std::string(getenv("QUIB_DIR")) + "/its");
            own.send("nothing\n");
            std::optional<Answer> answer;
            for (int i = 0; i < 4000 && !answer; ++i) {
                ox_mom_client_process(its.get(), 10);
                own.receive();
                answer = own.take_answer();
            }
            right = right && answer == printed("");
            _exit(right ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        printf("%d\n", status);
    };
    EXPECT_EQ(ask("hook"), printed("0\n"));
}

}  // namespace
}  // namespace quib_test
