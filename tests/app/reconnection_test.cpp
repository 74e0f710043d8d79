// The reconnection handler, and its installation anew.

#include "library_test.h"

namespace trel_cap_tests {
namespace {

class Reconnection : public LibraryTest {
protected:
    static constexpr const char *kHandler = "trel_cap_reconnect_db_config";
    static Log restored(int32_t db, int32_t type) {
        return {100, kHandler, text("con change and all db reconnected, db %d, type %d", db, type)};
    }
};

TEST_F(Reconnection, IsReportedAsAnError) {
    for (const auto &[db, type] : {std::pair{1, 1}, {28, 0}, {28, -1}, {0, 12345}}) {
        at_every_log_level([this, db = db, type = type] {
            EXPECT_EQ(trel_cap_reconnect_db_config(client, db, type), 0);
            const auto logs = platform.logs(kHandler);
            if (log_is_open()) {
                EXPECT_THAT(logs, ::testing::ElementsAre(restored(db, type)));
            } else {
                EXPECT_THAT(logs, ::testing::IsEmpty());
            }
        });
    }
}

TEST_F(Reconnection, MarksTheThreadWhileItLasts) {
    std::vector<int> flag_seen;
    platform.on_log = [&](const Log &log, const char *) {
        if (log.function == kHandler) {
            flag_seen.push_back(g_trel_cap_config_reconnect);
        }
    };
    g_trel_cap_zlog_level = 1;
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 1), 0);
    EXPECT_THAT(flag_seen, ::testing::ElementsAre(1));
    EXPECT_EQ(g_trel_cap_config_reconnect, 0);
}

TEST_F(Reconnection, ClearsTheMarkOfAnEarlierFailure) {
    g_trel_cap_config_reconnect = 1;
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 1), 0);
    EXPECT_EQ(g_trel_cap_config_reconnect, 0);
}

TEST_F(Reconnection, LeavesConnectionsAndHandlersToTheClient) {
    g_trel_cap_global = other_client;
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 1), 0);
    EXPECT_EQ(g_trel_cap_global, other_client);
    EXPECT_THAT(platform.calls("ox_mom_client_connect_sync"), ::testing::IsEmpty());
    EXPECT_THAT(platform.calls("ox_mom_client_set_reconnect_cb"), ::testing::IsEmpty());
}

TEST_F(Reconnection, WithoutAClientIsRefused) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_reconnect_db_config(nullptr, 28, 1), -4);
        EXPECT_EQ(g_trel_cap_config_reconnect, 0);
        expect_events({Log{100, kHandler, "client NULL pointer, addr error!\n"}});
    });
}

// The type that the client calls is the one that it is given.
TEST_F(Reconnection, HasTheFormOfAHandler) {
    const MomReconnectCb handler = trel_cap_reconnect_db_config;
    EXPECT_EQ(handler(client, 1, 1), 0);
}

class ReconnectionHandler : public LibraryTest {
protected:
    static constexpr const char *kName = "trel_cap_set_g_cap_db_reconnect_cb";
    static int32_t somebody_elses(MomClient *, int32_t, int32_t) {
        ADD_FAILURE() << "only the library's own handler may be called";
        return -1;
    }
    void *const fp = reinterpret_cast<void *>(somebody_elses);
    int data = 0;

    static Log installing(void *function) {
        return {40, kName, text("ox_mom_client_set_reconnect_cb cap db, fp %8p", function)};
    }
    static Log failed(void *function, int32_t status) {
        return {100, kName, text("ox_mom_client_set_reconnect_cb cap failed, fp %pF, rv %d", function, status)};
    }
};

TEST_F(ReconnectionHandler, IsTheLibrarysWhateverIsGiven) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_set_g_cap_db_reconnect_cb(client, fp, &data), 0);
        expect_events({installing(fp), call::client_set_reconnect_cb(client, 28, trel_cap_reconnect_db_config, &data)});
    });
}

TEST_F(ReconnectionHandler, WithoutAClientIsRefused) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_set_g_cap_db_reconnect_cb(nullptr, fp, &data), -4);
        expect_events({Log{100, kName, "client NULL pointer, addr error!\n"}});
    });
}

TEST_F(ReconnectionHandler, TakesNoUserDataToo) {
    EXPECT_EQ(trel_cap_set_g_cap_db_reconnect_cb(other_client, fp, nullptr), 0);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(call::client_set_reconnect_cb(
                                      other_client, 28, trel_cap_reconnect_db_config, nullptr)));
}

TEST_F(ReconnectionHandler, PrintsAShortPointerInAWideField) {
    auto *const low = reinterpret_cast<void *>(uintptr_t{0x10});  // NOLINT(performance-no-int-to-ptr)
    platform.client_set_reconnect_cb.always(-3);
    EXPECT_EQ(trel_cap_set_g_cap_db_reconnect_cb(client, low, &data), -3);
    EXPECT_THAT(platform.logs(),
                ::testing::ElementsAre(Log{40, kName, "ox_mom_client_set_reconnect_cb cap db, fp     0x10"},
                                       Log{100, kName, "ox_mom_client_set_reconnect_cb cap failed, fp 0x10F, rv -3"}));
}

TEST_F(ReconnectionHandler, ReturnsTheClientsAnswer) {
    for (const int32_t code : {-101, -1, 6}) {
        platform.client_set_reconnect_cb.always(code);
        at_every_log_level([this, code] {
            EXPECT_EQ(trel_cap_set_g_cap_db_reconnect_cb(client, fp, &data), code);
            expect_events({installing(fp),
                           call::client_set_reconnect_cb(client, 28, trel_cap_reconnect_db_config, &data),
                           failed(fp, code)});
        });
    }
}

}  // namespace
}  // namespace trel_cap_tests
