// Standard output, while a command runs and afterwards.
#include "other_program.h"
#include "output.h"

#include <pty.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdlib>

namespace quib_test {
namespace {

bool same_file(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

TEST_F(OutputTest, WhateverWayItIsPrinted) {
    const Answer answer = answer_of([] {
        printf("%s %d\n", "printf", 1);
        puts("puts");
        fflush(stdout);
        static_cast<void>(write(STDOUT_FILENO, "write\n", 6));
        static_cast<void>(system("echo child; echo grandchild | cat"));  // NOLINT(cert-env33-c)
        fputs("no end of line", stdout);
    });
    EXPECT_EQ(answer, printed("printf 1\nputs\nwrite\nchild\ngrandchild\nno end of line"));
}

// Descriptor FD leads into a pipe that nobody reads, as long as this lives; a SIGPIPE would end the test.
class BrokenPipe {
public:
    explicit BrokenPipe(int fd) : fd_(fd), usual_(fcntl(fd, F_DUPFD_CLOEXEC, 3)) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        dup2(ends[1], fd_);
        close(ends[0]);
        close(ends[1]);
        signal(SIGPIPE, SIG_DFL);
    }
    BrokenPipe(const BrokenPipe &) = delete;
    BrokenPipe &operator=(const BrokenPipe &) = delete;
    ~BrokenPipe() {
        dup2(usual_, fd_);
        close(usual_);
    }

private:
    int fd_;
    int usual_;
};

TEST_F(OutputTest, OfTheProgramThatNobodyReadsEndsNoCommand) {
    fflush(stdout);
    const BrokenPipe broken(STDOUT_FILENO);
    setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    fputs("for nobody", stdout);
    EXPECT_EQ(answer_of([] { puts("for the operator"); }), printed("for the operator\n"));
}

TEST_F(OutputTest, OfTheConsoleThatNobodyReadsEndsNoProgram) {
    const BrokenPipe broken(STDERR_FILENO);
    setenv("QUIB_DIR", "/proc/nowhere", 1);
    EXPECT_EQ(quib_lib_init(client(), "another"), QUIB_E_SOCKET);
}

TEST_F(OutputTest, BytesOfEveryKind) {
    std::string every(256, '\0');
    for (size_t i = 0; i < every.size(); ++i) {
        every[i] = static_cast<char>(i);
    }
    EXPECT_EQ(answer_of([&] { fwrite(every.data(), 1, every.size(), stdout); }), printed(every));
}

TEST_F(OutputTest, TheStatusTellsTheExitCode) {
    for (const auto &[status, code] : {std::pair(0, 0), {1, 0}, {INT_MAX, 0}, {-1, 1}, {-11, 1}, {INT_MIN, 1}}) {
        status_to_return = status;
        const Answer answer = answer_of([] { puts("printed anyway"); });
        EXPECT_EQ(answer, (Answer{.output = "printed anyway\n", .errors = "", .code = code})) << status;
    }
}

TEST_F(OutputTest, AFailureThatPrintsNothingIsTold) {
    const auto failing_with = [this](int32_t status) {
        status_to_return = status;
        return answer_of([] {});
    };
    EXPECT_EQ(failing_with(-22), refused("hook failed with status -22", 1));
    EXPECT_EQ(failing_with(OX_MOM_E_LOST),
              refused("hook failed with status -108: the connection to the store is lost", 1));
    EXPECT_EQ(failing_with(0), printed(""));
    EXPECT_EQ(failing_with(1), printed(""));
}

TEST_F(OutputTest, AFailureThatTheStatusKeepsSilentIsTold) {
    const auto fail = [] {
        puts("printed anyway");
        EXPECT_EQ(quib_fail_mod_cmd(0), QUIB_E_ARGUMENT);
        EXPECT_EQ(quib_fail_mod_cmd(1), QUIB_E_ARGUMENT);
        EXPECT_EQ(quib_fail_mod_cmd(OX_MOM_E_TIMEOUT), 0);
    };
    EXPECT_EQ(answer_of(fail), (Answer{.output = "printed anyway\n",
                                       .errors = "hook failed with status -109: the store did not answer in time\n",
                                       .code = 1}));
    status_to_return = -1;
    EXPECT_EQ(answer_of(fail), (Answer{.output = "printed anyway\n", .errors = "", .code = 1})) << "its own counts";
    status_to_return = 0;
    EXPECT_EQ(answer_of([] {}), printed("")) << "it was of that command alone";
    EXPECT_EQ(quib_fail_mod_cmd(-1), QUIB_E_MODULE) << "no command runs";
}

TEST_F(OutputTest, WhatTheProgramPrintsBeforeAndAfterIsItsOwn) {
    Operator mine = connect();
    const OutputFile file(root() + "/output");
    printf("before, not flushed;");
    hook = [] { printf("the command's"); };
    EXPECT_EQ(ask(mine, "hook"), printed("the command's"));
    printf("after");
    EXPECT_EQ(file.content(), "before, not flushed;after");
}

TEST_F(OutputTest, DescriptorOneIsWhatItWas) {
    Operator mine = connect();
    const OutputFile file(root() + "/output");
    for (const int flags : {FD_CLOEXEC, 0}) {
        struct stat before {};
        struct stat during {};
        struct stat after {};
        ASSERT_EQ(fcntl(STDOUT_FILENO, F_SETFD, flags), 0);
        ASSERT_EQ(fstat(STDOUT_FILENO, &before), 0);
        hook = [&during] { fstat(STDOUT_FILENO, &during); };
        EXPECT_EQ(ask(mine, "hook"), printed(""));
        ASSERT_EQ(fstat(STDOUT_FILENO, &after), 0);
        EXPECT_FALSE(same_file(before, during));
        EXPECT_TRUE(same_file(before, after));
        EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFD), flags);
    }
}

