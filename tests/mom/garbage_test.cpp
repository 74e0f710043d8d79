// Servers that hold or publish what is not the client's.
#include "mom_test.h"
#include "standard_error.h"

#include "mom/records/notification.h"

#include <algorithm>
#include <random>

namespace mom_test {
namespace {

const std::string kBad = "\xff\xff\xff\xff";

class GarbageTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        raw_ = std::make_unique<RedisConnection>(server().connection());
        raw().must({"SELECT", std::to_string(kGlobalDb)});
    }

    RedisConnection &raw() { return *raw_; }

    void spoil(const std::string &url, const std::string &field) {
        raw().must({"HSET", "p_libpub.cap_table:" + url, field, kBad});
    }

    std::string key_of_the_set() {
        for (const std::string &key : raw().list({"KEYS", "*"})) {
            if (raw().text({"TYPE", key}) == "set") {
                return key;
            }
        }
        ADD_FAILURE() << "there is no set";
        return "";
    }

    // On every channel of a type or a record.
    int publish_everywhere(const std::string &payload) {
        const std::vector<std::string> channels = raw().list({"PUBSUB", "CHANNELS", "mom:[0-9]*"});
        for (const std::string &channel : channels) {
            raw().must({"PUBLISH", channel, payload});
        }
        return static_cast<int>(channels.size());
    }

private:
    std::unique_ptr<RedisConnection> raw_;
};
INSTANTIATE_OVER_SERVERS(GarbageTest);

TEST_P(GarbageTest, AKeyOfAnotherKindIsSaidToBe) {
    const ClientPtr client = connect();
    raw().must({"SET", "p_libpub.cap_table:/a", "text"});
    raw().must({"RPUSH", "s_frame.cap_glb_state", "item"});
    const HashResultPtr result = read(client, Cap("/a").message());
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->error_code, OX_MOM_E_TYPE);
    EXPECT_EQ(result->record, nullptr);
    EXPECT_EQ(put_int(client, "/a", 1), OX_MOM_E_TYPE);
    EXPECT_EQ(raw().text({"GET", "p_libpub.cap_table:/a"}), "text");
    int32_t error = 0;
    EXPECT_EQ(ox_mom_get_sync(client.get(), kGlobalDb, Single<CapGlbState>().message(), &error), nullptr);
    EXPECT_EQ(error, OX_MOM_E_TYPE);
    EXPECT_EQ(put_int(client, "/b", 1), 0) << "and the connection goes on";
}

// Followers are told whose key it was, and that there is nothing more to tell.
TEST_P(GarbageTest, AKeyOfAnotherKindIsDeleted) {
    const ClientPtr client = connect();
    const ClientPtr follower = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(follow<CapTable>(follower, on_notification<0>), 0);
    ASSERT_EQ(follow<CapGlbState>(follower, on_notification<1>), 0);
    ASSERT_EQ(follow_field(follower, Cap("/a").message(), kInt, on_field<2>), 0);
    ASSERT_TRUE(settle(follower, client));
    slot(0).events.clear();
    slot(1).events.clear();
    raw().must({"SET", "p_libpub.cap_table:/a", "text"});
    raw().must({"RPUSH", "s_frame.cap_glb_state", "item"});
    EXPECT_EQ(del(client, Cap("/a").message()), 0);
    EXPECT_EQ(del(client, Single<CapGlbState>().message()), 0);
    EXPECT_EQ(raw().must({"EXISTS", "p_libpub.cap_table:/a", "s_frame.cap_glb_state"})->integer, 0);
    EXPECT_EQ(raw().must({"EXISTS", "records:p_libpub.cap_table"})->integer, 0);
    ASSERT_TRUE(settle(follower, client));
    for (const int number : {0, 1, 2}) {
        ASSERT_EQ(slot(number).commands(), (std::vector<int32_t>{OX_MOM_CMD_DELETED})) << number;
    }
    const auto &told = slot(0).events[0].as<CapTable>();
    EXPECT_STREQ(told.index->url, "/a");
    EXPECT_EQ(told.int32_value, 0);
}

