// Notifications as bytes: what is written is read, what is cut is not, and the server writes as we do.
#include "mom_test.h"

#include "mom/records/notification.h"

namespace mom_test {
namespace {

// Around the lengths where the form of a length changes.
const size_t kLengths[] = {0, 1, 2, 31, 32, 255, 256, 65535, 65536, 100000};

mom::StoredFields fields_with(const std::string &value) {
    return {{.number = 5, .value = "index"},
            {.number = 10, .value = value},
            {.number = 22, .value = ""},
            {.number = 123, .value = value},
            {.number = 536870911, .value = "last"}};
}

bool same(const mom::StoredFields &one, const mom::StoredFields &other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](const auto &a, const auto &b) { return a.number == b.number && a.value == b.value; });
}

TEST(NotificationTest, FieldsOfEveryLengthAreReadAsWritten) {
    for (const size_t length : kLengths) {
        const std::string value(length, 'x');
        const mom::StoredFields fields = fields_with(value);
        const std::vector<int32_t> written = {10, 123};
        const std::string text = mom::encode_notification(OX_MOM_CMD_DELIVERED, written, fields);
        mom::Notification notification;
        ASSERT_TRUE(mom::decode_notification(text, notification)) << length;
        EXPECT_EQ(notification.cmd, OX_MOM_CMD_DELIVERED);
        EXPECT_EQ(notification.written, written);
        EXPECT_TRUE(same(notification.fields, fields)) << length;
    }
}

TEST(NotificationTest, AnyNumberOfFieldsIsReadAsWritten) {
    for (const size_t count : {0U, 1U, 7U, 8U, 32767U, 32768U}) {
        mom::StoredFields fields;
        for (size_t i = 0; i < count; ++i) {
            fields.push_back({.number = static_cast<uint32_t>(i + 1), .value = "v"});
        }
        mom::Notification notification;
        ASSERT_TRUE(mom::decode_notification(mom::encode_notification(OX_MOM_CMD_DELETED, {}, fields), notification))
            << count;
        EXPECT_EQ(notification.fields.size(), count);
        EXPECT_TRUE(notification.written.empty());
    }
}

TEST(NotificationTest, AnObjectIsReadAsWrittenAfterARecordWithFields) {
    mom::Notification notification;
    ASSERT_TRUE(
        mom::decode_notification(mom::encode_notification(OX_MOM_CMD_DELIVERED, {}, fields_with("x")), notification));
    const std::string text = mom::encode_object_notification(OX_MOM_CMD_WRITTEN, "bytes");
    ASSERT_TRUE(mom::decode_notification(text, notification));
    EXPECT_EQ(notification.cmd, OX_MOM_CMD_WRITTEN);
    EXPECT_EQ(notification.bytes, "bytes");
    EXPECT_TRUE(notification.fields.empty());
}

// Each copy has memory of its own exactly as long, so that a sanitizer sees the first byte read too many.
TEST(NotificationTest, WhatIsCutAnywhereOrTooLongIsNone) {
    const std::string value(40, 'x');
    const std::string text =
        mom::encode_notification(OX_MOM_CMD_DELIVERED, std::vector<int32_t>{10, 123}, fields_with(value));
    mom::Notification notification;
    for (size_t size = 0; size < text.size(); ++size) {
        const std::vector<char> cut(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(mom::decode_notification({cut.data(), cut.size()}, notification)) << size;
    }
    EXPECT_FALSE(mom::decode_notification(text + "x", notification));
    EXPECT_TRUE(mom::decode_notification(text, notification));
}

TEST(NotificationTest, AFieldNamedByNoNumberHasNone) {
    const std::string text = mom::encode_notification(OX_MOM_CMD_DELIVERED, {}, {{.number = 12, .value = "v"}});
    mom::Notification notification;
    for (const char *name : {"1x", "x1", "  ", "1:", "/1"}) {
        std::string other = text;
        other.replace(other.find("12"), 2, name);
        ASSERT_TRUE(mom::decode_notification(other, notification)) << name;
        EXPECT_EQ(notification.fields.at(0).number, 0U) << name;
    }
}

class DeliveredTest : public StoreTest {};
INSTANTIATE_OVER_STORES(DeliveredTest);

TEST_P(DeliveredTest, ARecordOfAnyLengthIsDeliveredWhole) {
    const ClientPtr client = connect();
    const ClientPtr writer = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    for (const size_t length : kLengths) {
        std::string text(length, 'x');
        Cap cap("/a");
        cap.record.str_value = text.data();
        slot().events.clear();
        ASSERT_EQ(put(writer, cap.message(), {kStr, kState}), 0);
        ASSERT_TRUE(pump_until(client, [] { return slot().count(OX_MOM_CMD_DELIVERED) == 1; }));
        const Event &event = slot().events.back();
        EXPECT_EQ(event.as<CapTable>().str_value, text) << length;
        EXPECT_EQ(event.fields, (std::vector<int32_t>{5, kStr, kState}));
    }
}

TEST(NotificationTest, ARecordIsTheSameInWhateverOrderItsFieldsCome) {
    const std::vector<mom::StoredField> fields = {
        {.number = 5, .value = "i"}, {.number = 6, .value = "a"}, {.number = 7, .value = "b"}};
    const auto text_of = [](const mom::StoredFields &stored) {
        std::string text;
        mom::append_fields(text, stored);
        return text;
    };
    const std::string text = text_of(fields);
    EXPECT_TRUE(mom::is_same_record(text, text_of({fields[2], fields[0], fields[1]})));
    EXPECT_FALSE(mom::is_same_record(text, text_of({fields[0], fields[1]})));
    EXPECT_FALSE(mom::is_same_record(text, text_of({fields[0], fields[1], {.number = 7, .value = "c"}})));
    EXPECT_FALSE(mom::is_same_record(text, text_of({fields[0], fields[1], {.number = 8, .value = "b"}})));
}

}  // namespace
}  // namespace mom_test
