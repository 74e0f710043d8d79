// quib MODULE at a terminal: the prompt.
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "console_test.h"
#include "fake_module.h"
#include "terminal.h"

namespace console_test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kCommands[] = "dump_all\tvoid\n"
                             "dump_node\tvoid\n"
                             "get_fe\tnode=%d url=%s\n"
                             "log-level\t%d\n"
                             "set_state\turl=%s state=%d\n";

class Prompt : public ConsoleTest {
protected:
    Answer answer = with_commands(kCommands);
    FakeModule &demo() { return *demo_; }
    void start_module() { demo_ = std::make_unique<FakeModule>(socket("demo"), answer); }
    Terminal &attach() {
        if (!demo_) {
            start_module();
        }
        terminal_ = std::make_unique<Terminal>(Arguments{"demo"}, environment());
        return *terminal_;
    }
    void end_module() { demo_.reset(); }

private:
    std::unique_ptr<FakeModule> demo_;
    std::unique_ptr<Terminal> terminal_;
};

TEST_F(Prompt, RunsWhatIsTyped) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_all\r");
    terminal.expect("[dump_all]\r\n");
    terminal.type_at_prompt("  get_fe node=3 \r");
    terminal.expect("[get_fe node=3]\r\n");
    terminal.type_at_prompt("quit\r");
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_THAT(demo().lines(), ElementsAre("dump_all", "get_fe node=3"));
}

TEST_F(Prompt, TellsWhoItIsAttachedTo) {
    start_module();
    Terminal terminal({"de"}, environment());
    EXPECT_THAT(terminal.expect(kPrompt), HasSubstr("Attached to demo, process " + std::to_string(getpid())));
}

TEST_F(Prompt, EndsWithQuitExitOrTheEndOfInput) {
    for (const std::string keys : {"quit\r", "exit\r", " quit \r", kControlD}) {
        Terminal &terminal = attach();
        terminal.type_at_prompt(keys);
        EXPECT_EQ(terminal.finish(), 0) << keys;
    }
    EXPECT_THAT(demo().lines(), ElementsAre());
}

TEST_F(Prompt, DoesNothingForAnEmptyLine) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("\r");
    terminal.type_at_prompt("   \r");
    terminal.type_at_prompt("exit\r");
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_THAT(demo().lines(), ElementsAre());
}

TEST_F(Prompt, LeavesOutComments) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("# dump_all\r");
    terminal.type_at_prompt("dump_node\r");
    terminal.expect("[dump_node]\r\n");
    EXPECT_THAT(demo().lines(), ElementsAre("dump_node"));
}

TEST_F(Prompt, ListsTheModules) {
    const FakeModule other(socket("other"), echo);
    Terminal &terminal = attach();
    terminal.type_at_prompt(" list \r");
    terminal.expect("MODULE");
    const std::string pid = std::to_string(getpid());
    EXPECT_THAT(terminal.expect(kPrompt),
                testing::AllOf(HasSubstr("\r\ndemo    " + pid), HasSubstr("\r\nother   " + pid)));
    std::filesystem::permissions(directory(), std::filesystem::perms(0777));
    terminal.type("list\r");
    terminal.expect("quib: " + directory() + ": others may write there");
    terminal.type_at_prompt("dump_all\r");
    terminal.expect("[dump_all]\r\n");
    EXPECT_THAT(demo().lines(), ElementsAre("dump_all"));
}

TEST_F(Prompt, LeavesListToAModuleThatHasIt) {
    answer = with_commands("list\tvoid\n");
    Terminal &terminal = attach();
    terminal.type_at_prompt("li\t\r");
    terminal.expect("[list]\r\n");
}

TEST_F(Prompt, RunsWhatIsPasted) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_all\rget_fe 1\nquit\r");
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_THAT(demo().lines(), ElementsAre("dump_all", "get_fe 1"));
}

TEST_F(Prompt, LeavesHelpToTheModule) {
    answer = with_commands(kCommands, [](const std::string &line) -> Reply {
        return output(line == "help" ? "all of them\n" : "about " + line + "\n") + exit_frame(0);
    });
    Terminal &terminal = attach();
    terminal.type_at_prompt("help\r");
    terminal.expect("all of them\r\n");
    terminal.type_at_prompt("help dump_all\r");
    terminal.expect("about help dump_all\r\n");
}