TEST_P(GarbageTest, ASetOfAnotherKindIsSaidToBe) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    const std::string set = key_of_the_set();
    raw().must({"SET", set, "text"});
    EXPECT_EQ(ox_mom_scan_sync(client.get(), kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr),
              OX_MOM_E_TYPE);
    EXPECT_EQ(put_int(client, "/b", 1), OX_MOM_E_TYPE);
    EXPECT_TRUE(slot().events.empty());
}

TEST_P(GarbageTest, ASetThatIsLostIsMadeAnewByWrites) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(put_int(client, "/b", 1), 0);
    raw().must({"DEL", key_of_the_set()});
    EXPECT_TRUE(stored_state<CapTable>(client).empty());
    ASSERT_EQ(put_int(client, "/a", 2), 0);
    ASSERT_EQ(put_int(client, "/b", 2), 0);
    EXPECT_EQ(stored_state<CapTable>(client).size(), 2u);
}

TEST_P(GarbageTest, AKeyOfAnotherKindGetsNoPlaceAmongTheRecords) {
    const ClientPtr client = connect();
    raw().must({"SET", "p_libpub.cap_table:/a", "text"});
    EXPECT_EQ(put_int(client, "/a", 1), OX_MOM_E_TYPE);
    EXPECT_EQ(raw().must({"EXISTS", "records:p_libpub.cap_table"})->integer, 0);
}

TEST_P(GarbageTest, ARecordThatDoesNotDecodeIsNeverReadInPart) {
    const ClientPtr client = connect();
    ASSERT_EQ(put(client, Cap("/a", 1).message(), {kBool, kInt}), 0);
    for (const std::string &bad : {kBad, std::string("\x38"), std::string("\x42\x05xy"), std::string("\x00", 1)}) {
        raw().must({"HSET", "p_libpub.cap_table:/a", "7", bad});
        const HashResultPtr result = read(client, Cap("/a").message());
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->error_code, OX_MOM_E_DECODE);
        EXPECT_EQ(result->record, nullptr);
    }
    EXPECT_EQ(put_int(client, "/a", 3), 0) << "writing the field anew repairs it";
    EXPECT_EQ(stored_int(client, "/a"), 3);
}

TEST_P(GarbageTest, AnObjectThatDoesNotDecodeIsAnError) {
    const ClientPtr client = connect();
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    ASSERT_EQ(raw().text({"TYPE", "s_frame.cap_glb_state"}), "string");
    raw().must({"SET", "s_frame.cap_glb_state", kBad});
    int32_t error = 0;
    EXPECT_EQ(ox_mom_get_sync(client.get(), kGlobalDb, Single<CapGlbState>().message(), &error), nullptr);
    EXPECT_EQ(error, OX_MOM_E_DECODE);
    StandardError printed;
    EXPECT_TRUE(stored_state<CapGlbState>(client).empty());
    EXPECT_NE(printed.text().find("s_frame.cap_glb_state"), std::string::npos) << printed.text();
    EXPECT_EQ(printed.lines(), 1);
    EXPECT_EQ(set<CapGlbState>(client, true), 0);
}

TEST_P(GarbageTest, AScanReportsSkipsAndGoesOn) {
    const ClientPtr client = connect();
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(put_int(client, "/" + std::to_string(i), i), 0);
    }
    spoil("/7", "7");
    StandardError printed;
    EXPECT_EQ(stored_state<CapTable>(client).size(), 19u);
    EXPECT_NE(printed.text().find("p_libpub.cap_table:/7"), std::string::npos) << printed.text();
    EXPECT_EQ(printed.lines(), 1) << printed.text();
}

TEST_P(GarbageTest, MembersOfTheSetThatAreNoRecordsAreSkipped) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/good", 1), 0);
    const std::string set = key_of_the_set();
    raw().must({"RPUSH", "p_libpub.cap_table:/list", "item"});
    raw().must({"SET", "other", "text"});
    raw().must({"SADD", set, "", "nonsense", kBad, "other", "p_libpub.cap_table:/missing", "p_libpub.cap_table:/list",
                "p_libpub.cap_table", set});
    StandardError printed;
    EXPECT_EQ(stored_state<CapTable>(client).size(), 1u);
    EXPECT_NE(printed.text().find("p_libpub.cap_table:/list"), std::string::npos) << printed.text();
}

