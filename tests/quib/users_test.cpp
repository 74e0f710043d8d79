// Who may connect: programs and operators of several users.
#include "console.h"
#include "other_program.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace quib_test {
namespace {

using UsersTest = ConsoleTest;

TEST_F(UsersTest, AnotherUserIsRefusedEvenIfThePathIsOpen) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    ASSERT_EQ(chmod(root().c_str(), 0755), 0);
    ASSERT_EQ(chmod(directory().c_str(), 0755), 0);
    ASSERT_EQ(chmod(path().c_str(), 0666), 0);
    OtherProgram foreigner([this](const auto &say) {
        if (setresuid(65534, 65534, 65534) != 0) {
            return;
        }
        Operator its = connect();
        its.send("help\n");
        say("connected");
        while (its.receive()) {
            readable(its.fd(), milliseconds(100));
        }
        const auto answer = its.take_answer();
        say(answer ? answer->output + answer->errors + std::to_string(answer->code.value_or(-1)) : "no answer");
    });
    ASSERT_EQ(foreigner.heard(), "connected");
    settle();
    EXPECT_EQ(foreigner.heard(), "only the user who runs the program, and root, are served");
    EXPECT_EQ(foreigner.heard(), "5");
}

TEST_F(UsersTest, RootIsServedByAnotherUsersProgram) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    ASSERT_EQ(chmod(root().c_str(), 01777), 0);
    setenv("QUIB_DIR", (root() + "/theirs").c_str(), 1);
    OtherProgram theirs([](const auto &say) {
        if (setresuid(65534, 65534, 65534) == 0) {
            serve_module("n", say);
        }
    });
    ASSERT_EQ(theirs.heard(), "ready");
    Operator mine(root() + "/theirs/n");
    EXPECT_TRUE(mine.send("nothing\n"));
    EXPECT_TRUE(readable(mine.fd(), kLongEnough));
    mine.receive();
    EXPECT_EQ(mine.take_answer(), printed(""));
}

TEST_F(UsersTest, ADirectoryThatMayNotBeWrittenToIsToldOf) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    ASSERT_EQ(chmod(root().c_str(), 0755), 0);
    setenv("QUIB_DIR", (root() + "/theirs").c_str(), 1);
    ASSERT_EQ(mkdir((root() + "/theirs").c_str(), 0555), 0);
    testing::internal::CaptureStderr();
    OtherProgram theirs([](const auto &say) {
        if (setresuid(65534, 65534, 65534) == 0) {
            const ClientPtr client = make_client();
            say(std::to_string(quib_lib_init(client.get(), "n")));
        }
    });
    const std::string code = theirs.heard();
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(code, std::to_string(QUIB_E_SOCKET));
    EXPECT_EQ(said, "quib: cannot listen on " + root() + "/theirs/n: Permission denied\n");
}

TEST_F(UsersTest, NothingOnTheWayToTheDirectoryMayBeAnothers) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    ASSERT_EQ(chmod(root().c_str(), 0755), 0);
    ASSERT_EQ(mkdir((root() + "/theirs").c_str(), 0755), 0);
    ASSERT_EQ(chown((root() + "/theirs").c_str(), 65534, 65534), 0);
    ASSERT_EQ(mkdir((root() + "/theirs/mine").c_str(), 0700), 0);
    ASSERT_EQ(symlink(directory().c_str(), (root() + "/link").c_str()), 0);
    ASSERT_EQ(lchown((root() + "/link").c_str(), 65534, 65534), 0);
    for (const auto &[asked, theirs] : {std::pair("/theirs/mine", "/theirs"), {"/theirs/new", "/theirs"}}) {
        setenv("QUIB_DIR", (root() + asked).c_str(), 1);
        testing::internal::CaptureStderr();
        EXPECT_EQ(quib_lib_init(client(), "n"), QUIB_E_SOCKET);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "quib: " + root() + theirs + " on the way to " + root() + asked + " belongs to another user\n");
    }
    EXPECT_FALSE(exists(root() + "/theirs/new"));
    setenv("QUIB_DIR", (root() + "/link").c_str(), 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(quib_lib_init(client(), "n"), QUIB_E_SOCKET);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "quib: " + root() + "/link belongs to another user\n");
    EXPECT_FALSE(exists(path("n")));
}

TEST_F(UsersTest, AnothersLockKeepsNobodyAway) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    ASSERT_EQ(chmod(root().c_str(), 0755), 0);
    ASSERT_EQ(chmod(directory().c_str(), 0755), 0);
    for (int i = 0; i < 2; ++i) {
        OtherProgram dead([](const auto &say) { serve_module("n", say); });
        ASSERT_EQ(dead.heard(), "ready");
    }
    ASSERT_TRUE(exists(path("n")));
    OtherProgram theirs([this](const auto &say) {
        if (setresuid(65534, 65534, 65534) != 0) {
            return;
        }
        int locked = 0;
        for (const std::string &name : {directory(), directory() + "/.lock-0"}) {
            const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
            locked += fd >= 0 && flock(fd, LOCK_EX) == 0 ? 1 : 0;
        }
        say(std::to_string(locked));
        pause();
    });
    EXPECT_EQ(theirs.heard(), "1") << "the directory, not what the modules lock";
    EXPECT_EQ(quib_lib_init(client(), "n"), 0);
    EXPECT_TRUE(connect("n").connected());
}

TEST_F(UsersTest, ALockThatIsNeverGivenBackKeepsDeadSocketsOnly) {
    {
        OtherProgram dead([](const auto &say) { serve_module("n", say); });
        ASSERT_EQ(dead.heard(), "ready");
    }
    const int locked = open((directory() + "/.lock-" + std::to_string(geteuid())).c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(flock(locked, LOCK_EX), 0);
    EXPECT_EQ(quib_lib_init(client(), "n"), 0);
    EXPECT_FALSE(connect("n").connected());
    EXPECT_TRUE(connect("n.2").connected());
    close(locked);
}

}  // namespace
}  // namespace quib_test
