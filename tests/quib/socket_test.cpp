// Where modules listen.
#include "console.h"
#include "handlers.h"
#include "other_program.h"

#include "quib/protocol.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace quib_test {
namespace {

class SocketTest : public ConsoleTest {
protected:
    ~SocketTest() override { umask(mask_); }

    static mode_t mode_of(const std::string &path) {
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status.st_mode;
    }

    int32_t init(const std::string &module) const {
        testing::internal::CaptureStderr();
        const int32_t code = quib_lib_init(client(), module.c_str());
        said_ = testing::internal::GetCapturedStderr();
        return code;
    }

    mutable std::string said_;  // on standard error, by the latest init()

private:
    mode_t mask_ = umask(022);
};

TEST_F(SocketTest, OnlyTheUserMayComeNear) {
    for (const mode_t mask : {0U, 022U, 077U}) {
        setenv("QUIB_DIR", (root() + "/" + std::to_string(mask)).c_str(), 1);
        umask(mask);
        ASSERT_EQ(init("n" + std::to_string(mask)), 0) << said_;
        EXPECT_EQ(mode_of(root() + "/" + std::to_string(mask)), S_IFDIR | 0700U);
        EXPECT_EQ(mode_of(root() + "/" + std::to_string(mask) + "/n" + std::to_string(mask)), S_IFSOCK | 0600U);
    }
}

TEST_F(SocketTest, TheDirectoryIsNamedByTheEnvironment) {
    unsetenv("QUIB_DIR");
    setenv("XDG_RUNTIME_DIR", root().c_str(), 1);
    ASSERT_EQ(init("n"), 0) << said_;
    EXPECT_TRUE(exists(root() + "/quib/n"));
    setenv("QUIB_DIR", "", 1);
    ASSERT_EQ(init("empty_is_unset"), 0) << said_;
    EXPECT_TRUE(exists(root() + "/quib/empty_is_unset"));
}

TEST_F(SocketTest, TheDirectoryIsTheSystemsWhenNothingNamesIt) {
    unsetenv("QUIB_DIR");
    for (const char *runtime : {static_cast<const char *>(nullptr), ""}) {
        runtime ? setenv("XDG_RUNTIME_DIR", runtime, 1) : unsetenv("XDG_RUNTIME_DIR");
        EXPECT_EQ(quib::socket_directory(), "/run/quib");
    }
}

TEST_F(SocketTest, WhatIsAboveTheDirectoryIsNotMade) {
    setenv("QUIB_DIR", (root() + "/missing/sockets").c_str(), 1);
    EXPECT_EQ(init("n"), QUIB_E_SOCKET);
    EXPECT_EQ(said_, "quib: cannot make " + root() + "/missing/sockets: No such file or directory\n");
    EXPECT_FALSE(exists(root() + "/missing"));
}

TEST_F(SocketTest, ADirectoryThatOthersMayWriteToIsRefused) {
    for (const mode_t mode : {0770U, 0707U, 01777U}) {
        ASSERT_EQ(chmod(directory().c_str(), mode), 0);
        EXPECT_EQ(init("n"), QUIB_E_SOCKET);
        EXPECT_THAT(said_, testing::StartsWith("quib: " + directory() + ": others may write there (mode ")) << mode;
    }
    ASSERT_EQ(chmod(directory().c_str(), 0755), 0);
    EXPECT_EQ(init("n"), 0) << said_;
    EXPECT_EQ(mode_of(directory()), S_IFDIR | 0755U) << "and is left as it is";
}

TEST_F(SocketTest, ADirectoryOfAnotherUserIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    ASSERT_EQ(chown(directory().c_str(), 65534, 65534), 0);
    EXPECT_EQ(init("n"), QUIB_E_SOCKET);
    EXPECT_EQ(said_, "quib: " + directory() + " belongs to another user\n");
}

TEST_F(SocketTest, TheWayToTheDirectoryIsKeptFromOthers) {
    setenv("QUIB_DIR", (root() + "/above/sockets").c_str(), 1);
    ASSERT_EQ(mkdir((root() + "/above").c_str(), 0700), 0);
    for (const mode_t mode : {0770U, 0707U, 0777U}) {
        ASSERT_EQ(chmod((root() + "/above").c_str(), mode), 0);
        EXPECT_EQ(init("n"), QUIB_E_SOCKET);
        EXPECT_THAT(said_, testing::StartsWith("quib: " + root() + "/above on the way to " + root() +
                                               "/above/sockets: others may write there (mode "));
        EXPECT_FALSE(exists(root() + "/above/sockets"));
    }
    ASSERT_EQ(chmod((root() + "/above").c_str(), 01777), 0);
    EXPECT_EQ(init("n"), 0) << said_;
}

TEST_F(SocketTest, LinksOnTheWayAreFollowed) {
    namespace fs = std::filesystem;
    fs::create_directory_symlink(root(), root() + "/absolute");
    fs::create_directory_symlink(".", root() + "/relative");
    fs::create_directory_symlink("../sockets", directory() + "/last");
    setenv("QUIB_DIR", (root() + "/absolute//relative/./sockets/../sockets/last").c_str(), 1);
    EXPECT_EQ(init("n"), 0) << said_;
    EXPECT_TRUE(exists(path("n")));
    fs::create_directory_symlink("circle", root() + "/circle");
    setenv("QUIB_DIR", (root() + "/circle").c_str(), 1);
    EXPECT_EQ(init("o"), QUIB_E_SOCKET);
    EXPECT_EQ(said_, "quib: cannot open " + root() + "/circle: Too many levels of symbolic links\n");
}

TEST_F(SocketTest, TheDirectoryMayBeNamedFromTheWorkingDirectory) {
    const std::filesystem::path here = std::filesystem::current_path();
    std::filesystem::current_path(root());
    setenv("QUIB_DIR", "sockets", 1);
    EXPECT_EQ(init("n"), 0) << said_;
    std::filesystem::current_path(here);
    EXPECT_TRUE(exists(path("n")));
    destroy_client();
    EXPECT_FALSE(exists(path("n")));
}

TEST_F(SocketTest, NeedsDescriptorsAndIsMadeWholeOrNotAtAll) {
    {
        OtherProgram dead([](const auto &say) { serve_module("n", say); });
        ASSERT_EQ(dead.heard(), "ready");
    }
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    testing::internal::CaptureStderr();
    const ClientPtr another = make_client();
    const int first_free = dup(STDERR_FILENO);
    close(first_free);
    int32_t code = QUIB_E_SOCKET;
    int failures = 0;
    for (; code != 0 && failures < 20; failures += code != 0 ? 1 : 0) {
        const rlimit fewer{.rlim_cur = static_cast<rlim_t>(first_free + failures), .rlim_max = before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &fewer), 0);
        code = quib_lib_init(another.get(), "n");
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
        EXPECT_TRUE(code == 0 || code == QUIB_E_SOCKET) << code;
        EXPECT_EQ(connect("n").connected(), code == 0);
    }
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(code, 0);
    EXPECT_GE(failures, 3) << "the timer, the directory and the socket";
    EXPECT_EQ(std::ranges::count(said, '\n'), failures) << "each tells why:\n" << said;
}

