// quib with a program that has a module.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "console_test.h"
#include "terminal.h"

namespace console_test {

namespace {

using testing::HasSubstr;

class EndToEnd : public ConsoleTest {
protected:
    void SetUp() override { start_module(); }

    void start_module() {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        module_ = fork();
        if (module_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            setenv("QUIB_DIR", directory().c_str(), 1);
            execl(QUIB_REAL_MODULE, "real_module", "demo", nullptr);
            _exit(99);
        }
        close(ends[1]);
        output_ = ends[0];
        ASSERT_EQ(printed(), "ready\n");
    }

    void TearDown() override {
        if (module_ > 0) {
            kill(module_, SIGKILL);
            waitpid(module_, nullptr, 0);
        }
        close(output_);
    }

    // What the program itself has printed since.
    std::string printed() const {
        char text[128];
        const ssize_t length = read(output_, text, sizeof text);
        return {text, length > 0 ? static_cast<size_t>(length) : 0};
    }
    pid_t module() const { return module_; }

private:
    pid_t module_ = -1;
    int output_ = -1;
};

TEST_F(EndToEnd, IsListed) {
    EXPECT_THAT(run({}), Prints("MODULE  PID" + std::string(std::to_string(module()).size() - 3, ' ') + "  PROGRAM\n" +
                                "demo    " + std::to_string(module()) + "  " + QUIB_REAL_MODULE + "\n"));
}

TEST_F(EndToEnd, CallsWithTheArgumentsOfTheShell) {
    for (const std::string word : {"plain", "two words", "", "it's", "a \"b\" c", "back\\slash", "\ttab", "-5", "%s",
                                   "\xc3\xa4", "x\\", "#", "trailing "}) {
        EXPECT_THAT(run({"demo", "say", word}), Prints("(" + word + ")\n"));
        EXPECT_THAT(run({"demo", "say", "text=" + word}), Prints("(" + word + ")\n"));
    }
    EXPECT_THAT(run({"demo", "say", "text=a=b c"}), Prints("(a=b c)\n"));
    EXPECT_THAT(run({"demo", "add", "b=-2", "a=44"}), Prints("42\n"));
    EXPECT_THAT(run({"de", "ad", "40", "2"}), Prints("42\n"));
}

TEST_F(EndToEnd, TellsHowACommandCameOut) {
    const Outcome negative = run({"demo", "add", "1", "-2"});
    EXPECT_EQ(negative.status, 1);
    EXPECT_EQ(negative.out, "-1\n");
    for (const Arguments &wrong : {Arguments{"demo", "say"},
                                   {"demo", "add", "1", "x"},
                                   {"demo", "add", "1", "99999999999"},
                                   {"demo", "ad", "c=1"},
                                   {"demo", "s", "1"},
                                   {"demo", "sya", "1"}}) {
        const Outcome outcome = run(wrong);
        EXPECT_EQ(outcome.status, 2) << outcome;
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err, "");
    }
}

TEST_F(EndToEnd, PrintsMegabytes) {
    const Outcome outcome = run({"demo", "megabytes"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.size(), 3000000U);
    EXPECT_EQ(run_into(Stdout::kFull, {"demo", "megabytes"}).status, 7);
    EXPECT_THAT(run({"demo", "say", "still there"}), Prints("(still there)\n"));
}

TEST_F(EndToEnd, ServesAScript) {
    const Outcome outcome = run({"demo"}, "say one\n\nadd 1 -2\nsay text=\"two words\"\r\nhelp add\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("(one)\n-1\n(two words)\nadd a="));
}

TEST_F(EndToEnd, ServesATerminal) {
    Terminal terminal({"demo"}, environment());
    terminal.expect("process " + std::to_string(module()));
    terminal.type_at_prompt("ad\ta\t1 b\t2\r");
    terminal.expect("\r\n3\r\n");
    terminal.type_at_prompt("sya\r");
    terminal.expect("say");
    terminal.type_at_prompt("help\r");
    terminal.expect("megabytes");
    terminal.type_at_prompt("sleep 600000\r");
    terminal.expect("sleep 600000\r\n");
    terminal.type(kControlC);
    terminal.type_at_prompt(kControlD);
    EXPECT_EQ(terminal.finish(), 0);
}

TEST_F(EndToEnd, TellsThatTheProgramHasEnded) {
    Terminal terminal({"demo"}, environment());
    terminal.expect(kPrompt);
    EXPECT_EQ(run({"demo", "die"}).status, 3);
    EXPECT_EQ(terminal.finish(), 3);
    EXPECT_THAT(terminal.rest(), HasSubstr("quib: demo has gone away\r\n"));
}

TEST_F(EndToEnd, IsForEightAtMost) {
    std::vector<std::unique_ptr<Terminal>> operators;
    for (int i = 0; i < 8; ++i) {
        operators.push_back(std::make_unique<Terminal>(Arguments{"demo"}, environment()));
        operators.back()->expect(kPrompt);
    }
    const Outcome ninth = run({"demo", "say", "x"});
    EXPECT_EQ(ninth.status, 5) << ninth;
    EXPECT_NE(ninth.err, "");
    operators.pop_back();
    wait_until([this] { return run({"demo", "say", "x"}).status == 0; });
}

class EndToEndIdle : public EndToEnd {
protected:
    void SetUp() override {
        setenv("QUIB_IDLE_MS", "1500", 1);
        start_module();
        unsetenv("QUIB_IDLE_MS");
    }
};

TEST_F(EndToEndIdle, ConnectsAgain) {
    Terminal terminal({"demo"}, environment());
    terminal.expect("closed after 1500 ms without a command\r\n");
    terminal.type_at_prompt("say back\r");
    terminal.expect("(back)\r\n");
}

TEST_F(EndToEnd, LeavesAProgramThatDoesNotAnswer) {
    kill(module(), SIGSTOP);
    EXPECT_THAT(run({"--timeout", "0.2", "demo", "say", "x"}), FailsWith(4, "no answer from demo in 0.2 s"));
    EXPECT_THAT(run({}).out, HasSubstr("\ndemo "));
}

}  // namespace

}  // namespace console_test
