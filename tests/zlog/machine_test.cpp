// What depends on the machine: /etc/trel_cap/zlog.conf and /proc, for a process with file systems of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ox_zlog.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "child.h"
#include "log_line.h"
#include "private_root.h"

namespace zlog_test {

namespace {

constexpr int kNotAllowed = 77;

bool enter_private_mounts() {
    return test_support::enter_private_root().empty() && mount("tmpfs", "/etc", "tmpfs", 0, nullptr) == 0 &&
           mkdir("/etc/trel_cap", 0755) == 0;
}

Outcome log_with_system_file(const char *variable) {
    return in_child([&] {
        if (!enter_private_mounts()) {
            return kNotAllowed;
        }
        std::ofstream("/etc/trel_cap/zlog.conf") << "[formats]\nf = \"system %m%n\"\n[rules]\n*.* >stderr; f\n";
        if (variable != nullptr) {
            setenv("OX_ZLOG_CONF", variable, 1);
        }
        say(ox_zlog_init("c"), "message");
        return 0;
    });
}

#define SKIP_UNLESS_ALLOWED(outcome)                                                                                   \
    if ((outcome).status == kNotAllowed) {                                                                             \
        GTEST_SKIP() << "this process may not have a mount namespace of its own";                                      \
    }

TEST(SystemFile, IsUsedWhenNoOtherIsNamed) {
    const Outcome outcome = log_with_system_file(nullptr);
    SKIP_UNLESS_ALLOWED(outcome)
    EXPECT_EQ(outcome.error_output, "system message\n");
}

TEST(SystemFile, GivesWayToTheOneThatIsNamed) {
    const TemporaryDirectory directory;
    const std::string conf = directory.write("zlog.conf", "[formats]\nf = \"named %m%n\"\n[rules]\n*.* >stderr; f\n");
    const Outcome outcome = log_with_system_file(conf.c_str());
    SKIP_UNLESS_ALLOWED(outcome)
    EXPECT_EQ(outcome.error_output, "named message\n");
}

TEST(SystemFile, StandsInForANamedOneThatIsMissing) {
    const Outcome outcome = log_with_system_file("/nonexistent");
    SKIP_UNLESS_ALLOWED(outcome)
    EXPECT_EQ(outcome.error_output,
              "ox_zlog: /nonexistent: named by OX_ZLOG_CONF, does not exist; using /etc/trel_cap/zlog.conf\n"
              "system message\n");
}

TEST(SystemFile, DoesNotStandInForANamedOneThatIsUnusable) {
    const TemporaryDirectory directory;
    const std::string conf = directory.write("zlog.conf", "nonsense\n");
    const Outcome outcome = log_with_system_file(conf.c_str());
    SKIP_UNLESS_ALLOWED(outcome)
    EXPECT_NE(outcome.error_output.find(" ERROR c speak:7 message\n"), std::string::npos) << outcome.error_output;
}

// The built-in rule then comes to zlog another way.
TEST(BuiltInRule, NeedsNoProcFileSystem) {
    const Outcome outcome = in_child([] {
        if (!enter_private_mounts() || mount("tmpfs", "/proc", "tmpfs", 0, nullptr) != 0) {
            return kNotAllowed;
        }
        say(ox_zlog_init("c"), "message");
        _exit(0);  // at a normal end LeakSanitizer would want /proc
    });
    SKIP_UNLESS_ALLOWED(outcome)
    EXPECT_THAT(outcome.error_output, testing::EndsWith(" ERROR c speak:7 message\n"));
}

}  // namespace

}  // namespace zlog_test
