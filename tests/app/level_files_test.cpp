// Logging set-up: the files that set the log level, and the logging category.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "level_files.h"
#include "library_test.h"

namespace trel_cap_tests {
namespace {

class LevelFiles : public LibraryTest {
protected:
    static constexpr const char *kApp = "router";

    void SetUp() override {
        TREL_CAP_NEEDS_PRIVATE_ROOT();
        g_trel_cap_zlog_level = 1;
    }

    // Only what this set-up says.
    static Log level_set(int32_t level) {
        return {40, "trel_cap_log_level", text("set debug level %d", level), kDiagnostics};
    }
    static Log level_read(int32_t level) {
        return {40, "trel_cap_log_level_init", text("g_trel_cap_zlog_level: %d", level), kDiagnostics};
    }
};

TEST_F(LevelFiles, WithoutFilesTheLevelStays) {
    for (const int32_t level : kLogLevels) {
        g_trel_cap_zlog_level = level;
        EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
        EXPECT_EQ(g_trel_cap_zlog_level, level);
    }
}

// One decimal number: leading blanks and a sign may stand before it, what follows it does not matter.
TEST_F(LevelFiles, HoldOneDecimalNumber) {
    const std::vector<std::pair<std::string, int32_t>> contents = {
        {"0", 0},
        {"1", 1},
        {"4", 4},
        {"4\n", 4},
        {"7", 7},
        {"  3", 3},
        {"+2", 2},
        {"-1", -1},
        {"  -5\n", -5},
        {"2abc", 2},
        {"3 4", 3},
        {"4.9", 4},
        {"0x4", 0},
        {"010", 10},
        {"", 0},
        {"\n", 0},
        {"none", 0},
        {"- 3", 0},
        {"12345", 12345},
        {"2147483647", INT32_MAX},
        {"-2147483648", INT32_MIN},
        {"2147483648", INT32_MAX},
        {"-99999999999", INT32_MIN},
        {std::string("3\0"
                     "4",
                     3),
         3},
    };
    for (const std::string &file : {kCommonLevelFile, std::string(kApp)}) {
        ASSERT_EQ(test_support::enter_private_root(), "");
        for (const auto &[content, level] : contents) {
            write_level_file(file, content);
            g_trel_cap_zlog_level = 99;
            EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
            EXPECT_EQ(g_trel_cap_zlog_level, level) << file << " with '" << content << "'";
        }
    }
}

TEST_F(LevelFiles, CountUpTo14Bytes) {
    const std::vector<std::pair<std::string, int32_t>> contents = {
        {"            42", 42},  // 14 bytes
        {"             42", 4},  // 15
        {"              4", 0},  // 15, the number behind
        {"00000000000003", 3},   // 14
        {"000000000000034", 3},  // 15
        {"0000000000000000000007", 0},
    };
    for (const std::string &file : {kCommonLevelFile, std::string(kApp)}) {
        ASSERT_EQ(test_support::enter_private_root(), "");
        for (const auto &[content, level] : contents) {
            write_level_file(file, content);
            g_trel_cap_zlog_level = 99;
            EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
            EXPECT_EQ(g_trel_cap_zlog_level, level) << file << " with '" << content << "'";
        }
    }
}

TEST_F(LevelFiles, TheApplicationsOverridesTheCommonOne) {
    write_level_file(kCommonLevelFile, "4");
    write_level_file(kApp, "2");
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 2);
    write_level_file(kApp, "");
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 0);
    EXPECT_EQ(trel_cap_zlog_init("switch"), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 4) << "another application's file is not read";
}

TEST_F(LevelFiles, AreReadOnly) {
    write_level_file(kCommonLevelFile, "4");
    write_level_file(kApp, "3");
    ASSERT_EQ(test_support::set_data_writable(false), "");
    EXPECT_EQ(trel_cap_zlog_init("switch"), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 4);
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 3);
    ASSERT_EQ(test_support::set_data_writable(true), "");
}

TEST_F(LevelFiles, ThatCannotBeReadLeaveTheLevelAlone) {
    std::filesystem::create_directories(kLevelDirectory + kCommonLevelFile);
    std::filesystem::create_directories(kLevelDirectory + kApp);
    g_trel_cap_zlog_level = 3;
    const size_t before = open_descriptors();
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 3);
    EXPECT_EQ(open_descriptors(), before);
}

// A FIFO would be waited for, and a device takes the opening for an order, or reads as some level.
TEST_F(LevelFiles, AreRegularFiles) {
    std::filesystem::create_directories(kLevelDirectory);
    ASSERT_EQ(mkfifo((kLevelDirectory + kCommonLevelFile).c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/zero", kLevelDirectory + kApp);
    g_trel_cap_zlog_level = 3;
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 3);

    // One that somebody does write into is none either.
    const int writer = open((kLevelDirectory + kCommonLevelFile).c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(write(writer, "4\n", 2), 2);
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 3);
    close(writer);
}

TEST_F(LevelFiles, MayBeLinks) {
    write_level_file("elsewhere", "4");
    std::filesystem::create_symlink("elsewhere", kLevelDirectory + kCommonLevelFile);
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 4);
}

