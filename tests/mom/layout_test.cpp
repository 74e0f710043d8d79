// How records lie in Redis, for everything else that reads them there.
#include "mom_test.h"

#include <algorithm>
#include <map>

namespace mom_test {
namespace {

class LayoutTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        raw_ = std::make_unique<RedisConnection>(server().connection());
        raw().must({"SELECT", std::to_string(kGlobalDb)});
    }

    RedisConnection &raw() { return *raw_; }

    std::map<std::string, std::string> stored_hash(const std::string &key) {
        const std::vector<std::string> flat = raw().list({"HGETALL", key});
        std::map<std::string, std::string> fields;
        for (size_t i = 0; i + 1 < flat.size(); i += 2) {
            fields[flat[i]] = flat[i + 1];
        }
        return fields;
    }

    // The keys of the records, without what the client keeps besides.
    std::vector<std::string> keys_of_kind(const std::string &kind) {
        std::vector<std::string> keys;
        for (const std::string &key : raw().list({"KEYS", "*"})) {
            if (raw().text({"TYPE", key}) == kind) {
                keys.push_back(key);
            }
        }
        std::sort(keys.begin(), keys.end());
        return keys;
    }

private:
    std::unique_ptr<RedisConnection> raw_;
};
INSTANTIATE_OVER_SERVERS(LayoutTest);

using StoredFields = std::map<std::string, std::string>;
using Keys = std::vector<std::string>;

TEST_P(LayoutTest, AHashIsKeyedByTypeAndIndexAndHoldsItsFieldsEncoded) {
    const ClientPtr client = connect();
    char text[] = "yes";
    Cap cap("/a/b", 300);
    cap.record.str_value = text;
    ASSERT_EQ(put(client, cap.message(), {kBool, kInt, kStr, kState}), 0);
    EXPECT_EQ(keys_of_kind("hash"), (Keys{"p_libpub.cap_table:/a/b"}));
    EXPECT_EQ(stored_hash("p_libpub.cap_table:/a/b"),
              (StoredFields{
                  {"5", "\x2a\x06\x0a\x04/a/b"}, {"6", ""}, {"7", "\x38\xac\x02"}, {"8", "\x42\x03yes"}, {"22", ""}}));
}

TEST_P(LayoutTest, TheValuesEndToEndAreTheRecordsEncoding) {
    const ClientPtr client = connect({kCardDb});
    raw().must({"SELECT", std::to_string(kCardDb)});
    Hash<CardStaticInfo> inner;
    inner.record.node_type = -1;
    std::string mac("\x00\x11\x22", 3);
    Card card(1, -2, 3, 4);
    card.record.static_info = &inner.record;
    card.record.mac_addr = {mac.size(), reinterpret_cast<uint8_t *>(mac.data())};
    card.record.is_online = 1;
    ASSERT_EQ(put(client, card.message(), {7, 14, 21}, kCardDb), 0);
    const StoredFields fields = stored_hash("p_dev.card_info:1:-2:3:4");
    ASSERT_EQ(fields.size(), 4u);
    EXPECT_EQ(fields.at("5") + fields.at("7") + fields.at("14") + fields.at("21"), packed(card.message()));
}

TEST_P(LayoutTest, IndexValuesAreJoinedInTheirOrder) {
    const ClientPtr client = connect();
    ASSERT_EQ(put(client, NodeCap(3, "/a/b").message(), {kInt}), 0);
    ASSERT_EQ(put(client, NodeCap(-1, "").message(), {kInt}), 0);
    EXPECT_EQ(keys_of_kind("hash"), (Keys{"s_frame.cap_glb_table:-1:", "s_frame.cap_glb_table:3:/a/b"}));
}

TEST_P(LayoutTest, AnIndexOfDefaultsIsStoredAsPresent) {
    const ClientPtr client = connect();
    ASSERT_EQ(put(client, Cap("").message(), {kBool}), 0);
    EXPECT_EQ(stored_hash("p_libpub.cap_table:"), (StoredFields{{"5", std::string("\x2a\x00", 2)}, {"6", ""}}));
}

TEST_P(LayoutTest, ASingleObjectIsKeyedByItsType) {
    const ClientPtr client = connect();
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    EXPECT_EQ(raw().must({"EXISTS", "s_frame.cap_glb_state"})->integer, 1);
}

