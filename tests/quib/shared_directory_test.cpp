// The system's directory, where programs of all users meet.
#include "console.h"
#include "handlers.h"
#include "other_program.h"

#include "private_root.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace quib_test {
namespace {

constexpr char kShared[] = "/run/quib";
constexpr uid_t kUser = 65534;
constexpr uid_t kOther = 65533;

// On a /run of its own.
class SharedDirectoryTest : public ConsoleTest {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can become another user";
        }
        if (const std::string why = test_support::enter_private_root(); !why.empty()) {
            GTEST_SKIP() << "no /run of its own is to be had: " << why;
        }
        ASSERT_EQ(mount("private_run", "/run", "tmpfs", 0, "mode=0755"), 0) << std::strerror(errno);
        unsetenv("QUIB_DIR");
        unsetenv("XDG_RUNTIME_DIR");
        ConsoleTest::SetUp();
    }
    ~SharedDirectoryTest() override {
        destroy_client();
        umount2("/run", MNT_DETACH);
    }

    static std::string shared(const std::string &name) { return std::string(kShared) + "/" + name; }
    static struct stat status_of(const std::string &path) {
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status;
    }
    static std::unique_ptr<OtherProgram> as(uid_t user, const std::function<void(const OtherProgram::Say &)> &run) {
        return std::make_unique<OtherProgram>([=](const auto &say) {
            if (setresuid(user, user, user) == 0) {
                run(say);
            }
        });
    }
    static std::unique_ptr<OtherProgram> module_of(uid_t user, const std::string &name = "m") {
        auto program = as(user, [=](const auto &say) { serve_module(name, say); });
        EXPECT_EQ(program->heard(), "ready");
        return program;
    }
};

TEST_F(SharedDirectoryTest, IsMadeByRootForEveryUser) {
    EXPECT_EQ(status_of(kShared).st_mode, S_IFDIR | 01777U);
    const auto users = module_of(kUser);
    const auto others = module_of(kOther);
    const auto users_second = module_of(kUser);
    const std::pair<const char *, uid_t> owners[] = {{"m", 0}, {"m.2", kUser}, {"m.3", kOther}, {"m.4", kUser}};
    for (const auto &[name, owner] : owners) {
        EXPECT_EQ(status_of(shared(name)).st_uid, owner) << name;
        EXPECT_EQ(status_of(shared(name)).st_mode, S_IFSOCK | 0600U) << name;
        EXPECT_TRUE(Operator(shared(name)).connected()) << "root's";
    }
}

TEST_F(SharedDirectoryTest, KeepsModulesFromOtherUsers) {
    const auto users = module_of(kUser);
    const auto intruder = as(kOther, [](const auto &say) {
        for (const char *name : {"m", "m.2"}) {
            const bool harmless = !Operator(shared(name)).connected() && unlink(shared(name).c_str()) != 0 &&
                                  rename(shared(name).c_str(), shared("moved").c_str()) != 0;
            say(harmless ? "harmless" : "harm");
        }
    });
    EXPECT_EQ(intruder->heard(), "harmless");
    EXPECT_EQ(intruder->heard(), "harmless");
}

TEST_F(SharedDirectoryTest, IsLeftByTheDeadOfEveryUser) {
    module_of(kUser, "n")->kill();
    module_of(kUser, "n")->kill();
    EXPECT_TRUE(exists(shared("n")));
    const auto users = module_of(kUser, "n");
    EXPECT_EQ(status_of(shared("n")).st_uid, kUser);
    EXPECT_TRUE(Operator(shared("n")).connected());
    EXPECT_FALSE(exists(shared("n.2")));
}

TEST_F(SharedDirectoryTest, HasRoomForAModuleWhoseNamesOthersTook) {
    const auto intruder = as(kOther, [](const auto &say) {
        std::ofstream(shared("n")) << "text";
        std::ofstream(shared(".lock-" + std::to_string(kUser))) << "text";
        bool all = true;
        for (int i = 2; i <= 1200; ++i) {
            all = all && symlink("nowhere", shared("n." + std::to_string(i)).c_str()) == 0;
        }
        say(all ? "took them" : "did not");
    });
    ASSERT_EQ(intruder->heard(), "took them");
    const auto users = module_of(kUser, "n");
    const auto roots = module_of(0, "n");
}

TEST_F(SharedDirectoryTest, IsOpenedByRootWhenAnEarlierVersionHasMadeIt) {
    destroy_client();
    ASSERT_EQ(chmod(kShared, 0700), 0);
    const auto roots = module_of(0, "n");
    EXPECT_EQ(status_of(kShared).st_mode, S_IFDIR | 01777U);
    const auto users = module_of(kUser, "n");
}

TEST_F(SharedDirectoryTest, NeedsRootToBeMade) {
    destroy_client();
    ASSERT_EQ(rmdir(kShared), 0);
    testing::internal::CaptureStderr();
    const auto users = as(kUser, [](const auto &say) { serve_module("n", say); });
    EXPECT_EQ(users->heard(), std::to_string(QUIB_E_SOCKET));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "quib: cannot make /run/quib: Permission denied\n");
}

}  // namespace
}  // namespace quib_test
