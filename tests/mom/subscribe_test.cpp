// Following all records of a type.
#include "contract_test.h"

namespace mom_test {
namespace {

using Commands = std::vector<int32_t>;

class SubscribeTest : public StoreTest {};
INSTANTIATE_OVER_STORES(SubscribeTest);

TEST_P(SubscribeTest, IsConfirmedOnceAndOnlyInsideProcess) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    EXPECT_TRUE(slot().events.empty());
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    ASSERT_EQ(slot().commands(), (Commands{29}));
    const Event &confirmation = slot().events[0];
    EXPECT_EQ(confirmation.client, client.get());
    EXPECT_EQ(confirmation.db, kGlobalDb);
    EXPECT_FALSE(confirmation.has_result);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
}

TEST_P(SubscribeTest, AWriteDeliversTheWholeRecord) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(writer, "/a", -1), 0);
    Cap cap("/a");
    cap.record.bool_value = true;
    ASSERT_EQ(put(writer, cap.message(), {kBool}), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 3; }));

    EXPECT_EQ(slot().commands(), (Commands{29, 4, 4}));
    const Event &first = slot().events[1];
    EXPECT_EQ(first.client, client.get());
    EXPECT_EQ(first.db, kGlobalDb);
    EXPECT_EQ(first.error_code, 0);
    EXPECT_EQ(first.fields, (std::vector<int32_t>{kIndex, kInt}));
    EXPECT_STREQ(first.as<CapTable>().index->url, "/a");
    EXPECT_EQ(first.as<CapTable>().int32_value, -1);
    const Event &second = slot().events[2];
    EXPECT_EQ(second.fields, (std::vector<int32_t>{kIndex, kBool, kInt}));
    EXPECT_TRUE(second.as<CapTable>().bool_value);
    EXPECT_EQ(second.as<CapTable>().int32_value, -1) << "a field that this write did not name";
}

TEST_P(SubscribeTest, AWrittenDefaultIsDeliveredAsPresent) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put(client, Cap("").message(), {kBool, kStr}), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 2; }));
    EXPECT_EQ(slot().events[1].fields, (std::vector<int32_t>{kIndex, kBool, kStr}));
    EXPECT_STREQ(slot().events[1].as<CapTable>().index->url, "");
}

TEST_P(SubscribeTest, AClientHearsItsOwnWrites) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    EXPECT_TRUE(pump_until(client, [] { return slot().commands() == Commands{29, 4}; }));
}

TEST_P(SubscribeTest, ASingleObjectIsDeliveredItself) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(follow<CapGlbState>(client), 0);
    ASSERT_EQ(set<CapGlbState>(writer, true), 0);
    ASSERT_EQ(set<CapGlbState>(writer, false), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 3; }));
    EXPECT_EQ(slot().commands(), (Commands{29, 1, 1}));
    EXPECT_TRUE(slot().events[1].as<CapGlbState>().ready);
    EXPECT_FALSE(slot().events[2].as<CapGlbState>().ready);
    EXPECT_EQ(slot().events[2].record->descriptor, descriptor<CapGlbState>());
}

TEST_P(SubscribeTest, ADeletedHashIsDeliveredAsItLastWas) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    Cap cap("/a", 7);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put(writer, cap.message(), {kInt, kState}), 0);
    ASSERT_EQ(del(writer, Cap("/a").message()), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 3; }));
    EXPECT_EQ(slot().commands(), (Commands{29, 4, 3}));
    const Event &deletion = slot().events[2];
    ASSERT_NE(deletion.record, nullptr);
    EXPECT_EQ(deletion.record->descriptor, descriptor<CapTable>());
    EXPECT_STREQ(deletion.as<CapTable>().index->url, "/a");
    EXPECT_EQ(deletion.as<CapTable>().int32_value, 7);
}

TEST_P(SubscribeTest, ADeletedObjectIsDeliveredAsItLastWas) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapGlbState>(client), 0);
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    ASSERT_EQ(del(client, Single<CapGlbState>().message()), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 3; }));
    EXPECT_EQ(slot().commands(), (Commands{29, 1, 3}));
    EXPECT_TRUE(slot().events[2].as<CapGlbState>().ready);
}

