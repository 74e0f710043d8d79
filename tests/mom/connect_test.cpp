// Connecting databases.
#include "mom_test.h"

#include <csignal>
#include <cstdlib>
#include <fstream>

namespace mom_test {
namespace {

class ConnectTest : public StoreTest {
protected:
    ClientPtr unconnected() const { return ClientPtr(ox_mom_client_create(store().c_str())); }
};
INSTANTIATE_OVER_STORES(ConnectTest);

TEST_P(ConnectTest, EveryDatabaseFrom0To28CanBeConnected) {
    const ClientPtr client = unconnected();
    for (int32_t db = 0; db <= 28; ++db) {
        EXPECT_EQ(ox_mom_client_connect_sync(client.get(), db), 0) << db << ": " << ox_mom_last_error();
    }
}

TEST_P(ConnectTest, AnyOtherDatabaseIsRefused) {
    const ClientPtr client = unconnected();
    for (const int32_t db : {-1, 29, 32, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(ox_mom_client_connect_sync(client.get(), db), OX_MOM_E_ARGUMENT) << db;
        EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), db, on_reconnect, nullptr), OX_MOM_E_ARGUMENT) << db;
    }
}

TEST_P(ConnectTest, ConnectingAgainDoesNothing) {
    const ClientPtr client = connect({kGlobalDb});
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), 0);
    ASSERT_EQ(put_int(client, "/a", 2), 0);
    EXPECT_TRUE(pump_until(client, [] { return slot().events.size() == 2; }));
    EXPECT_EQ(slot().commands(), (std::vector<int32_t>{29, 4}));
}

TEST_P(ConnectTest, ADatabaseIsConnectedOnItsOwn) {
    const ClientPtr client = connect({kCardDb});
    EXPECT_EQ(put_int(client, "/a", 1), OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(error_of_read(client), OX_MOM_E_NOT_CONNECTED);
    ASSERT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), 0);
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(ConnectTest, NoRequestIsAnsweredBeforeItsDatabaseIsConnected) {
    const ClientPtr client = unconnected();
    const Cap cap("/a");
    const Single<CapGlbState> state(true);
    int32_t error = 0;
    MomFieldCb field_cb = on_field<0>;

    const HashResultPtr result = read(client, cap.message());
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->error_code, OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(result->record, nullptr);
    EXPECT_EQ(put(client, cap.message(), {kInt}), OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(ox_mom_get_sync(client.get(), kGlobalDb, state.message(), &error), nullptr);
    EXPECT_EQ(error, OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(ox_mom_set_sync(client.get(), kGlobalDb, state.message()), OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(del(client, cap.message()), OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(follow<CapTable>(client), OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(ox_mom_subscribe_field(client.get(), kGlobalDb, cap.message(), 1, &kInt, &field_cb, nullptr, 1),
              OX_MOM_E_NOT_CONNECTED);
    EXPECT_EQ(ox_mom_scan_sync(client.get(), kGlobalDb, cap.message(), 0, on_notification<0>, nullptr),
              OX_MOM_E_NOT_CONNECTED);
    EXPECT_STRNE(ox_mom_last_error(), "");
    EXPECT_TRUE(slot().events.empty());
}

TEST_P(ConnectTest, AReconnectionCallbackMayBeSetBeforeConnecting) {
    const ClientPtr client = unconnected();
    EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, nullptr, nullptr), 0);
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
    EXPECT_TRUE(recorder().reconnections.empty()) << "the first connection is no reconnection";
}

TEST_P(ConnectTest, AClientIsNeeded) {
    EXPECT_EQ(ox_mom_client_connect_sync(nullptr, kGlobalDb), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_client_set_reconnect_cb(nullptr, kGlobalDb, on_reconnect, nullptr), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_client_fd(nullptr), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_client_process(nullptr, 0), OX_MOM_E_ARGUMENT);
    EXPECT_NE(std::string(ox_mom_last_error()), "");
}

TEST_P(ConnectTest, AClientThatNeverConnectedCanRunAndGo) {
    const ClientPtr client = unconnected();
    EXPECT_GE(ox_mom_client_fd(client.get()), 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
}

class ServerConnectTest : public ServerTest {};
INSTANTIATE_OVER_SERVERS(ServerConnectTest);

TEST_P(ServerConnectTest, NobodyThereIsSaidAtOnceAndCanBeTriedAgain) {
    server().kill();
    const ClientPtr client(ox_mom_client_create(store().c_str()));
    ASSERT_NE(client, nullptr);
    const Stopwatch watch;
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_CONNECT);
    EXPECT_LT(watch.elapsed(), kRequestLimit);
    EXPECT_NE(std::string(ox_mom_last_error()).find(server().socket_path()), std::string::npos)
        << "the message names the place: " << ox_mom_last_error();
    EXPECT_EQ(put_int(client, "/a", 1), OX_MOM_E_NOT_CONNECTED);

    server().start();
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), 0) << ox_mom_last_error();
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(ServerConnectTest, AClosedPortIsNobodyThere) {
    const std::string name = "redis://127.0.0.1:" + std::to_string(test_support::unused_port());
    const ClientPtr client(ox_mom_client_create(name.c_str()));
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_CONNECT);
}

TEST_P(ServerConnectTest, AServerThatDoesNotAnswerRunsOutOfTime) {
    setenv("OX_MOM_TIMEOUT_MS", "200", 1);
    const ClientPtr client(ox_mom_client_create(store().c_str()));
    server().pause();
    const Stopwatch watch;
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_TIMEOUT);
    EXPECT_GE(watch.elapsed(), milliseconds(190));
    EXPECT_LT(watch.elapsed(), kLongEnough);
    server().resume();
    int32_t status = OX_MOM_E_TIMEOUT;
    while (status == OX_MOM_E_TIMEOUT && watch.elapsed() < kLongEnough) {  // a busy server may need some tries
        status = ox_mom_client_connect_sync(client.get(), kGlobalDb);
    }
    EXPECT_EQ(status, 0) << ox_mom_last_error();
}