TEST_P(GarbageTest, ANotificationThatDoesNotDecodeIsReportedAndFollowingGoesOn) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(put_int(writer, "/bad", 1), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow_field(client, Cap("/bad").message(), kBool, on_field<1>), 0);
    spoil("/bad", "7");
    StandardError printed;
    put(writer, Cap("/bad").message(), {kBool});  // whose notification carries the spoilt field
    ASSERT_EQ(put_int(writer, "/good", 2), 0);
    ASSERT_TRUE(settle(client, writer));
    EXPECT_EQ(slot(0).commands(), (std::vector<int32_t>{29, 4}));
    EXPECT_EQ(slot(0).events.back().as<CapTable>().int32_value, 2);
    EXPECT_TRUE(slot(1).events.empty());
    EXPECT_NE(printed.text().find("p_libpub.cap_table"), std::string::npos) << printed.text();
    ASSERT_EQ(put(writer, Cap("/bad").message(), {kInt, kBool}), 0);
    ASSERT_TRUE(settle(client, writer));
    EXPECT_EQ(slot(0).events.size(), 3u);
    EXPECT_EQ(slot(1).events.size(), 1u);
}

// A record without its index is half a record: a callback would look into what is not there.
TEST_P(GarbageTest, ARecordWithoutItsIndexIsSkippedEverywhere) {
    const ClientPtr client = connect();
    const std::string key = "p_libpub.cap_table:/half";
    ASSERT_EQ(put_int(client, "/half", 1), 0);
    ASSERT_EQ(put_int(client, "/whole", 1), 0);
    for (const bool is_empty : {false, true}) {
        StandardError printed;
        raw().must({"HDEL", key, "5"});
        if (is_empty) {
            raw().must({"HSET", key, "5", ""});
        }
        const HashResultPtr result = read(client, Cap("/half").message());
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->error_code, OX_MOM_E_DECODE);
        EXPECT_EQ(result->record, nullptr);
        EXPECT_NE(std::string(ox_mom_last_error()).find(key), std::string::npos) << ox_mom_last_error();
        EXPECT_EQ(stored_state<CapTable>(client).size(), 1U) << "a scan";
        EXPECT_NE(printed.text().find(key), std::string::npos) << printed.text();
    }
    // Followers of the type, and of the field as the record is now and as it is after a loss.
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow_field(client, Cap("/half").message(), kInt, on_field<1>), 0);
    {
        StandardError printed;
        raw().must({"CLIENT", "KILL", "TYPE", "pubsub"});
        ASSERT_TRUE(pump_until(client, [] { return recorder().reconnections.size() == 1; }));
        EXPECT_EQ(slot(1).commands(), (std::vector<int32_t>{3})) << "there is no such record";
        EXPECT_NE(printed.text().find(key + " has no index"), std::string::npos) << printed.text();
    }
    ASSERT_EQ(put_int(client, "/half", 2), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(1).commands(), (std::vector<int32_t>{3, 4})) << "a write makes it whole";
}

TEST_P(GarbageTest, NotificationsOfHalfRecordsAreReportedAndSkipped) {
    const ClientPtr client = connect();
    RedisConnection listener = server().connection();
    listener.must({"PSUBSCRIBE", "*"});
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<1>), 0);
    ASSERT_TRUE(settle(client, client));
    StandardError printed;
    int published = 0;
    const mom::StoredFields no_index = {{.number = kInt, .value = "8\x05"}};
    const mom::StoredFields empty_index = {{.number = kIndex, .value = ""}, {.number = kInt, .value = "8\x05"}};
    for (const int32_t cmd : {OX_MOM_CMD_DELIVERED, OX_MOM_CMD_DELETED}) {
        for (const mom::StoredFields &fields : {mom::StoredFields(), no_index, empty_index}) {
            const std::string text = mom::encode_notification(cmd, std::vector<int32_t>{kInt}, fields);
            raw().must({"PUBLISH", "mom:28:p_libpub.cap_table", text});
            ++published;
            if (cmd == OX_MOM_CMD_DELIVERED) {
                raw().must({"PUBLISH", "mom:28:p_libpub.cap_table:/a", text});
                ++published;
            }
        }
    }
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(0).commands(), (std::vector<int32_t>{29}));
    EXPECT_TRUE(slot(1).events.empty());
    EXPECT_EQ(printed.lines(), published);
}