TEST_P(SubscribeTest, DeletingWhatIsNotThereNotifiesNobody) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(follow<CapGlbState>(client, on_notification<1>), 0);
    ASSERT_EQ(del(client, Cap("/none").message()), 0);
    ASSERT_EQ(del(client, Single<CapGlbState>().message()), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(del(client, Cap("/a").message()), 0);
    ASSERT_EQ(del(client, Cap("/a").message()), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().commands(), (Commands{29, 4, 3}));
    EXPECT_EQ(slot(1).commands(), (Commands{29}));
}

TEST_P(SubscribeTest, ARecordMadeAnewHasOnlyItsNewFields) {
    const ClientPtr client = connect();
    ASSERT_EQ(put(client, Cap("/a", 7).message(), {kInt, kState}), 0);
    ASSERT_EQ(del(client, Cap("/a").message()), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put(client, Cap("/a").message(), {kBool}), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 2; }));
    EXPECT_EQ(slot().events[1].fields, (std::vector<int32_t>{kIndex, kBool}));
    EXPECT_EQ(fields_of(read(client, Cap("/a").message())), (std::vector<int32_t>{kIndex, kBool}));
}

TEST_P(SubscribeTest, OtherTypesAndDatabasesAreNotHeard) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put(client, Cap("/card-db").message(), {kInt}, kCardDb), 0);
    ASSERT_EQ(put(client, ByUrl<CapFabTable>("/fab").message(), {kInt}), 0);
    ASSERT_EQ(put(client, NodeCap(1, "/node").message(), {kInt}), 0);
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    ASSERT_TRUE(settle(client, client, kCardDb));
    ASSERT_TRUE(settle(client, client, kGlobalDb));
    EXPECT_EQ(slot().commands(), (Commands{29}));
}

TEST_P(SubscribeTest, OneCallbackCanFollowTwoDatabasesAndTwoTypes) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>, kGlobalDb), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>, kCardDb), 0);
    ASSERT_EQ(follow<CapFabTable>(client, on_notification<0>, kGlobalDb), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().count(29) == 3; }));
    ASSERT_EQ(put(client, Cap("/a", 1).message(), {kInt}, kCardDb), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().count(4) == 1; }));
    EXPECT_EQ(slot().events.back().db, kCardDb);
    ASSERT_EQ(put(client, Cap("/a", 1).message(), {kInt}, kGlobalDb), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().count(4) == 2; }));
    EXPECT_EQ(slot().events.back().db, kGlobalDb);
    ASSERT_EQ(put(client, ByUrl<CapFabTable>("/a", 1).message(), {kInt}), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().count(4) == 3; }));
    EXPECT_EQ(slot().events.back().record->descriptor, descriptor<CapFabTable>());
}

TEST_P(SubscribeTest, WhatWasWrittenBeforeIsNotDelivered) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/before", 1), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/after", 2), 0);
    ASSERT_TRUE(settle(client, client));
    ASSERT_EQ(slot().commands(), (Commands{29, 4}));
    EXPECT_STREQ(slot().events[1].as<CapTable>().index->url, "/after");
}

TEST_P(SubscribeTest, WhatChangesAfterTheConfirmationIsSeenByTheScanAndAgain) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(writer, "/a", 3), 0);
    size_t scanned = 0;
    slot().hook = [&scanned](MomClient *running, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
            scanned = stored_state(running, kGlobalDb, Cap("").message()).size();
        }
    };
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 2; }));
    EXPECT_EQ(slot().commands(), (Commands{29, 4}));
    EXPECT_EQ(scanned, 1u);
}

TEST_P(SubscribeTest, SubscribingAgainReplacesAndConfirmsAnew) {
    const ClientPtr client = connect();
    for (int times = 1; times <= 3; ++times) {
        ASSERT_EQ(follow<CapTable>(client), 0);
        ASSERT_TRUE(pump_until(client, [times] { return slot().count(29) == times; }));
    }
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().commands(), (Commands{29, 29, 29, 4}));
}

TEST_P(SubscribeTest, ConfirmationsThatStillWaitBecomeOne) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(writer, "/between", 1), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(writer, "/after", 2), 0);
    ASSERT_TRUE(settle(client, writer));
    ASSERT_FALSE(slot().events.empty());
    EXPECT_EQ(slot().count(29), 1);
    EXPECT_EQ(slot().events.front().cmd, 29);
    int after = 0;
    int between = 0;
    for (const Event &event : slot().events) {
        const bool is_write = event.cmd == OX_MOM_CMD_DELIVERED;
        after += is_write && event.as<CapTable>().int32_value == 2;
        between += is_write && event.as<CapTable>().int32_value == 1;
    }
    EXPECT_EQ(after, 1);
    EXPECT_LE(between, 1);
}