TEST_F(Prompt, GoesOnAfterAFailure) {
    answer = with_commands(kCommands, [](const std::string &line) -> Reply {
        return line == "dum" ? diagnostic("\"dum\" could be dump_all, dump_node\n") + exit_frame(2) : echo(line).bytes;
    });
    Terminal &terminal = attach();
    terminal.type_at_prompt("dum\r");
    terminal.expect("could be dump_all, dump_node\r\n");
    terminal.type_at_prompt("dump_all\r");
    terminal.expect("[dump_all]\r\n");
    terminal.type_at_prompt("x" + std::string(4200, 'y') + "\r");
    terminal.expect("4095 bytes");
    terminal.type_at_prompt("quit\r");
    EXPECT_EQ(terminal.finish(), 0);
}

TEST_F(Prompt, StartsOnALineOfItsOwn) {
    answer = with_commands(kCommands, [](const std::string &) { return output("no line end") + exit_frame(0); });
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_all\r");
    terminal.expect("no line end\r\n");
    terminal.expect(kPrompt);
}

TEST_F(Prompt, StartsOnALineOfItsOwnAfterAMessageWithoutAnEndToo) {
    answer = with_commands(kCommands, [](const std::string &line) { return diagnostic("no " + line) + exit_frame(2); });
    Terminal &terminal = attach();
    terminal.type_at_prompt("one\r");
    terminal.expect("quib: no one\r\n");
    terminal.type_at_prompt("two\r");
    terminal.expect("quib: no two\r\n");
}

TEST_F(Prompt, DropsTheLineAtControlC) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_all");
    terminal.expect("dump_all");
    terminal.type(kControlC);
    terminal.expect("^C");
    terminal.type_at_prompt(kControlC);
    terminal.type_at_prompt("get_fe\r");
    terminal.expect("[get_fe]");
    terminal.type_at_prompt("quit\r");
    EXPECT_EQ(terminal.finish(), 0);
    EXPECT_THAT(demo().lines(), ElementsAre("get_fe"));
}

TEST_F(Prompt, GivesUpWaitingAtControlC) {
    answer = with_commands(
        kCommands, [](const std::string &line) { return line == "dump_all" ? Reply(output("some\n")) : echo(line); });
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_all\r");
    terminal.expect("some\r\n");
    terminal.type(kControlC);
    wait_until([this] { return demo().operators() == 0; });
    terminal.type_at_prompt("get_fe\r");
    terminal.expect("[get_fe]\r\n");
    terminal.type_at_prompt(kControlD);
    EXPECT_EQ(terminal.finish(), 0);
}

TEST_F(Prompt, GivesUpWaitingInTime) {
    answer = with_commands(kCommands, [](const std::string &line) { return line == "x" ? Reply("") : echo(line); });
    start_module();
    Terminal terminal({"--timeout", "2.5", "demo"}, environment());
    terminal.type_at_prompt("x\r");
    terminal.expect("quib: no answer from demo in 2.5 s\r\n");
    // On a machine that is busy enough any command may be given up, this one too.
    terminal.expect(kPrompt);
    std::string shown;
    do {
        terminal.type("dump_all\r");
        shown = terminal.expect(kPrompt);
    } while (shown.find("no answer from demo") != std::string::npos);
    EXPECT_THAT(shown, HasSubstr("[dump_all]\r\n"));
}

TEST_F(Prompt, EndsWhenTheModuleGoesAway) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("half a li");
    terminal.expect("half a li");
    end_module();
    EXPECT_EQ(terminal.finish(), 3);
    EXPECT_THAT(terminal.rest(), HasSubstr("quib: demo has gone away\r\n"));
}

TEST_F(Prompt, EndsWhenTheModuleGoesAwayInACommand) {
    answer = with_commands(kCommands, [](const std::string &) { return Reply(output("some\n"), true); });
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_all\r");
    EXPECT_EQ(terminal.finish(), 3);
    EXPECT_THAT(terminal.rest(), HasSubstr("some\r\nquib: demo has gone away\r\n"));
}

TEST_F(Prompt, ConnectsAgainAfterItWasIdle) {
    Terminal &terminal = attach();
    terminal.expect(kPrompt);
    demo().dismiss(diagnostic("closed after 10 minutes without a command\n"));
    terminal.expect("closed after 10 minutes without a command\r\n");
    wait_until([this] { return demo().operators() == 0; });
    terminal.type_at_prompt("dump_all\r");
    terminal.expect("[dump_all]\r\n");
    terminal.expect(kPrompt);
    demo().dismiss(diagnostic("closed after 10 minutes without a command\n"));
    terminal.expect("closed after 10 minutes without a command\r\n");
    end_module();
    terminal.type_at_prompt("dump_all\r");
    EXPECT_EQ(terminal.finish(), 3);
    EXPECT_THAT(terminal.rest(), HasSubstr("quib: cannot connect to demo: no process serves it\r\n"));
}

