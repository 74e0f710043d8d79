// Following single fields of one record.
#include "contract_test.h"

namespace mom_test {
namespace {

class SubscribeFieldTest : public StoreTest {};
INSTANTIATE_OVER_STORES(SubscribeFieldTest);

TEST_P(SubscribeFieldTest, NothingComesBeforeAWrite) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_TRUE(slot().events.empty()) << "neither a confirmation nor the present value";
}

TEST_P(SubscribeFieldTest, AWriteDeliversTheWholeRecord) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    int mark = 0;
    ASSERT_EQ(put(writer, Cap("/a").message(), {kState}), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<0>, &mark), 0);
    ASSERT_EQ(put_int(writer, "/a", -1), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 1; }));
    const Event &event = slot().events[0];
    EXPECT_EQ(event.client, client.get());
    EXPECT_EQ(event.db, kGlobalDb);
    EXPECT_EQ(event.cmd, OX_MOM_CMD_DELIVERED);
    EXPECT_EQ(event.arg, &mark);
    EXPECT_EQ(event.error_code, 0);
    EXPECT_EQ(event.fields, (std::vector<int32_t>{kIndex, kInt, kState}));
    EXPECT_STREQ(event.as<CapTable>().index->url, "/a");
    EXPECT_EQ(event.as<CapTable>().int32_value, -1);
}

TEST_P(SubscribeFieldTest, OnlyTheNamedFieldOfTheNamedRecordCounts) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    ASSERT_EQ(put(client, Cap("/a").message(), {kBool, kStr, kPri, kState}), 0);
    ASSERT_EQ(put_int(client, "/b", 1), 0);
    ASSERT_EQ(put(client, Cap("/a").message(), {kInt}, kCardDb), 0);
    ASSERT_EQ(put(client, ByUrl<CapFabTable>("/a").message(), {kInt}), 0);
    ASSERT_TRUE(settle(client, client, kCardDb));
    ASSERT_TRUE(settle(client, client, kGlobalDb));
    EXPECT_TRUE(slot().events.empty());
}

TEST_P(SubscribeFieldTest, WritingTheSameValueNotifies) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kBool), 0);
    ASSERT_EQ(put(client, Cap("/a").message(), {kBool}), 0);
    ASSERT_EQ(put(client, Cap("/a").message(), {kBool}), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().events.size(), 2u);
}

TEST_P(SubscribeFieldTest, SeveralFieldsHaveCallbacksAndArgumentsOfTheirOwn) {
    const ClientPtr client = connect();
    const Cap request("/a");
    const int32_t fields[] = {kBool, kInt, kState};
    const MomFieldCb cbs[] = {on_field<0>, on_field<1>, on_field<1>};
    int marks[3] = {};
    void *const args[] = {&marks[0], &marks[1], &marks[2]};
    ASSERT_EQ(ox_mom_subscribe_field(client.get(), kGlobalDb, request.message(), 1, fields, cbs, args, 3), 0);

    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_TRUE(slot(0).events.empty());
    ASSERT_EQ(slot(1).events.size(), 1u);
    EXPECT_EQ(slot(1).events[0].arg, &marks[1]);

    ASSERT_EQ(put(client, Cap("/a", 2).message(), {kState, kInt, kBool, kStr}), 0);
    ASSERT_TRUE(settle(client, client));
    ASSERT_EQ(slot(0).events.size(), 1u);
    EXPECT_EQ(slot(0).events[0].arg, &marks[0]);
    ASSERT_EQ(slot(1).events.size(), 3u);
    EXPECT_NE(slot(1).events[1].arg, slot(1).events[2].arg);
    EXPECT_EQ(slot(1).events[1].as<CapTable>().int32_value, 2);
    EXPECT_EQ(slot(1).events[2].as<CapTable>().int32_value, 2);
}

TEST_P(SubscribeFieldTest, WithoutArgumentsEveryCallbackGetsNull) {
    const ClientPtr client = connect();
    const Cap request("/a");
    const int32_t fields[] = {kBool, kInt};
    const MomFieldCb cbs[] = {on_field<0>, on_field<1>};
    ASSERT_EQ(ox_mom_subscribe_field(client.get(), kGlobalDb, request.message(), 1, fields, cbs, nullptr, 2), 0);
    ASSERT_EQ(put(client, request.message(), {kInt, kBool}), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot(0).events.size() == 1 && slot(1).events.size() == 1; }));
    EXPECT_EQ(slot(0).events[0].arg, nullptr);
    EXPECT_EQ(slot(1).events[0].arg, nullptr);
}

TEST_P(SubscribeFieldTest, EveryCallAddsASubscription) {
    const ClientPtr client = connect();
    int marks[2] = {};
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<0>, &marks[0]), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<0>, &marks[1]), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<0>, &marks[1]), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kBool, on_field<1>), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(0).events.size(), 3u);
    EXPECT_TRUE(slot(1).events.empty());
}

