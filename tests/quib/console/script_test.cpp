// Commands from a pipe.
#include <sys/wait.h>
#include <unistd.h>

#include "console_test.h"
#include "fake_module.h"

namespace console_test {

namespace {

// Fails with the code that the line names.
Reply fail_as_told(const std::string &line) {
    if (line.starts_with("fail ")) {
        return diagnostic("failed\n") + exit_frame(std::stoi(line.substr(5)));
    }
    return echo(line);
}

class Script : public ConsoleTest {
protected:
    Outcome run_script(const std::string &script, const Arguments &arguments = {"demo"}) {
        return run(arguments, script);
    }
};

TEST_F(Script, RunsItsLinesInOrder) {
    FakeModule demo(socket("demo"), echo);
    EXPECT_THAT(run_script("one\n\ntwo url=\"a b\"\n  three\n"), Prints("[one]\n[two url=\"a b\"]\n[  three]\n"));
    EXPECT_THAT(run_script("no line end"), Prints("[no line end]\n"));
    EXPECT_THAT(run_script(""), Prints(""));
    const FakeModule other(socket("zz"), echo);
    EXPECT_THAT(run_script("by prefix\n", {"de"}), Prints("[by prefix]\n"));
}

TEST_F(Script, GoesOnAfterAFailureAndTellsTheLast) {
    FakeModule demo(socket("demo"), fail_as_told);
    const Outcome outcome = run_script("one\nfail 2\ntwo\nfail 1\nthree\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "[one]\n[two]\n[three]\n");
    EXPECT_EQ(outcome.err, "quib: failed\nquib: failed\n");
}

TEST_F(Script, MayHaveComments) {
    FakeModule demo(socket("demo"), echo);
    EXPECT_THAT(run_script("#!/usr/bin/quib demo\none #1\n  # two\n\t#\n\n'#' three\n#quit"),
                Prints("[one #1]\n['#' three]\n"));
    EXPECT_THAT(demo.lines(), testing::ElementsAre("one #1", "'#' three"));
}

TEST_F(Script, EndsAtQuit) {
    for (const std::string word : {"quit", "exit", " quit ", "quit\r"}) {
        FakeModule demo(socket("demo"), fail_as_told);
        EXPECT_THAT(run_script("one\n" + word + "\ntwo\n"), Prints("[one]\n"));
        EXPECT_EQ(run_script("fail 1\n" + word + "\n").status, 1);
    }
}

TEST_F(Script, LeavesOutALineThatIsTooLong) {
    FakeModule demo(socket("demo"), echo);
    const Outcome outcome = run_script("one\n" + std::string(5000, 'x') + "\ntwo\n");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "[one]\n[two]\n");
    EXPECT_EQ(outcome.err, "quib: a command is at most 4095 bytes long\n");
}

TEST_F(Script, EndsWhenTheModuleDoes) {
    FakeModule demo(socket("demo"),
                    [](const std::string &line) { return line == "two" ? Reply(output("tw"), true) : echo(line); });
    const Outcome outcome = run_script("one\ntwo\nthree\n");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "[one]\ntw");
    EXPECT_EQ(outcome.err, "quib: demo has gone away\n");
}

TEST_F(Script, EndsWhenThereIsNoAnswer) {
    FakeModule demo(socket("demo"), [](const std::string &line) { return line == "two" ? Reply("") : echo(line); });
    const Outcome outcome = run_script("one\ntwo\nthree\n", {"--timeout=2", "demo"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.out, "[one]\n");
    EXPECT_THAT(demo.lines(), testing::ElementsAre("one", "two"));
}

TEST_F(Script, ThatCannotBeReadFails) {
    const FakeModule demo(socket("demo"), echo);
    const Execution execution(launch({"demo"}));
    const pid_t shell = fork();
    if (shell == 0) {
        close(STDIN_FILENO);
        execution.begin();
    }
    int status = 0;
    ASSERT_EQ(waitpid(shell, &status, 0), shell);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

}  // namespace

}  // namespace console_test