TEST_F(LevelFiles, AreClosed) {
    write_level_file(kCommonLevelFile, "4");
    write_level_file(kApp, "2");
    const size_t before = open_descriptors();
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(open_descriptors(), before);
}

// The path has room for 127 bytes; what a name has beyond them is not looked at.
TEST_F(LevelFiles, ThePathIsCutTo127Bytes) {
    const std::string name(127, 'n');
    write_level_file(name.substr(0, 127 - kLevelDirectory.size()), "3");
    EXPECT_EQ(trel_cap_zlog_init(name.c_str()), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 3);
}

// Both numbers go through trel_cap_log_level(), which reports one of 4 or more; in the end the outcome is reported.
TEST_F(LevelFiles, ReportLevelsOf4OrMore) {
    write_level_file(kCommonLevelFile, "7");
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 7);
    EXPECT_THAT(platform.logs(), ::testing::ElementsAre(level_set(7), level_read(7)));

    platform.forget();
    write_level_file(kApp, "4");
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_THAT(platform.logs(), ::testing::ElementsAre(level_set(7), level_set(4), level_read(4)));

    platform.forget();
    write_level_file(kApp, "3");
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_THAT(platform.logs(), ::testing::ElementsAre(level_set(7)));

    platform.forget();
    write_level_file(kApp, "-1");
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_THAT(platform.logs(), ::testing::ElementsAre(level_set(7), level_set(-1), level_read(-1)));
}

TEST_F(LevelFiles, AHighLevelThatWasThereBeforeIsReported) {
    g_trel_cap_zlog_level = 4;
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_THAT(platform.events(), ::testing::ElementsAre(Event(level_read(4)), Event(call::zlog_init("trel_cap"))));
}

// The files are read before the category is opened: the first time, nothing can be said about them.
TEST_F(LevelFiles, WithoutACategoryNothingIsReported) {
    g_trel_cap_zlog_category = nullptr;
    write_level_file(kCommonLevelFile, "7");
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 7);
    EXPECT_THAT(platform.events(), ::testing::ElementsAre(Event(call::zlog_init("trel_cap"))));
    EXPECT_EQ(g_trel_cap_zlog_category, ScriptedPlatform::category());
}

TEST_F(LevelFiles, AreReadBeforeTheCategoryIsOpened) {
    write_level_file(kCommonLevelFile, "4");
    write_level_file(kApp, "5");
    EXPECT_EQ(trel_cap_zlog_init(kApp), 0);
    EXPECT_THAT(platform.events(), ::testing::ElementsAre(Event(level_set(4)), Event(level_set(5)),
                                                          Event(level_read(5)), Event(call::zlog_init("trel_cap"))));
}

TEST_F(LevelFiles, WithoutANameNothingIsRead) {
    write_level_file(kCommonLevelFile, "4");
    EXPECT_EQ(trel_cap_zlog_init(nullptr), -4);
    EXPECT_EQ(g_trel_cap_zlog_level, 1);
}

// The rest does not depend on the files, though it looks for them.
class LoggingSetUp : public LibraryTest {
protected:
    // So that a host's own level files are not seen. Where that cannot be had, there are none.
    void SetUp() override { test_support::enter_private_root(); }
};

TEST_F(LoggingSetUp, WithoutANameIsRefused) {
    at_every_log_level([this] {
        g_trel_cap_zlog_category = ScriptedPlatform::category();
        EXPECT_EQ(trel_cap_zlog_init(nullptr), -4);
        expect_events({Log{100, "trel_cap_zlog_init", "reg_name NULL pointer, addr error!\n", kDiagnostics}});

        g_trel_cap_zlog_category = nullptr;
        EXPECT_EQ(trel_cap_zlog_init(nullptr), -4);
        expect_events({});
        EXPECT_EQ(g_trel_cap_zlog_category, nullptr);
    });
}

TEST_F(LoggingSetUp, OpensTheCategoryAnewEveryTime) {
    g_trel_cap_zlog_level = 1;
    g_trel_cap_zlog_category = nullptr;
    platform.zlog_init.then(ScriptedPlatform::other_category());
    EXPECT_EQ(trel_cap_zlog_init("router"), 0);
    EXPECT_EQ(g_trel_cap_zlog_category, ScriptedPlatform::other_category());
    EXPECT_EQ(trel_cap_zlog_init("router"), 0);
    EXPECT_EQ(g_trel_cap_zlog_category, ScriptedPlatform::category());
    EXPECT_THAT(platform.events(),
                ::testing::ElementsAre(Event(call::zlog_init("trel_cap")), Event(call::zlog_init("trel_cap"))));
}

TEST_F(LoggingSetUp, ACategoryThatCannotBeOpenedIsNoFailure) {
    platform.zlog_init.always(nullptr);
    for (void *const before : {static_cast<void *>(nullptr), ScriptedPlatform::category()}) {
        platform.forget();
        g_trel_cap_zlog_level = 1;
        g_trel_cap_zlog_category = before;
        EXPECT_EQ(trel_cap_zlog_init("router"), 0);
        EXPECT_EQ(g_trel_cap_zlog_category, nullptr);
        EXPECT_THAT(platform.logs(), ::testing::IsEmpty());
    }
}

}  // namespace
}  // namespace trel_cap_tests