TEST_P(SubscribeFieldTest, ADeletionIsAResultWithoutRecord) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    int mark = 0;
    ASSERT_EQ(put(writer, Cap("/a", 1).message(), {kState}), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<0>, &mark), 0);
    ASSERT_EQ(del(writer, Cap("/a").message()), 0) << "the followed field itself was never there";
    ASSERT_EQ(del(writer, Cap("/a").message()), 0);
    ASSERT_EQ(put_int(writer, "/a", 2), 0);
    ASSERT_TRUE(settle(client, writer));
    ASSERT_EQ(slot().events.size(), 2u);
    EXPECT_EQ(slot().events[0].cmd, OX_MOM_CMD_DELETED);
    EXPECT_TRUE(slot().events[0].has_result);
    EXPECT_EQ(slot().events[0].record, nullptr);
    EXPECT_TRUE(slot().events[0].fields.empty());
    EXPECT_EQ(slot().events[0].error_code, 0);
    EXPECT_EQ(slot().events[0].arg, &mark);
    EXPECT_EQ(slot().events[1].cmd, OX_MOM_CMD_DELIVERED);
    EXPECT_EQ(slot().events[1].as<CapTable>().int32_value, 2);
}

TEST_P(SubscribeFieldTest, TheRequestIsNotKept) {
    const ClientPtr client = connect();
    {
        auto request = std::make_unique<Cap>("/a");
        auto field = std::make_unique<int32_t>(kInt);
        auto cb = std::make_unique<MomFieldCb>(on_field<0>);
        auto args = std::make_unique<void *>(nullptr);
        ASSERT_EQ(ox_mom_subscribe_field(client.get(), kGlobalDb, request->message(), 1, field.get(), cb.get(),
                                         args.get(), 1),
                  0);
        request->record.index->url[1] = 'b';
    }
    ASSERT_EQ(put_int(client, "/a", 3), 0);
    ASSERT_TRUE(pump_until(client, [] { return slot().events.size() == 1; }));
    EXPECT_STREQ(slot().events[0].as<CapTable>().index->url, "/a");
}

TEST_P(SubscribeFieldTest, TypeAndFieldFollowersBothHear) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<1>), 0);
    ASSERT_EQ(put_int(client, "/a", 3), 0);
    ASSERT_EQ(del(client, Cap("/a").message()), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot(0).commands(), (std::vector<int32_t>{29, 4, 3}));
    EXPECT_EQ(slot(1).commands(), (std::vector<int32_t>{4, 3}));
}

TEST_P(SubscribeFieldTest, FieldsOfEveryKindCanBeFollowed) {
    const ClientPtr client = connect({kCardDb});
    const Card card(1, -2, 3, -4);
    ASSERT_EQ(follow_field(client, card.message(), 14, on_field<0>, nullptr, kCardDb), 0);
    ASSERT_EQ(follow_field(client, card.message(), 20, on_field<1>, nullptr, kCardDb), 0);
    ASSERT_EQ(put(client, card.message(), {14}, kCardDb), 0);
    ASSERT_EQ(put(client, card.message(), {20}, kCardDb), 0);
    ASSERT_TRUE(settle(client, client, kCardDb));
    EXPECT_EQ(slot(0).events.size(), 1u);
    EXPECT_EQ(slot(1).events.size(), 1u);
}

TEST_P(SubscribeFieldTest, AWrongCallIsRefusedWhole) {
    const ClientPtr client = connect();
    const Cap cap("/a");
    Cap no_index("/a");
    no_index.record.index = nullptr;
    const int32_t fields[] = {kInt, 99};
    const MomFieldCb cbs[] = {on_field<0>, nullptr};
    const auto call = [&](MomClient *running, const ProtobufCMessage *request, int32_t n_requests, const int32_t *ids,
                          const MomFieldCb *callbacks, int32_t n_fields) {
        return ox_mom_subscribe_field(running, kGlobalDb, request, n_requests, ids, callbacks, nullptr, n_fields);
    };
    const int32_t good[] = {kInt, kInt};
    const MomFieldCb good_cbs[] = {on_field<0>, on_field<0>};
    EXPECT_EQ(call(nullptr, cap.message(), 1, good, cbs, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), nullptr, 1, good, cbs, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), cap.message(), 0, good, cbs, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), cap.message(), 2, good, cbs, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), cap.message(), -1, good, cbs, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), cap.message(), 1, nullptr, cbs, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), cap.message(), 1, good, nullptr, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), cap.message(), 1, good, cbs, 0), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), cap.message(), 1, good, cbs, -1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), cap.message(), 1, good, cbs, 2), OX_MOM_E_ARGUMENT) << "one callback is NULL";
    EXPECT_EQ(call(client.get(), cap.message(), 1, fields, good_cbs, 2), OX_MOM_E_ARGUMENT) << "no such field";
    EXPECT_EQ(call(client.get(), no_index.message(), 1, good, cbs, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(call(client.get(), Single<CapGlbState>().message(), 1, &kIndex, cbs, 1), OX_MOM_E_ARGUMENT);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_TRUE(slot().events.empty());
}

}  // namespace
}  // namespace mom_test