TEST_P(SubscribeTest, SubscribingAgainLosesNothingThatWaits) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    ASSERT_EQ(slot().commands(), (Commands{29, 4}));
    // Over a server, following takes off the connection what was published before.
    ASSERT_EQ(del(client, Cap("/a").message()), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/b", 2), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().commands(), (Commands{29, 4, 3, 29, 4}));
}

TEST_P(SubscribeTest, EveryCallbackOfATypeGetsEachOnce) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<1>), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<2>), 0);
    ASSERT_EQ(put_int(client, "/b", 2), 0);
    ASSERT_EQ(del(client, Cap("/a").message()), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(0).commands(), (Commands{29, 4, 4, 3}));
    EXPECT_EQ(slot(1).commands(), (Commands{29, 4, 4, 3}));
    EXPECT_EQ(slot(2).commands(), (Commands{29, 4, 3})) << "it came after the first write";
}

TEST_P(SubscribeTest, ReplacingOneCallbackLeavesTheOthers) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<1>), 0);
    ASSERT_TRUE(settle(client, client));
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(0).commands(), (Commands{29, 29, 4}));
    EXPECT_EQ(slot(1).commands(), (Commands{29, 4}));
}

TEST_P(SubscribeTest, EveryClientFollowsForItself) {
    const ClientPtr first = connect();
    const ClientPtr second = connect();
    ASSERT_EQ(follow<CapTable>(first, on_notification<0>), 0);
    ASSERT_EQ(follow<CapTable>(second, on_notification<1>), 0);
    ASSERT_EQ(put_int(first, "/a", 1), 0);
    ASSERT_TRUE(pump_until(first, [] { return slot(0).commands() == Commands{29, 4}; }));
    EXPECT_TRUE(slot(1).events.empty()) << "only its own client's process() calls a callback";
    ASSERT_TRUE(pump_until(second, [] { return slot(1).commands() == Commands{29, 4}; }));
    EXPECT_EQ(slot(1).events[1].client, second.get());
}

TEST_P(SubscribeTest, AClientThatIsGoneIsNotMissed) {
    ClientPtr gone = connect();
    const ClientPtr stays = connect();
    ASSERT_EQ(follow<CapTable>(gone, on_notification<0>), 0);
    ASSERT_EQ(follow<CapTable>(stays, on_notification<1>), 0);
    ASSERT_EQ(put_int(stays, "/a", 1), 0);
    gone.reset();
    ASSERT_EQ(put_int(stays, "/a", 2), 0);
    EXPECT_TRUE(pump_until(stays, [] { return slot(1).commands() == Commands{29, 4, 4}; }));
    EXPECT_TRUE(slot(0).events.empty());
}

TEST_P(SubscribeTest, TheRequestNeedsNoIndexAndItsValuesDoNotMatter) {
    const ClientPtr client = connect();
    const Cap request("/other", 9);
    ASSERT_EQ(ox_mom_subscribe(client.get(), kGlobalDb, request.message(), 0, on_notification<0>, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(client, on_notification<1>), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(0).commands(), (Commands{29, 4}));
    EXPECT_EQ(slot(1).commands(), (Commands{29, 4}));
}

TEST_P(SubscribeTest, AWrongCallIsRefused) {
    const ClientPtr client = connect();
    const Cap request("");
    EXPECT_EQ(ox_mom_subscribe(nullptr, kGlobalDb, request.message(), 0, on_notification<0>, nullptr),
              OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_subscribe(client.get(), kGlobalDb, nullptr, 0, on_notification<0>, nullptr), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_subscribe(client.get(), kGlobalDb, request.message(), 0, nullptr, nullptr), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
}

TEST_P(SubscribeTest, WhatACallbackReturnsDoesNotMatter) {
    const ClientPtr client = connect();
    const MomMsgCb refuses = [](MomClient *running, MomMsg *msg) {
        on_notification<0>(running, msg);
        return -1;
    };
    ASSERT_EQ(follow<CapTable>(client, refuses), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(put_int(client, "/a", 2), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 3; }));
    EXPECT_EQ(slot().commands(), (Commands{29, 4, 4}));
}

}  // namespace
}  // namespace mom_test