TEST_P(LayoutTest, ASetPerTypeHoldsTheKeysOfItsRecords) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(put_int(client, "/b", 1), 0);
    ASSERT_EQ(put_int(client, "/b", 2), 0);
    const Keys sets = keys_of_kind("set");
    ASSERT_EQ(sets.size(), 1u);
    Keys members = raw().list({"SMEMBERS", sets[0]});
    std::sort(members.begin(), members.end());
    EXPECT_EQ(members, (Keys{"p_libpub.cap_table:/a", "p_libpub.cap_table:/b"}));
    ASSERT_EQ(del(client, Cap("/a").message()), 0);
    EXPECT_EQ(raw().list({"SMEMBERS", sets[0]}), (Keys{"p_libpub.cap_table:/b"}));
    ASSERT_EQ(put(client, NodeCap(1, "/a").message(), {kInt}), 0);
    EXPECT_EQ(keys_of_kind("set").size(), 2u);
}

TEST_P(LayoutTest, NothingIsLeftOfWhatWasDeleted) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    ASSERT_EQ(del(client, Cap("/a").message()), 0);
    ASSERT_EQ(del(client, Single<CapGlbState>().message()), 0);
    EXPECT_EQ(raw().list({"KEYS", "*"}), Keys{});
}

TEST_P(LayoutTest, TheDatabaseIsTheServersOfThatNumber) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(put(client, Cap("/card").message(), {kInt}, kCardDb), 0);
    EXPECT_EQ(raw().list({"KEYS", "*"}), Keys{});
    raw().must({"SELECT", std::to_string(kCardDb)});
    EXPECT_EQ(keys_of_kind("hash"), (Keys{"p_libpub.cap_table:/card"}));
}

TEST_P(LayoutTest, WhatAnotherProgramStoredIsRead) {
    const ClientPtr client = connect();
    raw().must({"HSET", "p_libpub.cap_table:/x", "5", "\x2a\x04\x0a\x02/x", "7", "\x38\x05", "6", ""});
    const HashResultPtr result = read(client, Cap("/x").message());
    ASSERT_NE(result->record, nullptr);
    EXPECT_EQ(fields_of(result), (std::vector<int32_t>{kIndex, kBool, kInt}));
    EXPECT_EQ(as<CapTable>(result).int32_value, 5);
}

TEST_P(LayoutTest, AWriteWithItsNotificationIsOneStepOnTheServer) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/warm", 1), 0);  // whatever the first write needs once
    RedisConnection monitor = server().connection();
    monitor.must({"MONITOR"});
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    raw().must({"PING", "end"});
    int commands = 0;
    for (;;) {
        const RedisReply line = monitor.next_message();
        const std::string text(line->str, static_cast<size_t>(line->len));
        if (text.find("\"end\"") != std::string::npos) {
            break;
        }
        commands += text.find(" lua]") == std::string::npos;
    }
    EXPECT_EQ(commands, 1);
}

TEST_P(LayoutTest, ScriptsThatTheServerForgotAreBroughtAgain) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    for (int times = 0; times < 2; ++times) {
        raw().must({"SCRIPT", "FLUSH"});
        EXPECT_EQ(put_int(client, "/a", 2), 0) << ox_mom_last_error();
        raw().must({"SCRIPT", "FLUSH"});
        EXPECT_EQ(set<CapGlbState>(client, true), 0) << ox_mom_last_error();
        raw().must({"SCRIPT", "FLUSH"});
        EXPECT_EQ(stored_state<CapTable>(client).size(), 1u) << ox_mom_last_error();
        raw().must({"SCRIPT", "FLUSH"});
        EXPECT_EQ(del(client, Cap("/a").message()), 0) << ox_mom_last_error();
    }
}

TEST_P(LayoutTest, AnEmptiedServerIsAnEmptyStore) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    raw().must({"FLUSHALL"});
    EXPECT_EQ(read(client, Cap("/a").message())->record, nullptr);
    EXPECT_TRUE(stored_state<CapTable>(client).empty());
    EXPECT_EQ(put_int(client, "/b", 1), 0);
    EXPECT_EQ(stored_state<CapTable>(client).size(), 1u);
}

}  // namespace
}  // namespace mom_test
