// Whom an operator talks to, and what of theirs reaches the terminal.
#include <pwd.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "console_test.h"
#include "fake_module.h"
#include "private_root.h"
#include "terminal.h"

namespace console_test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

constexpr uid_t kUser = 65534;
constexpr uid_t kOther = 65533;

std::string name_of(uid_t user) {
    const passwd *known = getpwuid(user);
    return known != nullptr ? known->pw_name : std::to_string(user);
}

// A module that another user runs, in a process of its own; it keeps the lines that it hears in a file.
class ModuleOfAnother {
public:
    ModuleOfAnother(uid_t user, const std::string &path, const std::string &heard, const Answer &answer,
                    mode_t mode = 0600)
        : pid_(fork()) {
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (setresuid(user, user, user) == 0) {
                const FakeModule module(path, [&](const std::string &line) {
                    std::ofstream(heard, std::ios::app) << line << "\n";
                    return answer(line);
                });
                chmod(path.c_str(), mode);
                pause();
            }
            _exit(1);
        }
        wait_until([&] { return fs::exists(path); });
    }
    ~ModuleOfAnother() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    ModuleOfAnother(const ModuleOfAnother &) = delete;
    ModuleOfAnother &operator=(const ModuleOfAnother &) = delete;

private:
    pid_t pid_;
};

class Trust : public ConsoleTest {
protected:
    const std::string theirs = home() + "/theirs";
    const std::string heard = home() + "/heard";

    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can become another user";
        }
        fs::permissions(fs::path(home()).parent_path(), fs::perms(0755));
        ASSERT_EQ(mkdir(theirs.c_str(), 0755), 0);
        ASSERT_EQ(chown(theirs.c_str(), kUser, kUser), 0);
        ASSERT_EQ(fclose(fopen(heard.c_str(), "w")), 0);
        ASSERT_EQ(chown(heard.c_str(), kUser, kUser), 0);
    }

    Outcome run_in(const std::string &where, const Arguments &arguments) const {
        Launch started = launch(arguments);
        started.environment["QUIB_DIR"] = where;
        return Program(started).finish();
    }
    Outcome run_as(uid_t user, const std::string &where, const Arguments &arguments) const {
        Launch started = launch(arguments);
        started.environment["QUIB_DIR"] = where;
        const std::string number = std::to_string(user);
        Arguments all = {"--reuid", number, "--regid", number, "--clear-groups", started.program};
        all.insert(all.end(), arguments.begin(), arguments.end());
        started.program = "/usr/bin/setpriv";
        started.arguments = all;
        return Program(started).finish();
    }
};

TEST_F(Trust, RootMeetsAnotherUsersModuleByThatUsersName) {
    const ModuleOfAnother demo(kUser, theirs + "/demo", heard, echo);
    const std::string name = name_of(kUser) + "/demo";
    EXPECT_THAT(run_in(theirs, {}).out, HasSubstr("\n" + name + "  "));
    EXPECT_THAT(run_in(theirs, {"-o", "json"}).out, HasSubstr("\"module\":\"" + name + "\""));
    EXPECT_THAT(run_in(theirs, {"demo", "secret"}),
                FailsWith(1, "no module \"demo\" in " + theirs + "; did you mean " + name + "?"));
    EXPECT_EQ(read_file(heard), "");
    EXPECT_THAT(run_in(theirs, {name, "x"}), Prints("[x]\n"));
    EXPECT_THAT(run_in(theirs, {std::to_string(kUser) + "/de", "x"}), Prints("[x]\n"));
    EXPECT_EQ(read_file(heard), "x\nx\n");
    EXPECT_THAT(run_in(theirs, {name_of(kUser) + "/other", "x"}), FailsWith(1, "no module"));
    EXPECT_THAT(run_in(theirs, {"nobody-at-all/demo", "x"}), FailsWith(1, "no module is called"));
}

TEST_F(Trust, InAnotherUsersDirectoryThereIsNothingOfRoots) {
    FakeModule own(socket("demo"), echo);
    const FakeModule inside(theirs + "/inside", echo);
    fs::create_symlink(socket("demo"), theirs + "/link");
    fs::create_hard_link(socket("demo"), theirs + "/hard");
    for (const char *name : {"link", "hard", "inside"}) {
        EXPECT_THAT(run_in(theirs, {name, "x"}), FailsWith(1, "no module")) << name;
    }
    EXPECT_THAT(run_in(theirs, {}), FailsWith(1, "no module in " + theirs));
    EXPECT_THAT(own.lines(), testing::IsEmpty());
}

TEST_F(Trust, ASocketIsServedByItsOwner) {
    FakeModule demo(socket("demo"), echo);
    ASSERT_EQ(chown(socket("demo").c_str(), kUser, kUser), 0);
    EXPECT_THAT(run({name_of(kUser) + "/demo", "x"}), FailsWith(3, "another user listens there"));
    EXPECT_THAT(run({}), FailsWith(1, "no module"));
    EXPECT_THAT(demo.lines(), testing::IsEmpty());
}