TEST_P(ServerConnectTest, AFileThatIsNoSocketIsNobodyThere) {
    const test_support::PrivateDirectory directory;
    std::ofstream(directory.file("plain")) << "no socket";
    const ClientPtr client(ox_mom_client_create(("unix://" + directory.file("plain")).c_str()));
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_CONNECT);
}

class FewDatabasesTest : public ServerTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.databases = 16;
        return options;
    }
};
INSTANTIATE_OVER_SERVERS(FewDatabasesTest);

TEST_P(FewDatabasesTest, AreRefusedWithTheSettingToChange) {
    // The database itself exists on that server; the client could not be sure of the next one.
    for (const int32_t db : {kGlobalDb, kCardDb}) {
        const ClientPtr client(ox_mom_client_create(store().c_str()));
        ASSERT_NE(client, nullptr);
        EXPECT_EQ(ox_mom_client_connect_sync(client.get(), db), OX_MOM_E_REFUSED) << db;
        const std::string why = ox_mom_last_error();
        EXPECT_NE(why.find("databases"), std::string::npos) << why;
        EXPECT_NE(why.find("29"), std::string::npos) << why;
    }
}

class JustEnoughDatabasesTest : public ServerTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.databases = 29;
        return options;
    }
};
INSTANTIATE_OVER_SERVERS(JustEnoughDatabasesTest);

TEST_P(JustEnoughDatabasesTest, AreEnough) {
    const ClientPtr client = connect({0, kCardDb, kGlobalDb});
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(JustEnoughDatabasesTest, NothingIsLeftInTheLastOneByAsking) {
    const ClientPtr client = connect({0, kCardDb, kGlobalDb});
    RedisConnection raw = server().connection();
    EXPECT_EQ(raw.text({"INFO", "keyspace"}).find("db"), std::string::npos) << raw.text({"INFO", "keyspace"});
}

}  // namespace
}  // namespace mom_test
