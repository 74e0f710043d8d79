// Callbacks may call any function of their client.
#include "contract_test.h"

namespace mom_test {
namespace {

using Commands = std::vector<int32_t>;

class ReentrancyTest : public StoreTest {};
INSTANTIATE_OVER_STORES(ReentrancyTest);

int32_t scan(MomClient *client, MomMsgCb cb) {
    return ox_mom_scan_sync(client, kGlobalDb, Cap("").message(), 0, cb, nullptr);
}

int32_t value_of(const MomMsg *msg) {
    const auto *result = static_cast<const MomHashResult *>(msg->result);
    return reinterpret_cast<const CapTable *>(result->record)->int32_value;
}

std::string url_of(const MomMsg *msg) {
    const auto *result = static_cast<const MomHashResult *>(msg->result);
    return reinterpret_cast<const CapTable *>(result->record)->index->url;
}

TEST_P(ReentrancyTest, RequestsOfEveryKindFromANotification) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(follow<CapTable>(client), 0);
    slot().hook = [&client](MomClient *running, MomMsg *msg) {
        if (msg->cmd != OX_MOM_CMD_DELIVERED) {
            return;
        }
        slot().hook = nullptr;
        EXPECT_EQ(running, client.get());
        EXPECT_EQ(stored_int(client, "/a"), 1);
        EXPECT_EQ(put_int(client, "/b", 2), 0);
        EXPECT_EQ(put(client, Cap("/b", 3).message(), {kInt}, kCardDb), 0);
        EXPECT_EQ(set<CapGlbState>(client, true), 0);
        EXPECT_NE(ObjectPtr(ox_mom_get_sync(running, kGlobalDb, Single<CapGlbState>().message(), nullptr)), nullptr);
        EXPECT_EQ(scan(running, on_notification<1>), 0);
        EXPECT_EQ(slot(1).events.size(), 2u);
        EXPECT_EQ(del(client, Cap("/b").message()), 0);
        EXPECT_GE(ox_mom_client_fd(running), 0);
        EXPECT_EQ(ox_mom_client_connect_sync(running, 3), 0);
        EXPECT_EQ(url_of(msg), "/a") << "the message is valid to the end";
    };
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 4; }));
    EXPECT_EQ(slot().commands(), (Commands{29, 4, 4, 3}));
}

TEST_P(ReentrancyTest, ProcessInsideACallbackDeliversWhatFollows) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    for (int32_t value = 1; value <= 5; ++value) {
        ASSERT_EQ(put_int(client, "/a", value), 0);
    }
    slot().hook = [](MomClient *running, MomMsg *msg) {
        const size_t already = slot().events.size();
        const int32_t before = msg->cmd == OX_MOM_CMD_DELIVERED ? value_of(msg) : 0;
        if (already < 6) {
            EXPECT_TRUE(pump_until(running, [already] { return slot().events.size() > already; }));
        }
        EXPECT_EQ(msg->cmd == OX_MOM_CMD_DELIVERED ? value_of(msg) : 0, before) << "the outer message stays as it was";
    };
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() >= 6; }));
    ASSERT_EQ(slot().commands(), (Commands{29, 4, 4, 4, 4, 4}));
    for (size_t i = 1; i <= 5; ++i) {
        EXPECT_EQ(slot().events[i].as<CapTable>().int32_value, static_cast<int32_t>(i));
    }
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
}

TEST_P(ReentrancyTest, ProcessWithoutAnythingDueReturnsInsideACallbackToo) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    int32_t nested = -1;
    slot().hook = [&nested](MomClient *running, MomMsg *) { nested = ox_mom_client_process(running, 0); };
    ASSERT_EQ(ox_mom_client_process(client.get(), 1000), 1);
    EXPECT_EQ(nested, 0);
}

TEST_P(ReentrancyTest, SubscribingInsideACallback) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    slot(0).hook = [&client](MomClient *, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
            EXPECT_EQ(follow<CapTable>(client, on_notification<1>), 0);
            EXPECT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<2>), 0);
            EXPECT_TRUE(slot(1).events.empty()) << "confirmed later, not inside";
        }
    };
    ASSERT_TRUE(pump_until(client, [] { return slot(1).commands() == Commands{29}; }));
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(0).commands(), (Commands{29, 4}));
    EXPECT_EQ(slot(1).commands(), (Commands{29, 4}));
    EXPECT_EQ(slot(2).commands(), (Commands{4}));
}

TEST_P(ReentrancyTest, ReplacingItselfInsideACallback) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    slot().hook = [&client](MomClient *, MomMsg *) {
        if (slot().count(29) < 4) {
            EXPECT_EQ(follow<CapTable>(client), 0);
        }
    };
    ASSERT_TRUE(pump_until(client, [] { return slot().count(29) == 4; }));
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().commands(), (Commands{29, 29, 29, 29, 4}));
}

