// The log level, and what a message is made of.

#include <cstring>

#include "allocations.h"
#include "library_test.h"
#include "thread_stack.h"

namespace trel_cap_tests {
namespace {

// Before any test has changed them.
const int32_t kInitialLevel = g_trel_cap_zlog_level;
void *const kInitialCategory = g_trel_cap_zlog_category;
const int32_t kInitialRegistrationBytes = g_trel_callback_reg_mem;

using LogLevel = LibraryTest;

TEST_F(LogLevel, StartsAtErrorsWithNowhereToLogTo) {
    EXPECT_EQ(kInitialLevel, 1);
    EXPECT_EQ(kInitialCategory, nullptr);
    EXPECT_EQ(kInitialRegistrationBytes, 32);
}

TEST_F(LogLevel, IsStoredWhateverItIsAndReportedFrom4On) {
    for (const int32_t level : {0, 1, 2, 3, 4, 5, 7, 1000, INT32_MAX, -1, INT32_MIN}) {
        for (const int32_t before : {0, 1, 4}) {
            platform.forget();
            g_trel_cap_zlog_level = before;
            trel_cap_log_level(level);
            EXPECT_EQ(g_trel_cap_zlog_level, level);
            expect_events({Log{40, "trel_cap_log_level", text("set debug level %d", level), kDiagnostics}});
        }
    }
}

TEST_F(LogLevel, IsStoredWithoutACategoryToo) {
    g_trel_cap_zlog_category = nullptr;
    trel_cap_log_level(4);
    EXPECT_EQ(g_trel_cap_zlog_level, 4);
    EXPECT_THAT(platform.events(), ::testing::IsEmpty());
}

using LogMessage = LibraryTest;

TEST_F(LogMessage, GoesToTheCategoryOfTheMoment) {
    platform.give_category(ScriptedPlatform::other_category());
    trel_cap_log_level(4);
    EXPECT_EQ(platform.last_log_category(), ScriptedPlatform::category());
    g_trel_cap_zlog_category = ScriptedPlatform::other_category();
    trel_cap_log_level(4);
    EXPECT_EQ(platform.last_log_category(), ScriptedPlatform::other_category());
}

TEST_F(LogMessage, WithoutACategoryIsDropped) {
    g_trel_cap_zlog_category = nullptr;
    uint8_t value = 0;
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(nullptr, nullptr, nullptr), -4);
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/a", &value), -21);
    EXPECT_EQ(trel_cap_ce_set_g_cap_bool(client, "/a", 1), 0);
    EXPECT_EQ(trel_cap_ce_get_glb_ready(client, &value), 0);
    EXPECT_THAT(platform.logs(), ::testing::IsEmpty());
}

// Everything behind the text is zero, up to the buffer's end.
TEST_F(LogMessage, ArrivesInAZeroedBufferOf1024BytesOnTheStack) {
    int looked_at = 0;
    platform.on_log = [&](const Log &log, const char *buffer) {
        ++looked_at;
        EXPECT_TRUE(test_support::is_on_this_stack(buffer));
        for (size_t i = log.text.size(); i < 1024; ++i) {
            ASSERT_EQ(buffer[i], '\0') << "at " << i;
        }
    };
    // A stack that is full of something else.
    const auto soil = [] {
        volatile char soiled[8192];
        for (volatile char &byte : soiled) {
            byte = 'x';
        }
    };
    uint8_t value = 0;
    soil();
    trel_cap_ce_get_g_cap_bool(client, "/a", &value);
    soil();
    trel_cap_ce_set_g_cap_int32(client, url_of_length(255).c_str(), -1);
    soil();
    trel_cap_ce_get_glb_ready(client, &value);
    soil();
    trel_cap_log_level(4);
    EXPECT_EQ(looked_at, 2 + 2 + 2 + 1);
}

TEST_F(LogMessage, IsCutTo1023Bytes) {
    trel_cap_dbg_inited = 1;
    const std::string name(2000, 'n');
    EXPECT_EQ(trel_cap_init(client, name.c_str()), 0);
    const std::string full = "reg_name " + name + " trel_cap_init success";
    EXPECT_THAT(platform.logs(), ::testing::Contains(Log{80, "trel_cap_init", full.substr(0, 1023)}));
}

TEST_F(LogMessage, AFormatInAnArgumentIsText) {
    uint8_t value = 0;
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/%s%n%d", &value), -21);
    EXPECT_THAT(platform.logs(),
                ::testing::Contains(Log{100, "trel_cap_ce_get_g_cap_bool", "url /%s%n%d, result NULL"}));
}

// Which number that is only the source knows; but each message has its own, and always the same one.
TEST_F(LogMessage, NamesTheLineThatItComesFrom) {
    uint8_t value = 0;
    const auto lines_of_a_round = [&] {
        platform.forget();
        trel_cap_ce_get_g_cap_bool(client, "/a", &value);     // enters, and gets no result
        trel_cap_ce_get_glb_ready(client, &value);            // enters, and gets no state
        trel_cap_ce_get_g_cap_bool(client, nullptr, &value);  // is refused
        return platform.log_lines();
    };
    const std::vector<long> lines = lines_of_a_round();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_NE(lines[0], lines[1]);
    EXPECT_NE(lines[2], lines[3]);
    EXPECT_NE(lines[4], lines[0]);
    EXPECT_EQ(lines_of_a_round(), lines);
}

TEST_F(LogMessage, AllocatesNothing) {
    trel_cap_dbg_inited = 1;
    const std::string name(2000, 'n');
    const char *const given = name.c_str();
    const test_support::AllocationCount allocations;
    trel_cap_log_level(4);
    EXPECT_EQ(trel_cap_init(client, given), 0);
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 1, 1), 0);
    EXPECT_EQ(trel_cap_set_g_cap_db_reconnect_cb(client, nullptr, nullptr), 0);
    EXPECT_EQ(allocations.count(), 0);
}

}  // namespace
}  // namespace trel_cap_tests