TEST_F(SocketTest, AFileInPlaceOfTheDirectoryIsRefused) {
    setenv("QUIB_DIR", (root() + "/file").c_str(), 1);
    std::ofstream(root() + "/file") << "text";
    EXPECT_EQ(init("n"), QUIB_E_SOCKET);
    EXPECT_EQ(said_, "quib: cannot open " + root() + "/file: Not a directory\n");
}

TEST_F(SocketTest, AFileInPlaceOfTheSocketIsLeftAlone) {
    std::ofstream(path("n")) << "text";
    EXPECT_EQ(init("n"), QUIB_E_SOCKET);
    EXPECT_EQ(said_, "quib: " + path("n") + " is in the way: it is no socket\n");
    EXPECT_TRUE(exists(path("n")));
}

TEST_F(SocketTest, MayHaveALongerPathThanSocketsHave) {
    std::string below = root();
    while (below.size() < 2 * sizeof sockaddr_un::sun_path) {
        below += "/and_still_further_down";
        ASSERT_EQ(mkdir(below.c_str(), 0700), 0);
    }
    setenv("QUIB_DIR", below.c_str(), 1);
    const std::string longest(QUIB_NAME_MAX, 'x');
    ASSERT_EQ(init(longest), 0) << said_;
    EXPECT_EQ(mode_of(below + "/" + longest), S_IFSOCK | 0600U);
    ASSERT_EQ(register_command("nothing", "void", nothing, longest.c_str()), 0);
    const std::filesystem::path here = std::filesystem::current_path();
    std::filesystem::current_path(below);
    std::filesystem::create_symlink(longest, "short");
    Operator mine("short");
    std::filesystem::current_path(here);
    EXPECT_EQ(ask(mine, "nothing"), printed(""));
}

TEST_F(SocketTest, GoesWithTheClient) {
    ASSERT_EQ(init("n"), 0);
    Operator mine = connect();
    settle();
    destroy_client();
    EXPECT_FALSE(exists(path("m")));
    EXPECT_FALSE(exists(path("n")));
    EXPECT_TRUE(exists(directory()));
    EXPECT_FALSE(mine.receive());
}

TEST_F(SocketTest, OfAnotherThatCameInItsPlaceStays) {
    ASSERT_EQ(unlink(path().c_str()), 0);
    std::ofstream(path()) << "another's";
    destroy_client();
    EXPECT_TRUE(exists(path()));
}

