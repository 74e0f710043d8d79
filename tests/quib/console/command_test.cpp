// quib MODULE COMMAND ARGUMENT...: one command.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <future>

#include "asleep.h"
#include "console_test.h"
#include "fake_module.h"

namespace console_test {

namespace {

class Command : public ConsoleTest {
protected:
    Outcome run_answered(const Reply &reply, const Arguments &options = {}) {
        const FakeModule demo(socket("demo"), [&reply](const std::string &) { return reply; });
        Arguments arguments = options;
        arguments.insert(arguments.end(), {"demo", "dump"});
        return run(arguments);
    }
};

TEST_F(Command, GoesOutAsALine) {
    FakeModule demo(socket("demo"), echo);
    EXPECT_THAT(run({"demo", "get", "url=/a/b", "node=3"}), Prints("[get url=/a/b node=3]\n"));
    EXPECT_THAT(demo.lines(), testing::ElementsAre("get url=/a/b node=3"));
}

// What looks like an option of quib's is the command's once the module is named.
TEST_F(Command, MayHaveOptions) {
    FakeModule demo(socket("demo"), echo);
    EXPECT_THAT(run({"demo", "log-level", "-5"}), Prints("[log-level -5]\n"));
    EXPECT_THAT(run({"demo", "--help"}), Prints("[--help]\n"));
    EXPECT_THAT(run({"--timeout", "5", "demo", "x", "--", "--output"}), Prints("[x -- --output]\n"));
    EXPECT_THAT(run({"--", "demo", "x"}), Prints("[x]\n"));
}

TEST_F(Command, HasItsWordsQuotedWhereNeeded) {
    FakeModule demo(socket("demo"), echo);
    const std::vector<std::pair<std::string, std::string>> quoted = {{"a b", "\"a b\""},
                                                                     {"", "\"\""},
                                                                     {"a\"b", "\"a\\\"b\""},
                                                                     {"a\\b", "\"a\\\\b\""},
                                                                     {"it's", "\"it's\""},
                                                                     {"\t", "\"\t\""},
                                                                     {"a=b", "a=b"},
                                                                     {"\xc3\xa4", "\xc3\xa4"},
                                                                     {"url=a b", "url=\"a b\""},
                                                                     {"=a b", "\"=a b\""},
                                                                     {"a-b=c d", "\"a-b=c d\""},
                                                                     {"#;$*", "#;$*"}};
    for (const auto &[word, expected] : quoted) {
        EXPECT_THAT(run({"demo", "x", word}), Prints("[x " + expected + "]\n"));
    }
}

TEST_F(Command, OfAnEmptyWordIsACommand) {
    FakeModule demo(socket("demo"), echo);
    EXPECT_THAT(run({"demo", ""}), Prints("[\"\"]\n"));
}

TEST_F(Command, MustFitALine) {
    FakeModule demo(socket("demo"), echo);
    const std::string longest(4095 - 2, 'x');
    EXPECT_THAT(run({"demo", "a", longest}), Prints("[a " + longest + "]\n"));
    EXPECT_THAT(run({"demo", "a", longest + "x"}), FailsWith(2, "4095 bytes"));
    EXPECT_THAT(run({"demo", "a", "b\nc"}), FailsWith(2, "line end"));
    EXPECT_EQ(demo.lines().size(), 1U);
}

TEST_F(Command, HasOutputAndDiagnosticsApart) {
    const Outcome outcome = run_answered(output("one\n") + diagnostic("two\n") + output("three") + exit_frame(0));
    EXPECT_EQ(outcome.out, "one\nthree");
    EXPECT_EQ(outcome.err, "quib: two\n");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(Command, HasEachLineOfDiagnosticsBeginAlike) {
    const Outcome outcome =
        run_answered(diagnostic("one\ntw") + diagnostic("o\n") + diagnostic("three") + exit_frame(1));
    EXPECT_EQ(outcome.err, "quib: one\nquib: two\nquib: three");
    const Outcome cut = run_answered(Reply(diagnostic("half a line"), true));
    EXPECT_EQ(cut.err, "quib: half a line\nquib: demo has gone away\n");
}

TEST_F(Command, PrintsMegabytesOfAnyBytes) {
    std::string bytes;
    for (size_t i = 0; i < 3000000; ++i) {
        bytes += static_cast<char>(i * i >> 3U);
    }
    std::string frames = output(bytes.substr(0, 2000000)) + output("");
    for (size_t i = 2000000; i < bytes.size(); i += 7) {
        frames += output(bytes.substr(i, 7));
    }
    const Outcome outcome = run_answered(frames + exit_frame(0));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.out == bytes);
}

TEST_F(Command, EndsAsTheModuleSays) {
    for (const int code : {0, 1, 2, 5}) {
        EXPECT_EQ(run_answered(diagnostic("why\n") + exit_frame(code)).status, code);
    }
}

TEST_F(Command, ThatIsRefusedTellsWhy) {
    const FakeModule full(socket("full"), echo, {diagnostic("8 operators are served already\n") + exit_frame(5), true});
    const Outcome outcome = run({"full", "dump"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.err, "quib: 8 operators are served already\n");
}

TEST_F(Command, WithoutAnEndFails) {
    const Outcome outcome = run_answered(Reply(output("half"), true));
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "half");
    EXPECT_EQ(outcome.err, "quib: demo has gone away\n");
    EXPECT_THAT(run_answered(Reply(output("half").substr(0, 3), true)), FailsWith(3, "demo has gone away"));
}

TEST_F(Command, AnsweredWithGarbageFails) {
    const std::string end = exit_frame(0);
    for (const std::string &garbage :
         {std::string("HTTP/1.1 400 Bad Request\r\n"), end.substr(0, 1) + std::string("\xff\xff\xff\xff", 4),
          exit_frame(1000), end.substr(0, 5) + "x", end.substr(0, 1) + std::string(4, '\0')}) {
        EXPECT_THAT(run_answered(garbage), FailsWith(6, "protocol")) << testing::PrintToString(garbage);
    }
}

TEST_F(Command, ThatTakesTooLongIsGivenUp) {
    EXPECT_THAT(run_answered("", {"--timeout", "0.2"}), FailsWith(4, "no answer from demo in 0.2 s"));
    const Outcome outcome = run_answered(output("some"), {"-t", "2"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.out, "some");
}

TEST_F(Command, IsWaitedForAsLongAsItTakesWithTimeoutZero) {
    std::promise<pid_t> started;
    const FakeModule demo(socket("demo"), [waiting = started.get_future().share()](const std::string &line) {
        EXPECT_TRUE(test_support::falls_asleep(waiting.get()));
        return echo(line);
    });
    Program program(launch({"--timeout", "0", "demo", "x"}));
    started.set_value(program.pid());
    EXPECT_THAT(program.finish(), Prints("[x]\n"));
}

TEST_F(Command, IsInterrupted) {
    FakeModule demo(socket("demo"), [](const std::string &) { return ""; });
    Program program(launch({"demo", "dump"}));
    wait_until([&] { return demo.lines().size() == 1; });
    kill(program.pid(), SIGINT);
    EXPECT_EQ(program.finish().status, 130);
    wait_until([&] { return demo.operators() == 0; });
}

TEST_F(Command, IsNotInterruptedInTheBackground) {
    std::promise<void> interrupted;
    FakeModule demo(socket("demo"), [goes_on = interrupted.get_future().share()](const std::string &line) {
        goes_on.wait();
        return echo(line);
    });
    Launch background = launch({"--timeout", "0", "demo", "dump"});
    background.ignores_interrupts = true;
    Program program(background);
    wait_until([&] { return demo.lines().size() == 1; });
    kill(program.pid(), SIGINT);
    interrupted.set_value();
    EXPECT_THAT(program.finish(), Prints("[dump]\n"));
}

const Arguments kPrinting[] = {{"demo", "dump"}, {}, {"--output", "json"}, {"--help"}, {"--version"}};

TEST_F(Command, WhoseOutputDoesNotFitFails) {
    const FakeModule demo(socket("demo"), echo);
    for (const Arguments &arguments : kPrinting) {
        EXPECT_THAT(run_into(Stdout::kFull, arguments),
                    FailsWith(7, "standard output cannot be written: No space left on device"));
        EXPECT_THAT(run_into(Stdout::kClosed, arguments),
                    FailsWith(7, "standard output cannot be written: Bad file descriptor"));
        EXPECT_NE(run_into(Stdout::kUnread, arguments).status, 0);
    }
}

TEST_F(Command, WithoutOutputNeedsNone) {
    const FakeModule demo(socket("demo"), [](const std::string &) { return exit_frame(0); });
    EXPECT_THAT(run_into(Stdout::kFull, {"demo", "x"}), Prints(""));
    EXPECT_THAT(run_into(Stdout::kClosed, {"demo", "x"}), Prints(""));
}

class Name : public ConsoleTest {};

TEST_F(Name, MayBeTheBeginningOfOne) {
    const FakeModule demo(socket("trel_cap_demo"), echo);
    const FakeModule other(socket("other"), echo);
    EXPECT_THAT(run({"trel", "x"}), Prints("[x]\n"));
    EXPECT_THAT(run({"o", "x"}), Prints("[x]\n"));
}

TEST_F(Name, InFullIsThatModules) {
    const FakeModule first(socket("demo"), echo);
    const FakeModule second(socket("demo.2"), [](const std::string &) { return output("second") + exit_frame(0); });
    EXPECT_THAT(run({"demo", "x"}), Prints("[x]\n"));
    EXPECT_THAT(run({"demo.", "x"}), Prints("second"));
    EXPECT_THAT(run({"dem", "x"}), FailsWith(2, "module \"dem\" could be demo, demo.2"));
}

// A socket left over makes no beginning of a name ambiguous.
TEST_F(Name, OfAProcessThatIsGone) {
    const FakeModule demo(socket("demo"), echo);
    leave_stale_socket(socket("demolished"));
    EXPECT_THAT(run({"dem", "x"}), Prints("[x]\n"));
    EXPECT_THAT(run({"demolished", "x"}), FailsWith(3, "cannot connect to demolished: no process serves it"));
}

TEST_F(Name, ThatIsMistypedGetsASuggestion) {
    const FakeModule demo(socket("trel_cap_demo"), echo);
    const FakeModule reader(socket("trel_cap_reader"), echo);
    for (const char *mistyped :
         {"trel_cap_dmeo", "trel_cap_demp", "tre_cap_demo", "trell_cap_demo", "demo", "cap_de"}) {
        EXPECT_THAT(run({mistyped, "x"}), FailsWith(1, "; did you mean trel_cap_demo?\n")) << mistyped;
    }
    EXPECT_THAT(run({"cap_", "x"}), FailsWith(1, "; did you mean trel_cap_demo, trel_cap_reader?\n"));
    for (const char *unknown : {"switchd", "zz", "z"}) {
        EXPECT_THAT(run({unknown, "x"}), FailsWith(1, std::string("no module \"") + unknown + "\" in ")) << unknown;
        EXPECT_THAT(run({unknown, "x"}).err, testing::Not(testing::HasSubstr("did you mean"))) << unknown;
    }
}

TEST_F(Name, ThatCanBeNoneIsNone) {
    for (const std::string &name : {std::string("../quib/demo"), std::string("."), std::string(96, 'x')}) {
        EXPECT_THAT(run({name, "x"}), FailsWith(1, "no module")) << name;
    }
    EXPECT_THAT(run({"", "x"}), FailsWith(2, "empty"));
}

class Usage : public ConsoleTest {};

TEST_F(Usage, RefusesWhatItDoesNotKnow) {
    const FakeModule demo(socket("demo"), echo);
    EXPECT_THAT(run({"--verbose", "demo", "x"}), FailsWith(2, "unknown option \"--verbose\"\nTry quib --help."));
    EXPECT_THAT(run({"--ouptut=json"}), FailsWith(2, "unknown option \"--ouptut\"; did you mean --output?\nTry quib"));
    EXPECT_THAT(run({"--output", "yaml"}), FailsWith(2, "yaml"));
    EXPECT_THAT(run({"--output"}), FailsWith(2, "--output"));
    EXPECT_THAT(run({"--output", "json", "demo", "x"}), FailsWith(2, "--output"));
    for (const char *limit : {"-1", "soon", "", "1e9"}) {
        EXPECT_THAT(run({"--timeout", limit, "demo", "x"}), FailsWith(2, "")) << limit;
    }
}

}  // namespace

}  // namespace console_test
