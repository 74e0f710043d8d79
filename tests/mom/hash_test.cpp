// Records with an index: written field by field, read whole.
#include "contract_test.h"

#include <climits>
#include <thread>

namespace mom_test {
namespace {

class HashTest : public StoreTest {};
INSTANTIATE_OVER_STORES(HashTest);

using Fields = std::vector<int32_t>;

TEST_P(HashTest, AMissingRecordIsAResultWithoutOne) {
    const ClientPtr client = connect();
    const HashResultPtr result = read(client, Cap("/none").message());
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->record, nullptr);
    EXPECT_EQ(result->error_code, 0);
    EXPECT_EQ(result->n_field_ids, 0u);
}

TEST_P(HashTest, AWrittenFieldIsReadBackWithTheIndex) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 7), 0);
    const HashResultPtr result = read(client, Cap("/a").message());
    ASSERT_NE(result->record, nullptr);
    EXPECT_EQ(result->error_code, 0);
    EXPECT_EQ(fields_of(result), (Fields{kIndex, kInt}));
    EXPECT_EQ(result->record->descriptor, descriptor<CapTable>());
    ASSERT_NE(as<CapTable>(result).index, nullptr);
    EXPECT_STREQ(as<CapTable>(result).index->url, "/a");
    EXPECT_EQ(as<CapTable>(result).int32_value, 7);
    EXPECT_FALSE(as<CapTable>(result).bool_value);
    EXPECT_STREQ(as<CapTable>(result).str_value, "");
}

TEST_P(HashTest, AnotherClientReadsTheSame) {
    const ClientPtr writer = connect();
    const ClientPtr reader = connect();
    ASSERT_EQ(put_int(writer, "/a", 7), 0);
    EXPECT_EQ(stored_int(reader, "/a"), 7);
}

TEST_P(HashTest, OnlyTheNamedFieldsAreWritten) {
    const ClientPtr client = connect();
    Cap cap("/a", 7);
    cap.record.bool_value = true;
    cap.record.pri = 3;
    ASSERT_EQ(put(client, cap.message(), {kInt}), 0);
    EXPECT_EQ(fields_of(read(client, cap.message())), (Fields{kIndex, kInt}));

    cap.record.int32_value = 8;
    ASSERT_EQ(put(client, cap.message(), {kBool, kPri}), 0);
    const HashResultPtr result = read(client, cap.message());
    EXPECT_EQ(fields_of(result), (Fields{kIndex, kBool, kInt, kPri}));
    EXPECT_EQ(as<CapTable>(result).int32_value, 7);
    EXPECT_TRUE(as<CapTable>(result).bool_value);
    EXPECT_EQ(as<CapTable>(result).pri, 3);
}

TEST_P(HashTest, FieldsAreListedInAscendingOrderHoweverTheyWereWritten) {
    const ClientPtr client = connect();
    char text[] = "text";
    Cap cap("/a", 7);
    cap.record.str_value = text;
    ASSERT_EQ(put(client, cap.message(), {kState, kStr}), 0);
    ASSERT_EQ(put(client, cap.message(), {kPri, kInt, kBool, kInt}), 0);
    EXPECT_EQ(fields_of(read(client, cap.message())), (Fields{kIndex, kBool, kInt, kStr, kPri, kState}));
}

TEST_P(HashTest, AWrittenDefaultIsPresent) {
    const ClientPtr client = connect();
    const Cap cap("/a");
    ASSERT_EQ(put(client, cap.message(), {kBool}), 0);
    EXPECT_EQ(fields_of(read(client, cap.message())), (Fields{kIndex, kBool}));
    ASSERT_EQ(put(client, cap.message(), {kInt, kStr, kState}), 0);
    const HashResultPtr result = read(client, cap.message());
    EXPECT_EQ(fields_of(result), (Fields{kIndex, kBool, kInt, kStr, kState}));
    EXPECT_FALSE(as<CapTable>(result).bool_value);
    EXPECT_EQ(as<CapTable>(result).int32_value, 0);
    EXPECT_STREQ(as<CapTable>(result).str_value, "");
}

TEST_P(HashTest, AValueCanGoBackToItsDefault) {
    const ClientPtr client = connect();
    char text[] = "text";
    Cap cap("/a", 7);
    cap.record.bool_value = true;
    cap.record.str_value = text;
    ASSERT_EQ(put(client, cap.message(), {kBool, kInt, kStr}), 0);
    ASSERT_EQ(put(client, Cap("/a").message(), {kBool, kInt, kStr}), 0);
    const HashResultPtr result = read(client, cap.message());
    EXPECT_EQ(fields_of(result), (Fields{kIndex, kBool, kInt, kStr}));
    EXPECT_FALSE(as<CapTable>(result).bool_value);
    EXPECT_EQ(as<CapTable>(result).int32_value, 0);
    EXPECT_STREQ(as<CapTable>(result).str_value, "");
}