TEST_F(Prompt, EndsWhenItIsRefused) {
    const FakeModule full(socket("full"), echo, {diagnostic("8 operators are served already\n") + exit_frame(5), true});
    Terminal terminal({"full"}, environment());
    EXPECT_EQ(terminal.finish(), 5);
    EXPECT_EQ(terminal.rest(), "quib: 8 operators are served already\r\n");
}

TEST_F(Prompt, NeedsNoCommandsToComplete) {
    answer = [](const std::string &line) -> Reply {
        return line == ".commands" ? diagnostic("no command .commands\n") + exit_frame(2) : echo(line).bytes;
    };
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_all\r");
    terminal.expect("[dump_all]\r\n");
}

// The shell that started it gets its terminal back as it was.
TEST_F(Prompt, LeavesTheTerminalAsItWas) {
    Terminal &terminal = attach();
    terminal.expect(kPrompt);
    EXPECT_FALSE(terminal.echoes());
    kill(terminal.pid(), SIGTERM);
    EXPECT_EQ(terminal.finish(), 1000 + SIGTERM);
    EXPECT_TRUE(terminal.echoes());
}

TEST_F(Prompt, IsSuspendedAndResumed) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_");
    terminal.expect("dump_");
    terminal.type(kControlZ);
    int status = 0;
    ASSERT_EQ(waitpid(terminal.pid(), &status, WUNTRACED), terminal.pid());
    ASSERT_TRUE(WIFSTOPPED(status));
    EXPECT_TRUE(terminal.echoes());
    kill(terminal.pid(), SIGCONT);
    terminal.expect("demo> dump_");
    terminal.type("all\r");
    terminal.expect("[dump_all]\r\n");
}

// Keys typed to a program on a terminal whose output goes to a file are commands, without a prompt.
TEST_F(Prompt, IsForATerminalOnly) {
    start_module();
    EXPECT_THAT(run({"demo"}, "dump_all\n"), Prints("[dump_all]\n"));

    const std::string path = home() + "/output";
    int keys = -1;
    int terminal = -1;
    ASSERT_EQ(openpty(&keys, &terminal, nullptr, nullptr, nullptr), 0);
    const Execution execution(launch({"demo"}));
    const pid_t program = fork();
    if (program == 0) {
        dup2(terminal, STDIN_FILENO);
        dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDOUT_FILENO);
        execution.begin();
    }
    const std::string typed = std::string("dump_all\n") + kControlD;
    EXPECT_EQ(write(keys, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    int status = -1;
    waitpid(program, &status, 0);
    close(keys);
    close(terminal);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read_file(path), "[dump_all]\n");
}

TEST_F(Prompt, HasTheOperatorsOwnKeys) {
    std::ofstream(home() + "/.editrc") << "bind -s ^T dump_all\n";
    Terminal &terminal = attach();
    terminal.type_at_prompt(std::string("\024") + kReturn);
    terminal.expect("[dump_all]\r\n");
}

TEST_F(Prompt, EditsTheLine) {
    Terminal &terminal = attach();
    terminal.type_at_prompt(std::string("dumpall") + kLeft + kLeft + kLeft + "_" + kReturn);
    terminal.expect("[dump_all]\r\n");
    terminal.type_at_prompt(std::string("wrong") + kControlU + "get_fe url=\xc3\xa4\r");
    terminal.expect("[get_fe url=\xc3\xa4]\r\n");
    EXPECT_THAT(demo().lines(), ElementsAre("dump_all", "get_fe url=\xc3\xa4"));
}

class Tab : public Prompt {
protected:
    // The line that comes of these keys.
    std::string line_of(const std::string &keys) {
        Terminal &terminal = attach();
        const size_t before = demo().lines().size();
        terminal.type_at_prompt(keys + kReturn);
        wait_until([&] { return demo().lines().size() > before; });
        return demo().lines().back();
    }
};

TEST_F(Tab, CompletesCommands) {
    EXPECT_EQ(line_of("dump_a\t"), "dump_all");
    EXPECT_EQ(line_of("get\t1"), "get_fe 1");
    EXPECT_EQ(line_of("log\t5"), "log-level 5");
    EXPECT_EQ(line_of("d\tn\t"), "dump_node");
    EXPECT_EQ(line_of("he\t dump_n\t"), "help dump_node");
    EXPECT_EQ(line_of("zz\tz"), "zzz");
}