TEST_P(ReentrancyTest, RequestsInsideAScan) {
    const ClientPtr client = connect();
    for (int32_t value = 0; value < 10; ++value) {
        ASSERT_EQ(put_int(client, "/" + std::to_string(value), value), 0);
    }
    slot().hook = [&client](MomClient *running, MomMsg *msg) {
        const std::string url = url_of(msg);
        EXPECT_EQ(stored_int(client, url), value_of(msg));
        slot(1).events.clear();
        EXPECT_EQ(scan(running, on_notification<1>), 0) << "a scan inside a scan";
        EXPECT_EQ(slot(1).events.size(), 10u);
        EXPECT_EQ(put_int(client, url, value_of(msg) + 100), 0);
        EXPECT_EQ(url_of(msg), url);
    };
    ASSERT_EQ(scan(client.get(), on_notification<0>), 0);
    EXPECT_EQ(slot().events.size(), 10u);
    EXPECT_EQ(stored_int(client, "/3"), 103);
}

TEST_P(ReentrancyTest, NotificationsInsideAScanOnlyIfItsCallbackRunsTheClient) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<1>), 0);
    ASSERT_EQ(put_int(client, "/a", 2), 0);
    slot().hook = [](MomClient *running, MomMsg *msg) {
        EXPECT_TRUE(slot(1).events.empty());
        EXPECT_TRUE(pump_until(running, [] { return slot(1).events.size() == 2; }));
        EXPECT_EQ(value_of(msg), 2);
    };
    ASSERT_EQ(scan(client.get(), on_notification<0>), 0);
    EXPECT_EQ(slot(0).events.size(), 1u);
    EXPECT_EQ(slot(1).commands(), (Commands{29, 4}));
}

// From a callback that is given a hash: destroys the client, then reads what it was given.
void destroy_inside(MomClient *client, MomMsg *msg) {
    ox_mom_client_destroy(client);
    EXPECT_EQ(msg->client, client);
    EXPECT_EQ(msg->db, kGlobalDb);
    EXPECT_EQ(value_of(msg), 1) << "valid until the callback returns";
    EXPECT_EQ(url_of(msg), "/a");
}

TEST_P(ReentrancyTest, DestroyInsideANotification) {
    MomClient *client = connect().release();
    const ClientPtr writer = connect();
    Cap request("");
    ASSERT_EQ(ox_mom_subscribe(client, kGlobalDb, request.message(), 0, on_notification<0>, nullptr), 0);
    ASSERT_EQ(ox_mom_subscribe(client, kGlobalDb, request.message(), 0, on_notification<1>, nullptr), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot(0).count(29) == 1 && slot(1).count(29) == 1; }));
    for (Slot &each : recorder().slots) {
        each.hook = destroy_inside;
    }
    ASSERT_EQ(put_int(writer, "/a", 1), 0);
    ASSERT_EQ(put_int(writer, "/a", 2), 0);
    int32_t status = 0;
    while (status >= 0 && slot(0).count(4) + slot(1).count(4) == 0) {
        status = ox_mom_client_process(client, 1000);
    }
    EXPECT_EQ(status, OX_MOM_E_DESTROYED);
    EXPECT_EQ(slot(0).count(4) + slot(1).count(4), 1) << "whatever waited is gone with the client";
    EXPECT_EQ(put_int(writer, "/a", 3), 0);
}

TEST_P(ReentrancyTest, DestroyInsideAConfirmation) {
    MomClient *client = connect().release();
    ASSERT_EQ(ox_mom_subscribe(client, kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr), 0);
    ASSERT_EQ(ox_mom_subscribe(client, kGlobalDb, Cap("").message(), 0, on_notification<1>, nullptr), 0);
    slot(0).hook = slot(1).hook = [](MomClient *running, MomMsg *) { ox_mom_client_destroy(running); };
    EXPECT_EQ(ox_mom_client_process(client, 1000), OX_MOM_E_DESTROYED);
    EXPECT_EQ(slot(0).events.size() + slot(1).events.size(), 1u);
}

TEST_P(ReentrancyTest, DestroyInsideAFieldNotification) {
    MomClient *client = connect().release();
    const ClientPtr writer = connect();
    const int32_t fields[] = {kInt, kBool};
    const MomFieldCb cbs[] = {on_field<0>, on_field<0>};
    ASSERT_EQ(ox_mom_subscribe_field(client, kGlobalDb, Cap("/a").message(), 1, fields, cbs, nullptr, 2), 0);
    slot().hook = destroy_inside;
    ASSERT_EQ(put(writer, Cap("/a", 1).message(), {kInt, kBool}), 0);
    int32_t status = 0;
    while (status >= 0 && slot().events.empty()) {
        status = ox_mom_client_process(client, 1000);
    }
    EXPECT_EQ(status, OX_MOM_E_DESTROYED);
    EXPECT_EQ(slot().events.size(), 1u);
}