TEST_P(HashTest, TheIndexAloneMakesARecord) {
    const ClientPtr client = connect();
    ASSERT_EQ(put(client, Cap("/a").message(), {kIndex}), 0);
    const HashResultPtr result = read(client, Cap("/a").message());
    ASSERT_NE(result->record, nullptr);
    EXPECT_EQ(fields_of(result), (Fields{kIndex}));
    EXPECT_STREQ(as<CapTable>(result).index->url, "/a");
}

TEST_P(HashTest, AnIndexOfDefaultsIsAnIndex) {
    const ClientPtr client = connect();
    ASSERT_EQ(put(client, NodeCap(0, "", 3).message(), {kInt}), 0);
    const HashResultPtr result = read(client, NodeCap(0, "").message());
    ASSERT_NE(result->record, nullptr);
    EXPECT_EQ(fields_of(result), (Fields{kIndex, kInt}));
    ASSERT_NE(as<CapGlbTable>(result).index, nullptr);
    EXPECT_EQ(as<CapGlbTable>(result).index->node, 0);
    EXPECT_STREQ(as<CapGlbTable>(result).index->url, "");
}

TEST_P(HashTest, EveryIntegerSurvives) {
    const ClientPtr client = connect();
    for (const int32_t value : {0, 1, -1, 127, 128, INT_MAX, INT_MIN, INT_MIN + 1}) {
        ASSERT_EQ(put_int(client, "/a", value), 0);
        EXPECT_EQ(stored_int(client, "/a"), value);
    }
}

TEST_P(HashTest, EveryStringSurvives) {
    const ClientPtr client = connect();
    std::string every_byte;
    for (int c = 1; c <= 255; ++c) {
        every_byte.push_back(static_cast<char>(c));
    }
    for (std::string value : {every_byte, std::string("\r\n$5\r\n"), std::string(100000, 'x'), std::string()}) {
        Cap cap("/a");
        cap.record.str_value = value.data();
        ASSERT_EQ(put(client, cap.message(), {kStr}), 0);
        EXPECT_EQ(as<CapTable>(read(client, cap.message())).str_value, value);
    }
}

TEST_P(HashTest, ANullStringIsAnEmptyOne) {
    const ClientPtr client = connect();
    Cap cap("/a");
    cap.record.str_value = nullptr;
    ASSERT_EQ(put(client, cap.message(), {kStr}), 0);
    const HashResultPtr result = read(client, Cap("/a").message());
    EXPECT_EQ(fields_of(result), (Fields{kIndex, kStr}));
    EXPECT_STREQ(as<CapTable>(result).str_value, "");
}

TEST_P(HashTest, BytesSurviveWithTheirZeros) {
    const ClientPtr client = connect({kCardDb});
    std::string serial("\0\x01\xff\0tail\0", 9);
    Card card(1, 2, 3, 4);
    card.record.serial = {serial.size(), reinterpret_cast<uint8_t *>(serial.data())};
    ASSERT_EQ(put(client, card.message(), {20, 21}, kCardDb), 0);
    const HashResultPtr result = read(client, card.message(), kCardDb);
    EXPECT_EQ(fields_of(result), (Fields{kIndex, 20, 21}));
    EXPECT_EQ(text_of(as<CardInfo>(result).serial), serial);
    EXPECT_EQ(as<CardInfo>(result).mac_addr.len, 0u);
}

TEST_P(HashTest, ANestedRecordSurvives) {
    const ClientPtr client = connect({kCardDb});
    char name[] = "fabric";
    Hash<CardStaticInfo> inner;
    inner.index.type = -5;
    inner.record.node_type = INT_MIN;
    inner.record.name = name;
    Card card(-1, INT_MIN, 0, INT_MAX);
    card.record.static_info = &inner.record;
    ASSERT_EQ(put(client, card.message(), {14}, kCardDb), 0);

    const HashResultPtr result = read(client, card.message(), kCardDb);
    EXPECT_EQ(fields_of(result), (Fields{kIndex, 14}));
    const CardStaticInfo *read_inner = as<CardInfo>(result).static_info;
    ASSERT_NE(read_inner, nullptr);
    ASSERT_NE(read_inner->index, nullptr);
    EXPECT_EQ(read_inner->index->type, -5);
    EXPECT_EQ(read_inner->node_type, INT_MIN);
    EXPECT_STREQ(read_inner->name, "fabric");
    EXPECT_EQ(as<CardInfo>(result).index->devid, INT_MIN);
    EXPECT_EQ(as<CardInfo>(result).index->sslotid, INT_MAX);
}

TEST_P(HashTest, ANestedRecordOfDefaultsIsThereAndAMissingOneIsNot) {
    const ClientPtr client = connect({kCardDb});
    Hash<CardStaticInfo> inner;
    inner.record.index = nullptr;
    Card card(1, 2, 3, 4);
    card.record.static_info = &inner.record;
    ASSERT_EQ(put(client, card.message(), {14}, kCardDb), 0);
    EXPECT_NE(as<CardInfo>(read(client, card.message(), kCardDb)).static_info, nullptr);

    card.record.static_info = nullptr;
    ASSERT_EQ(put(client, card.message(), {14}, kCardDb), 0);
    const HashResultPtr result = read(client, card.message(), kCardDb);
    EXPECT_EQ(as<CardInfo>(result).static_info, nullptr);
    EXPECT_EQ(fields_of(result), (Fields{kIndex, 14}));
}