TEST_F(SocketTest, OfALivingProgramIsNotTaken) {
    OtherProgram other([](const auto &say) { serve_module("n", say); });
    ASSERT_EQ(other.heard(), "ready");
    EXPECT_EQ(init("n"), 0) << said_;
    ASSERT_EQ(register_command("nothing", "void", nothing, "n"), 0) << "by the name that was asked for";
    Operator second = connect("n.2");
    EXPECT_EQ(ask(second, "nothing"), printed("")) << "an instance of its own";
    Operator first = connect("n");
    EXPECT_TRUE(first.send("nothing\n"));
    EXPECT_TRUE(readable(first.fd(), kLongEnough)) << "it is still served";
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing"));
}

TEST_F(SocketTest, OfAProgramThatIsBusyIsNotTaken) {
    OtherProgram other([](const auto &say) {
        const ClientPtr its = make_client();
        say(std::to_string(quib_lib_init(its.get(), "n")));
        pause();
    });
    ASSERT_EQ(other.heard(), "0");
    struct stat its {};
    ASSERT_EQ(lstat(path("n").c_str(), &its), 0);
    std::vector<Operator> waiting;
    for (int i = 0; i < 40; ++i) {
        waiting.push_back(connect("n"));  // more than wait to be accepted there
        if (!waiting.back().connected()) {
            break;
        }
    }
    EXPECT_EQ(init("n"), 0) << said_;
    struct stat now {};
    ASSERT_EQ(lstat(path("n").c_str(), &now), 0);
    EXPECT_EQ(now.st_ino, its.st_ino);
    EXPECT_TRUE(connect("n.2").connected());
}

TEST_F(SocketTest, OfADeadProgramIsCleared) {
    for (int times = 0; times < 3; ++times) {
        OtherProgram other([](const auto &say) { serve_module("n", say); });
        ASSERT_EQ(other.heard(), "ready");
        other.kill();
        EXPECT_TRUE(exists(path("n")));
    }
    EXPECT_EQ(init("n"), 0) << said_;
    ASSERT_EQ(register_command("nothing", "void", nothing, "n"), 0);
    Operator mine = connect("n");
    EXPECT_EQ(ask(mine, "nothing"), printed(""));
}

TEST_F(SocketTest, OfDeadProgramsAreAllCleared) {
    {
        std::vector<std::unique_ptr<OtherProgram>> dead;
        for (int i = 0; i < 3; ++i) {
            dead.push_back(std::make_unique<OtherProgram>([](const auto &say) { serve_module("n", say); }));
            ASSERT_EQ(dead.back()->heard(), "ready");
        }
    }
    ASSERT_TRUE(exists(path("n.3")));
    std::ofstream(path("n.4")) << "text";
    EXPECT_EQ(init("n"), 0) << said_;
    EXPECT_TRUE(connect("n").connected());
    EXPECT_FALSE(exists(path("n.2")));
    EXPECT_FALSE(exists(path("n.3")));
    EXPECT_TRUE(exists(path("n.4"))) << "which is no socket";
}

TEST_F(SocketTest, OfADeadProgramIsTakenByOneOfManyAtOnce) {
    {
        OtherProgram dead([](const auto &say) { serve_module("n", say); });
        ASSERT_EQ(dead.heard(), "ready");
    }
    std::vector<std::unique_ptr<OtherProgram>> all;
    for (int i = 0; i < 6; ++i) {
        all.push_back(std::make_unique<OtherProgram>([](const auto &say) { serve_module("n", say); }));
    }
    std::vector<std::string> heard;
    for (const auto &each : all) {
        heard.push_back(each->heard());
    }
    EXPECT_EQ(std::ranges::count(heard, "ready"), 6);
    for (const char *name : {"n", "n.2", "n.3", "n.4", "n.5", "n.6"}) {
        Operator mine = connect(name);
        EXPECT_TRUE(mine.send("nothing\n")) << name;
        EXPECT_TRUE(readable(mine.fd(), kLongEnough)) << name;
    }
    EXPECT_FALSE(exists(path("n.7")));
}

TEST_F(SocketTest, NothingElseIsLeftBehind) {
    ASSERT_EQ(init("n"), 0);
    destroy_client();
    EXPECT_TRUE(std::filesystem::is_empty(directory()));
}

TEST_F(SocketTest, NothingIsPassedOnToProgramsThatAreStarted) {
    ASSERT_EQ(register_command("hook", "void", call_hook), 0);
    hook = [] { static_cast<void>(system("ls -l /proc/self/fd")); };  // NOLINT(cert-env33-c)
    Operator other = connect();
    const Answer answer = ask("hook");
    EXPECT_THAT(answer.output, testing::HasSubstr("1 -> /memfd:quib"));
    for (const char *of_the_console : {"socket:", "eventpoll", "timerfd"}) {
        EXPECT_THAT(answer.output, testing::Not(testing::HasSubstr(of_the_console)));
    }
    EXPECT_EQ(answer.output.find("/memfd:quib"), answer.output.rfind("/memfd:quib")) << answer.output;
}

}  // namespace
}  // namespace quib_test