TEST_P(ReentrancyTest, DestroyInsideAScan) {
    MomClient *client = connect().release();
    const ClientPtr writer = connect();
    for (const char *url : {"/a", "/b", "/c"}) {
        ASSERT_EQ(put_int(writer, url, 1), 0);
    }
    slot().hook = [](MomClient *running, MomMsg *msg) {
        const std::string url = url_of(msg);
        ox_mom_client_destroy(running);
        EXPECT_EQ(url_of(msg), url);
    };
    EXPECT_EQ(scan(client, on_notification<0>), OX_MOM_E_DESTROYED);
    EXPECT_EQ(slot().events.size(), 1u);
    EXPECT_EQ(stored_state<CapTable>(writer).size(), 3u);
}

TEST_P(ReentrancyTest, DestroyInsideAScanInsideANotificationInsideProcess) {
    MomClient *client = connect().release();
    const ClientPtr writer = connect();
    ASSERT_EQ(put_int(writer, "/a", 1), 0);
    ASSERT_EQ(ox_mom_subscribe(client, kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr), 0);
    int32_t inner = 0;
    slot(0).hook = [&inner](MomClient *running, MomMsg *) { inner = scan(running, on_notification<1>); };
    slot(1).hook = destroy_inside;
    EXPECT_EQ(ox_mom_client_process(client, 1000), OX_MOM_E_DESTROYED);
    EXPECT_EQ(inner, OX_MOM_E_DESTROYED);
    EXPECT_EQ(slot(1).events.size(), 1u);
}

TEST_P(ReentrancyTest, DestroyInsideANestedProcess) {
    MomClient *client = connect().release();
    ASSERT_EQ(ox_mom_subscribe(client, kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr), 0);
    ASSERT_EQ(ox_mom_subscribe(client, kGlobalDb, Cap("").message(), 0, on_notification<1>, nullptr), 0);
    int32_t inner = 0;
    slot(0).hook = [&inner](MomClient *running, MomMsg *) { inner = ox_mom_client_process(running, 1000); };
    slot(1).hook = [](MomClient *running, MomMsg *) { ox_mom_client_destroy(running); };
    EXPECT_EQ(ox_mom_client_process(client, 1000), OX_MOM_E_DESTROYED);
    EXPECT_EQ(inner, OX_MOM_E_DESTROYED);
}

TEST_P(ReentrancyTest, AnotherClientMayBeUsedAndDestroyedInsideACallback) {
    const ClientPtr client = connect();
    ClientPtr other = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow<CapTable>(other, on_notification<1>), 0);
    slot(0).hook = [&other](MomClient *, MomMsg *) {
        if (other != nullptr) {
            EXPECT_EQ(put_int(other, "/a", 1), 0);
            EXPECT_TRUE(pump_until(other, [] { return slot(1).events.size() == 2; }));
            other.reset();
        }
    };
    ASSERT_TRUE(pump_until(client, [] { return slot(0).events.size() == 2; }));
    EXPECT_EQ(other, nullptr);
}

TEST_P(ReentrancyTest, TwoFollowersMayWriteToEachOther) {
    const ClientPtr first = connect();
    const ClientPtr second = connect();
    ASSERT_EQ(follow_field(first, Cap("/to-first").message(), kInt, on_field<0>), 0);
    ASSERT_EQ(follow_field(second, Cap("/to-second").message(), kInt, on_field<1>), 0);
    slot(0).hook = [&](MomClient *, MomMsg *msg) { EXPECT_EQ(put_int(first, "/to-second", value_of(msg) + 1), 0); };
    slot(1).hook = [&](MomClient *, MomMsg *msg) { EXPECT_EQ(put_int(second, "/to-first", value_of(msg) + 1), 0); };
    ASSERT_EQ(put_int(first, "/to-first", 0), 0);
    for (int rounds = 0; slot(1).events.size() < 50 && rounds < 1000; ++rounds) {
        ASSERT_GE(ox_mom_client_process(first.get(), 10), 0);
        ASSERT_GE(ox_mom_client_process(second.get(), 10), 0);
    }
    ASSERT_GE(slot(1).events.size(), 50u);
    EXPECT_EQ(slot(1).events[49].as<CapTable>().int32_value, 99);
}

}  // namespace
}  // namespace mom_test