TEST_P(HashTest, AnEnumSurvives) {
    const ClientPtr client = connect();
    Hash<AppDfCardDenyCheckResult> check;
    for (const auto stat : {APP_DF_CARD_CHECK_STAT__APP_DF_CHECK_PASS, APP_DF_CARD_CHECK_STAT__APP_DF_CHECK_DENY}) {
        check.record.stat = stat;
        ASSERT_EQ(put(client, check.message(), {6}), 0);
        const HashResultPtr result = read(client, check.message());
        EXPECT_EQ(as<AppDfCardDenyCheckResult>(result).stat, stat);
        EXPECT_EQ(fields_of(result), (Fields{kIndex, 6}));
    }
}

TEST_P(HashTest, TypesWithEqualIndexesAreApart) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(put(client, ByUrl<CapFabTable>("/a", 2).message(), {kInt}), 0);
    EXPECT_EQ(stored_int(client, "/a"), 1);
    EXPECT_EQ(as<CapFabTable>(read(client, ByUrl<CapFabTable>("/a").message())).int32_value, 2);
}

TEST_P(HashTest, TwoDatabasesAreApart) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(put(client, Cap("/a", 1).message(), {kInt}, kCardDb), 0);
    EXPECT_EQ(read(client, Cap("/a").message(), kGlobalDb)->record, nullptr);
    ASSERT_EQ(put(client, Cap("/a", 2).message(), {kInt}, kGlobalDb), 0);
    EXPECT_EQ(as<CapTable>(read(client, Cap("/a").message(), kCardDb)).int32_value, 1);
    ASSERT_EQ(del(client, Cap("/a").message(), kCardDb), 0);
    EXPECT_EQ(stored_int(client, "/a"), 2);
}

TEST_P(HashTest, TheRequestIsOnlyReadAndNotKept) {
    const ClientPtr client = connect();
    std::string url = "/a";
    auto cap = std::make_unique<Cap>(url, 5);
    const std::string before = packed(cap->message());
    ASSERT_EQ(put(client, cap->message(), {kInt}), 0);
    HashResultPtr result = read(client, cap->message());
    EXPECT_EQ(packed(cap->message()), before);
    cap.reset();
    EXPECT_STREQ(as<CapTable>(result).index->url, "/a");
}

TEST_P(HashTest, AResultOutlivesItsClientAndMayBeReleasedOnAnyThread) {
    HashResultPtr result;
    {
        const ClientPtr client = connect();
        ASSERT_EQ(put_int(client, "/a", 5), 0);
        result = read(client, Cap("/a").message());
    }
    EXPECT_EQ(as<CapTable>(result).int32_value, 5);
    std::thread([&result] { result.reset(); }).join();
}

TEST_P(HashTest, AWrongWriteIsRefusedAndWritesNothing) {
    const ClientPtr client = connect();
    const Cap cap("/a", 7);
    Cap no_index("/a", 7);
    no_index.record.index = nullptr;
    const Single<CapGlbState> single(true);
    EXPECT_EQ(ox_mom_hmset_sync(nullptr, kGlobalDb, cap.message(), &kInt, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_hmset_sync(client.get(), kGlobalDb, nullptr, &kInt, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_hmset_sync(client.get(), kGlobalDb, cap.message(), nullptr, 1), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_hmset_sync(client.get(), kGlobalDb, cap.message(), &kInt, 0), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(put(client, no_index.message(), {kInt}), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(put(client, single.message(), {kIndex}), OX_MOM_E_ARGUMENT);
    for (const int32_t field : {0, -1, 4, 9, 20, 23, 99, INT_MAX, INT_MIN}) {
        EXPECT_EQ(put(client, cap.message(), {field}), OX_MOM_E_ARGUMENT) << field;
        EXPECT_EQ(put(client, cap.message(), {kInt, field}), OX_MOM_E_ARGUMENT) << field;
        EXPECT_NE(std::string(ox_mom_last_error()).find(std::to_string(field)), std::string::npos)
            << ox_mom_last_error();
    }
    EXPECT_TRUE(stored_state<CapTable>(client).empty());
}

TEST_P(HashTest, AWrongReadIsNoResult) {
    const ClientPtr client = connect();
    Cap no_index("/a");
    no_index.record.index = nullptr;
    EXPECT_EQ(ox_mom_hgetall_sync(nullptr, kGlobalDb, Cap("/a").message()), nullptr);
    EXPECT_EQ(ox_mom_hgetall_sync(client.get(), kGlobalDb, nullptr), nullptr);
    EXPECT_EQ(ox_mom_hgetall_sync(client.get(), kGlobalDb, no_index.message()), nullptr);
    EXPECT_EQ(ox_mom_hgetall_sync(client.get(), kGlobalDb, Single<CapGlbState>().message()), nullptr);
    EXPECT_STRNE(ox_mom_last_error(), "");
}

}  // namespace
}  // namespace mom_test