TEST_P(GarbageTest, WhatOthersPublishIsReportedAndFollowingGoesOn) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow<CapGlbState>(client, on_notification<1>), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<2>), 0);
    ASSERT_TRUE(settle(client, client));
    StandardError printed;
    int published = 0;
    for (const std::string &payload : {std::string(), std::string("garbage"), std::string(100, '\xff'),
                                       std::string(1 << 20, '\xff'), std::string("\r\n\0x", 4)}) {
        published += publish_everywhere(payload);
    }
    ASSERT_GE(published, 15);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(0).commands(), (std::vector<int32_t>{29, 4}));
    EXPECT_EQ(slot(1).commands(), (std::vector<int32_t>{29, 1}));
    EXPECT_EQ(slot(2).commands(), (std::vector<int32_t>{4}));
    EXPECT_NE(printed.text().find("p_libpub.cap_table"), std::string::npos);
    EXPECT_NE(printed.text().find("s_frame.cap_glb_state"), std::string::npos);
    EXPECT_EQ(printed.lines(), published) << "a line for each, whatever bytes it holds";
}

TEST_P(GarbageTest, NotificationsBentInEveryWayDoNoHarm) {
    const ClientPtr client = connect();
    RedisConnection listener = server().connection();
    listener.must({"PSUBSCRIBE", "*"});
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    const RedisReply message = listener.next_message();
    const std::string good(message->element[3]->str, message->element[3]->len);
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<1>), 0);
    std::mt19937 random(1);
    const StandardError printed;
    for (size_t length = 0; length < good.size(); ++length) {
        publish_everywhere(good.substr(0, length));
    }
    for (int times = 0; times < 1000; ++times) {
        std::string bent = good;
        for (unsigned changes = random() % 4 + 1; changes > 0; --changes) {
            bent[random() % bent.size()] = static_cast<char>(random());
        }
        publish_everywhere(bent);
        ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
    }
    ASSERT_TRUE(settle(client, client));
    slot(0).events.clear();
    ASSERT_EQ(put_int(client, "/a", 5), 0);
    ASSERT_TRUE(settle(client, client));
    ASSERT_EQ(slot(0).events.size(), 1u);
    EXPECT_EQ(slot(0).events[0].as<CapTable>().int32_value, 5);
    EXPECT_TRUE(recorder().reconnections.empty());
}

TEST_P(GarbageTest, ARefusalIsPassedOnInTheServersWords) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    raw().must({"CONFIG", "SET", "maxmemory", "1"});
    EXPECT_EQ(put_int(client, "/b", 1), OX_MOM_E_REFUSED);
    EXPECT_NE(std::string(ox_mom_last_error()).find("maxmemory"), std::string::npos) << ox_mom_last_error();
    EXPECT_EQ(stored_int(client, "/a"), 1) << "the connection stays";
    raw().must({"CONFIG", "SET", "maxmemory", "0"});
    EXPECT_EQ(put_int(client, "/b", 1), 0);
}

TEST_P(GarbageTest, AReadOnlyServerRefusesWritesAndAnswersReads) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    raw().must({"REPLICAOF", "127.0.0.1", std::to_string(test_support::unused_port())});
    EXPECT_EQ(put_int(client, "/a", 2), OX_MOM_E_REFUSED);
    EXPECT_EQ(set<CapGlbState>(client, true), OX_MOM_E_REFUSED);
    EXPECT_EQ(stored_int(client, "/a"), 1);
    raw().must({"REPLICAOF", "NO", "ONE"});
    EXPECT_EQ(put_int(client, "/a", 2), 0);
}

}  // namespace
}  // namespace mom_test