TEST_F(Trust, AnotherUsersDirectoryIsRefused) {
    const ModuleOfAnother demo(kUser, theirs + "/demo", heard, echo, 0666);
    for (const Arguments &arguments : {Arguments{}, {"demo", "x"}, {name_of(kUser) + "/demo", "x"}}) {
        EXPECT_THAT(run_as(kOther, theirs, arguments), FailsWith(3, theirs + " belongs to another user"));
    }
    EXPECT_EQ(read_file(heard), "");
    EXPECT_THAT(run_as(kUser, theirs, {"demo", "x"}), Prints("[x]\n"));
    EXPECT_THAT(run_as(kUser, theirs, {name_of(kUser) + "/demo", "x"}), Prints("[x]\n"));
}

TEST_F(Trust, ADirectoryThatOthersMayWriteToIsRefused) {
    const FakeModule demo(socket("demo"), echo);
    for (const mode_t mode : {0770U, 0707U, 01777U}) {
        ASSERT_EQ(chmod(directory().c_str(), mode), 0);
        EXPECT_THAT(run({"demo", "x"}), FailsWith(3, directory() + ": others may write there (mode ")) << mode;
    }
    ASSERT_EQ(chmod(directory().c_str(), 0755), 0);
    ASSERT_EQ(chmod(fs::path(directory()).parent_path().c_str(), 0777), 0);
    EXPECT_THAT(run({"demo", "x"}), FailsWith(3, " on the way to " + directory() + ": others may write there"));
}

TEST_F(Trust, InTheSharedDirectoryEveryUserMeetsHisOwn) {
    if (const std::string why = test_support::enter_private_root(); !why.empty()) {
        GTEST_SKIP() << "no /run of its own is to be had: " << why;
    }
    const std::string shared = "/run/quib";
    ASSERT_EQ(mount("private_run", "/run", "tmpfs", 0, "mode=0755"), 0);
    ASSERT_EQ(mkdir(shared.c_str(), 01777), 0);
    ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
    {
        const ModuleOfAnother first(kOther, shared + "/demo", "/dev/null", echo, 0666);
        EXPECT_THAT(run_as(kUser, shared, {"demo", "x"}), FailsWith(1, "no module \"demo\""));
        const auto says = [](const char *what) {
            return [what](const std::string &) { return output(what) + exit_frame(0); };
        };
        const ModuleOfAnother second(kUser, shared + "/demo.2", heard, says("user's"));
        const FakeModule third(shared + "/demo.3", says("root's"));
        EXPECT_THAT(run_as(kUser, shared, {"demo", "x"}), Prints("user's"));
        EXPECT_THAT(run_as(kUser, shared, {}).out, Not(HasSubstr("demo \n")));
        EXPECT_THAT(run_in(shared, {"demo", "x"}), Prints("root's"));
        const std::string all = run_in(shared, {}).out;
        for (const std::string &name :
             {name_of(kOther) + "/demo ", name_of(kUser) + "/demo.2 ", std::string("demo.3 ")}) {
            EXPECT_THAT(all, HasSubstr("\n" + name)) << "root sees all";
        }
    }
    umount2("/run", MNT_DETACH);
}

const Reply kHostile = output("\033[2Jt\xc3") + output("\xa4xt\xc2\x9b\x9b\xe2\x82\xac\r\x7f\xff\xc2") +
                       output("a\t\n") + diagnostic("\033]0;title\a\n") + exit_frame(0);
constexpr char kHarmless[] = "\\x1b[2Jt\xc3\xa4xt\xc2\\x9b\\x9b\xe2\x82\xac\\x0d\\x7f\\xff\xc2"
                             "a\t\n";

TEST_F(Trust, ControlCharactersOfOthersAreShown) {
    const ModuleOfAnother demo(kUser, theirs + "/demo", heard, [](const std::string &) { return kHostile; });
    const Outcome outcome = run_in(theirs, {name_of(kUser) + "/demo", "x"});
    EXPECT_EQ(outcome.out, kHarmless);
    EXPECT_EQ(outcome.err, "quib: \\x1b]0;title\\x07\n");
}

TEST_F(Trust, OnesOwnProgramsMayPrintAnything) {
    const FakeModule demo(socket("demo"), [](const std::string &) { return kHostile; });
    EXPECT_THAT(run({"demo", "x"}).out, HasSubstr("\033[2Jt"));
}

TEST_F(Trust, ControlCharactersOfOthersAreShownAtThePrompt) {
    const ModuleOfAnother demo(kUser, theirs + "/demo\033[2J", heard,
                               with_commands("one\033[2J\tvoid\none_more\tvoid\n"));
    Environment where = environment();
    where["QUIB_DIR"] = theirs;
    Terminal terminal({name_of(kUser) + "/demo"}, where);
    const std::string prompt = name_of(kUser) + "/demo?[2J> ";
    EXPECT_THAT(terminal.expect(prompt), Not(HasSubstr("\033[2J")));
    terminal.type("o\t\t");
    EXPECT_THAT(terminal.expect("one_more"), Not(HasSubstr("\033[2J")));
    terminal.type(kControlC);
    terminal.expect(prompt);
    terminal.type("x\r");
    EXPECT_THAT(terminal.expect("[x]\r\n"), Not(HasSubstr("\033[2J")));
}

}  // namespace

}  // namespace console_test
