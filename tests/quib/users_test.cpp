// Who may connect: programs and operators of several users.
#include "console.h"
#include "other_program.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

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
    ASSERT_EQ(chmod(root().c_str(), 0777), 0);
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

}  // namespace
}  // namespace quib_test