TEST_F(OutputTest, DescriptorOneIsWhatItWasWhateverOperatorsDo) {
    struct stat before {};
    ASSERT_EQ(fstat(STDOUT_FILENO, &before), 0);
    ASSERT_EQ(register_command("much", "%d", say_much), 0);
    std::optional<Operator> leaving;
    hook = [&] {
        puts("in the middle");
        leaving.reset();
    };
    const auto leave = [this] {
        pump_until([] { return !take_calls().empty(); });
        settle();
    };
    const std::function<void()> deeds[] = {
        [&] {
            leaving.emplace(connect());
            leaving->send("hook\n");
            settle();
            EXPECT_FALSE(leaving) << "it was called";
        },
        [&] {
            connect().send("much 20\n");  // and is gone before the module sees it
            leave();
        },
        [&] {
            Operator slow = connect();
            slow.send("much 20\n");
            leave();
        },
        [&] {
            Operator first = connect();
            Operator second = connect();
            first.send("much 1\nmuch 1\n");
            second.send("much 1\nmuch 1\n");
            for (Operator *each : {&first, &second, &first, &second}) {
                EXPECT_EQ(answer_to(*each).output.size(), kMegabyte);
            }
        },
    };
    for (const auto &deed : deeds) {
        deed();
        struct stat after {};
        ASSERT_EQ(fstat(STDOUT_FILENO, &after), 0);
        EXPECT_TRUE(same_file(before, after));
    }
}

TEST_F(OutputTest, AProgramThatPrintsFirstInACommandIsBufferedAsElsewhere) {
    int operators_side = -1;
    int programs_side = -1;
    ASSERT_EQ(openpty(&operators_side, &programs_side, nullptr, nullptr, nullptr), 0);
    const OtherProgram fresh([programs_side](const auto &) {
        dup2(programs_side, STDOUT_FILENO);
        execl(QUIB_FRESH_PROGRAM, QUIB_FRESH_PROGRAM, nullptr);
    });
    ASSERT_TRUE(pump_until([this] { return connect("fresh").connected(); }));
    Operator mine = connect("fresh");
    EXPECT_TRUE(mine.send("say hello\n"));
    EXPECT_EQ(answer_to(mine), printed("hello\n"));
    ASSERT_TRUE(readable(operators_side, kLongEnough)) << "a terminal sees lines as they are printed";
    std::string line(100, '\0');
    line.resize(static_cast<size_t>(std::max<ssize_t>(0, read(operators_side, line.data(), line.size()))));
    EXPECT_EQ(line, "the program's own\r\n");
    close(operators_side);
    close(programs_side);
}

TEST_F(OutputTest, DescriptorOneThatWasClosedIsClosedAgain) {
    Operator mine = connect();
    settle();
    const OutputFile file(root() + "/output");
    close(STDOUT_FILENO);
    hook = [] { puts("heard"); };
    for (int times = 0; times < 3; ++times) {
        EXPECT_EQ(ask(mine, "hook"), printed("heard\n"));
        EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFD), -1);
    }
}

TEST_F(OutputTest, NothingOfTheConsoleTakesThePlaceOfAClosedDescriptorOne) {
    hook = [] { puts("heard"); };
    const OutputFile file(root() + "/output");
    close(STDOUT_FILENO);
    Operator mine = connect();  // takes it, and is what the command must not write to
    ASSERT_EQ(mine.fd(), STDOUT_FILENO);
    const int moved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    close(STDOUT_FILENO);
    settle();
    EXPECT_EQ(fcntl(STDOUT_FILENO, F_GETFD), -1) << "the module's end of the connection";
    ASSERT_EQ(dup2(moved, STDOUT_FILENO), STDOUT_FILENO);
    EXPECT_EQ(ask(mine, "hook"), printed("heard\n"));
    close(moved);
}

TEST_F(OutputTest, ACommandMayRedirectIt) {
    const std::string path = root() + "/collected";
    const Answer answer = answer_of([&path] {
        puts("first");
        fflush(stdout);
        const int saved = dup(STDOUT_FILENO);
        const int file = open(path.c_str(), O_CREAT | O_RDWR, 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
        puts("collected");
        fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        close(saved);
        puts("last");
    });
    EXPECT_EQ(answer, printed("first\nlast\n"));
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "collected\n");
}

TEST_F(OutputTest, ACommandMayLeaveItClosedOrElsewhere) {
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(fstat(STDOUT_FILENO, &before), 0);
    EXPECT_EQ(answer_of([] {
                  puts("said");
                  fflush(stdout);
                  close(STDOUT_FILENO);
              }),
              printed("said\n"));
    EXPECT_EQ(answer_of([] {
                  puts("said");
                  fflush(stdout);
                  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
                  dup2(null, STDOUT_FILENO);
                  close(null);
                  puts("lost");
              }),
              printed("said\n"));
    ASSERT_EQ(fstat(STDOUT_FILENO, &after), 0);
    EXPECT_TRUE(same_file(before, after));
}

TEST_F(OutputTest, MegabytesArrive) {
    const Answer answer = answer_of([] {
        for (int i = 0; i < 500000; ++i) {
            printf("line %d of a long answer\n", i);
        }
    });
    EXPECT_EQ(answer.code, 0);
    EXPECT_EQ(std::ranges::count(answer.output, '\n'), 500000);
    EXPECT_TRUE(answer.output.ends_with("line 499999 of a long answer\n"));
}

}  // namespace
}  // namespace quib_test
