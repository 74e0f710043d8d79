// What threads have of their own, and what they share.

#include <atomic>
#include <thread>

#include "level_files.h"
#include "library_test.h"

namespace trel_cap_tests {
namespace {

class Threads : public LibraryTest {
protected:
    Threads() {
        test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
        g_trel_cap_zlog_level = 1;
    }

    template <class Body>
    static void on_another_thread(Body body) {
        std::thread(body).join();
    }
};

TEST_F(Threads, StartWithNothing) {
    g_trel_cap_global = client;
    trel_cap_dbg_inited = 1;
    g_trel_cap_config_reconnect = 1;
    on_another_thread([] {
        EXPECT_EQ(g_trel_cap_global, nullptr);
        EXPECT_EQ(trel_cap_dbg_inited, 0);
        EXPECT_EQ(g_trel_cap_config_reconnect, 0);
    });
}

TEST_F(Threads, EachStartsTheLibraryForItself) {
    EXPECT_EQ(trel_cap_init(client, "one"), 0);
    platform.forget();
    on_another_thread([this] {
        EXPECT_EQ(trel_cap_init(other_client, "two"), 0);
        EXPECT_EQ(g_trel_cap_global, other_client);
        EXPECT_EQ(trel_cap_dbg_inited, 1);
    });
    EXPECT_THAT(platform.calls("ox_mom_client_connect_sync"),
                ::testing::ElementsAre(call::client_connect_sync(other_client, 1),
                                       call::client_connect_sync(other_client, 28)));
    EXPECT_EQ(g_trel_cap_global, client);
    EXPECT_THAT(platform.logs(), ::testing::Not(::testing::Contains(Log{100, "trel_cap_init", "muli_thread"})));
}

// Even one with a client that another thread has started with.
TEST_F(Threads, TheSameClientIsNewOnAnotherThread) {
    EXPECT_EQ(trel_cap_init(client, "one"), 0);
    platform.forget();
    on_another_thread([this] { EXPECT_EQ(trel_cap_init(client, "two"), 0); });
    EXPECT_EQ(platform.calls("ox_zlog_init").size(), 1U);
    EXPECT_EQ(platform.calls("ox_mom_client_connect_sync").size(), 2U);
    EXPECT_EQ(platform.calls("ox_mom_client_set_reconnect_cb").size(), 2U);
}

TEST_F(Threads, TheLatestLoggingCategoryIsEverybodys) {
    EXPECT_EQ(trel_cap_init(client, "one"), 0);
    EXPECT_EQ(g_trel_cap_zlog_category, ScriptedPlatform::category());
    platform.zlog_init.always(ScriptedPlatform::other_category());
    on_another_thread([this] { EXPECT_EQ(trel_cap_init(other_client, "two"), 0); });
    EXPECT_EQ(g_trel_cap_zlog_category, ScriptedPlatform::other_category());
    EXPECT_EQ(trel_cap_init(nullptr, "one"), -4);
    EXPECT_EQ(platform.last_log_category(), ScriptedPlatform::other_category());
}

TEST_F(Threads, TheLogLevelIsEverybodys) {
    on_another_thread([] { trel_cap_log_level(3); });
    EXPECT_EQ(g_trel_cap_zlog_level, 3);
}

TEST_F(Threads, ALaterThreadsStartReadsTheLevelFilesAgain) {
    TREL_CAP_NEEDS_PRIVATE_ROOT();
    EXPECT_EQ(trel_cap_init(client, "one"), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 1);
    platform.forget();
    write_level_file(kCommonLevelFile, "7");
    on_another_thread([this] { EXPECT_EQ(trel_cap_init(other_client, "two"), 0); });
    EXPECT_EQ(g_trel_cap_zlog_level, 7);
    EXPECT_THAT(platform.logs(),
                ::testing::IsSupersetOf({Log{40, "trel_cap_log_level", "set debug level 7", kDiagnostics},
                                         Log{40, "trel_cap_log_level_init", "g_trel_cap_zlog_level: 7", kDiagnostics},
                                         Log{80, "trel_cap_init", "reg_name two trel_cap_init success"}}));
}

TEST_F(Threads, AReconnectionMarksTheThreadItRunsOn) {
    g_trel_cap_config_reconnect = 1;
    on_another_thread([this] {
        EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 1), 0);
        EXPECT_EQ(g_trel_cap_config_reconnect, 0);
    });
    EXPECT_EQ(g_trel_cap_config_reconnect, 1);
}

// For the thread sanitizer above all: the shared variables are written while others read them.
TEST_F(Threads, UseTheLibraryAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            MomClient *const own = i % 2 == 0 ? client : other_client;
            failures += trel_cap_init(own, "one") != 0;
            Message message(4, HashAnswer::found(cap_table("/a", {{6, 1}}), {6}));
            for (int round = 0; round < kRounds; ++round) {
                std::array<char, 16> url{};
                uint8_t value = 0;
                uint32_t length = 0;
                trel_cap_log_level(round % 3);
                failures += trel_cap_zlog_init("one") != 0;
                failures += trel_cap_ce_get_g_cap_bool_by_pmsg(message.get(), 16, url.data(), &value, &length) != 0;
                failures += trel_cap_ce_get_g_cap_bool(own, nullptr, &value) != -4;
                failures += value != 1;
                failures += trel_cap_ce_set_g_cap_bool(own, "/a", 1) != 0;
            }
            failures += g_trel_cap_global != own;
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace trel_cap_tests