TEST_F(Tab, CompletesTheNamesOfArguments) {
    EXPECT_EQ(line_of("get\tn\t3 u\t/a"), "get_fe node=3 url=/a");
    EXPECT_EQ(line_of("get_fe url=/a \t5"), "get_fe url=/a node=5");
    EXPECT_EQ(line_of("get_fe url=\"a b\" \t5"), "get_fe url=\"a b\" node=5");
    EXPECT_EQ(line_of("get_fe url=a\\ \tb"), "get_fe url=a\\ b") << "the word goes on";
    EXPECT_EQ(line_of("set s\t1"), "set state=1");
    EXPECT_EQ(line_of("dump_all \tx"), "dump_all x");
}

TEST_F(Tab, ShowsWhatIsPossible) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("dump_\t");
    const std::string shown = terminal.expect("demo> dump_");
    EXPECT_THAT(shown, HasSubstr("dump_all   dump_node\r\n"));
    terminal.type("all\r");
    terminal.expect("[dump_all]\r\n");
    terminal.type_at_prompt("get_fe \t");
    terminal.expect("node=  url=\r\n");
}

class Recall : public Prompt {
protected:
    std::string history() const { return home() + "/.local/state/quib/history"; }

    void type_and_quit(const std::vector<std::string> &lines) {
        Terminal &terminal = attach();
        for (const std::string &line : lines) {
            terminal.type_at_prompt(line + kReturn);
            terminal.expect("[" + line + "]");
        }
        terminal.type_at_prompt(kControlD);
        ASSERT_EQ(terminal.finish(), 0);
    }
};

TEST_F(Recall, BringsBackLines) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("one\r");
    terminal.expect("[one]");
    terminal.type_at_prompt("two\r");
    terminal.expect("[two]");
    terminal.type_at_prompt(std::string(kUp) + kUp + kReturn);
    terminal.expect("[one]");
    terminal.type_at_prompt(std::string(kUp) + kUp + kDown + kReturn);
    terminal.expect("[one]");
    EXPECT_THAT(demo().lines(), ElementsAre("one", "two", "one", "one"));
}

TEST_F(Recall, FindsALineByAPartOfIt) {
    Terminal &terminal = attach();
    for (const std::string line : {"dump_all", "get_fe 1", "dump_node"}) {
        terminal.type_at_prompt(line + kReturn);
        terminal.expect("[" + line + "]");
    }
    terminal.type_at_prompt(std::string(kControlR) + "fe" + kReturn);
    terminal.expect("[get_fe 1]");
    EXPECT_EQ(demo().lines().size(), 4U);
}

TEST_F(Recall, SurvivesTheEnd) {
    type_and_quit({"one", "two"});
    Terminal &terminal = attach();
    terminal.type_at_prompt(std::string(kUp) + kReturn);
    terminal.expect("[two]");
}

TEST_F(Recall, SurvivesAKill) {
    Terminal &terminal = attach();
    terminal.type_at_prompt("one\r");
    terminal.expect("[one]");
    kill(terminal.pid(), SIGKILL);
    EXPECT_EQ(terminal.finish(), 1000 + SIGKILL);
    EXPECT_EQ(read_file(history()), "one\n");
}

TEST_F(Recall, KeepsALineOnce) {
    type_and_quit({"one", "two", "two", "one"});
    EXPECT_EQ(read_file(history()), "two\none\n");
}

TEST_F(Recall, IsThePropertyOfTheOperator) {
    type_and_quit({"one"});
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(history()).permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(std::filesystem::status(home() + "/.local/state/quib").permissions(), perms::owner_all);
}

TEST_F(Recall, IsBounded) {
    std::filesystem::create_directories(home() + "/.local/state/quib");
    std::ofstream file(history());
    for (int i = 0; i < 2000; ++i) {
        file << "line " << i << "\n";
    }
    file.close();
    type_and_quit({"one"});
    const std::string kept = read_file(history());
    EXPECT_EQ(std::count(kept.begin(), kept.end(), '\n'), 500);
    EXPECT_TRUE(kept.starts_with("line 1501\n"));
    EXPECT_TRUE(kept.ends_with("line 1999\none\n"));
}

}  // namespace

}  // namespace console_test
