// Reading a capability out of a notification.

#include <algorithm>
#include <cstring>
#include <vector>

#include "allocations.h"
#include "library_test.h"
#include "parameter_name.h"

namespace trel_cap_tests {
namespace {

template <class Value>
int32_t call_reader(int32_t (*reader)(MomMsg *, uint32_t, char *, Value *, uint32_t *), MomMsg *msg, uint32_t size,
                    char *url, int32_t *value, uint32_t *length) {
    if (value == nullptr) {
        return reader(msg, size, url, nullptr, length);
    }
    std::array<Value, 3> guarded = {0x55, static_cast<Value>(*value), 0x55};
    const int32_t status = reader(msg, size, url, &guarded[1], length);
    EXPECT_EQ(guarded[0], 0x55);
    EXPECT_EQ(guarded[2], 0x55);
    *value = guarded[1];
    return status;
}

struct Reader {
    const char *name;
    uint32_t field;
    uint32_t other_field;
    int32_t value_after_failure;
    const char *field_missing;
    int32_t (*read)(MomMsg *msg, uint32_t size, char *url, int32_t *value, uint32_t *length);
};

const Reader kReaders[] = {
    {"trel_cap_ce_get_g_cap_bool_by_pmsg", 6, 7, 0, "bool value field invalid",
     [](MomMsg *msg, uint32_t size, char *url, int32_t *value, uint32_t *length) {
         return call_reader(trel_cap_ce_get_g_cap_bool_by_pmsg, msg, size, url, value, length);
     }},
    {"trel_cap_ce_get_g_cap_int32_by_pmsg", 7, 6, -1, "int32 value field invalid",
     [](MomMsg *msg, uint32_t size, char *url, int32_t *value, uint32_t *length) {
         return call_reader(trel_cap_ce_get_g_cap_int32_by_pmsg, msg, size, url, value, length);
     }},
};

class Notification : public LibraryTest, public ::testing::WithParamInterface<Reader> {
protected:
    static constexpr int32_t kHeld = 0x2a;
    static constexpr size_t kRoom = 1024;
    const Reader &reader = GetParam();

    // What the caller's variables hold; the buffer is longer than what is told of it and filled with 'x' behind.
    std::vector<char> buffer = std::vector<char>(kRoom, 'x');
    int32_t value = kHeld;
    uint32_t length = 77;

    int32_t read(Message message, uint32_t size, const std::string &old_content = "") {
        std::fill(buffer.begin(), buffer.end(), 'x');
        std::copy_n(old_content.c_str(), old_content.size() + 1, buffer.begin());
        value = kHeld;
        length = 77;
        const int32_t status = reader.read(message.get(), size, buffer.data(), &value, &length);
        const auto behind =
            buffer.begin() + static_cast<std::ptrdiff_t>(std::max<size_t>(size, old_content.size() + 1));
        EXPECT_TRUE(std::all_of(behind, buffer.end(), [](char byte) { return byte == 'x'; })) << "wrote too far";
        return status;
    }

    Message notification(const std::string &url, int32_t stored = 1) const {
        const Record record = cap_table(url, {{reader.field, stored}, {reader.other_field, 99}});
        return {4, HashAnswer::found(record, {5, static_cast<int32_t>(reader.field)})};
    }

    void expect_cleared(size_t size) {
        EXPECT_TRUE(std::all_of(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size),
                                [](char byte) { return byte == '\0'; }));
        EXPECT_EQ(length, 0U);
        EXPECT_EQ(value, reader.value_after_failure);
    }

    Log error(const std::string &message) const { return {100, reader.name, message}; }
    Log detail(const std::string &message) const { return {40, reader.name, message}; }
};

INSTANTIATE_TEST_SUITE_P(Readers, Notification, ::testing::ValuesIn(kReaders), test_support::name_of);

TEST_P(Notification, TellsTheUrlItsLengthAndTheValue) {
    at_every_log_level([this] {
        EXPECT_EQ(read(notification("/chassis/fan"), 256), 0);
        EXPECT_STREQ(buffer.data(), "/chassis/fan");
        EXPECT_EQ(length, 12U);
        EXPECT_EQ(value, 1);
        expect_events({detail("enter size 256"), detail("url /chassis/fan, value is 1 length 12")});
    });
}

TEST_P(Notification, TellsAWrittenZero) {
    EXPECT_EQ(read(notification("/a", 0), 16), 0);
    EXPECT_EQ(value, 0);
    EXPECT_THAT(platform.logs(), ::testing::Contains(detail("url /a, value is 0 length 2")));
}

// What kind of notification it is does not matter to a reader.
TEST_P(Notification, ReadsWhateverTheCommand) {
    for (const int32_t cmd : {0, 1, 3, 4, 6, 29, -1}) {
        const Record record = cap_table("/a", {{reader.field, 1}});
        EXPECT_EQ(read(Message(cmd, HashAnswer::found(record, {static_cast<int32_t>(reader.field)})), 16), 0) << cmd;
        EXPECT_EQ(value, 1) << cmd;
    }
}

TEST_P(Notification, ClearsTheWholeBufferFirst) {
    EXPECT_EQ(read(notification("/a"), 100, "something older and longer"), 0);
    EXPECT_STREQ(buffer.data(), "/a");
    EXPECT_TRUE(std::all_of(buffer.begin() + 2, buffer.begin() + 100, [](char byte) { return byte == '\0'; }));
}

TEST_P(Notification, CutsTheUrlToTheBuffer) {
    const std::string url = "/abcdefghijklmnopqrs";
    ASSERT_EQ(url.size(), 20U);
    const std::vector<std::pair<uint32_t, size_t>> lengths = {{1, 0}, {2, 1}, {10, 9}, {19, 18}, {20, 19}, {21, 20}};
    for (const auto &[size, expected] : lengths) {
        EXPECT_EQ(read(notification(url), size), 0) << size;
        EXPECT_EQ(std::string(buffer.data()), url.substr(0, expected)) << size;
        EXPECT_EQ(length, expected) << size;
        EXPECT_EQ(value, 1) << size;
    }
}

TEST_P(Notification, CutsTheUrlTo255Bytes) {
    const std::vector<std::tuple<size_t, uint32_t, size_t>> cases = {{255, 255, 254}, {255, 256, 255}, {256, 256, 255},
                                                                     {255, 512, 255}, {256, 512, 255}, {300, 512, 255},
                                                                     {300, 256, 255}, {300, 200, 199}};
    for (const auto &[url_length, size, expected] : cases) {
        const std::string url = url_of_length(url_length);
        EXPECT_EQ(read(notification(url), size), 0);
        EXPECT_EQ(std::string(buffer.data()), url.substr(0, expected)) << url_length << " into " << size;
        EXPECT_EQ(length, expected) << url_length << " into " << size;
    }
}

TEST_P(Notification, ABufferOfNoSizeGetsNothingButTheRestIsRead) {
    EXPECT_EQ(read(notification("/a"), 0), 0);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(value, 1);
}

TEST_P(Notification, AnEmptyAndAMissingUrlAreEmpty) {
    EXPECT_EQ(read(notification(""), 16, "old"), 0);
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(value, 1);

    const Record without = Record::of(cap_table__descriptor, {{reader.field, 1}}).with_index({{1, nullptr}});
    EXPECT_EQ(read(Message(4, HashAnswer::found(without, {static_cast<int32_t>(reader.field)})), 16, "old"), 0);
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(value, 1);
}

TEST_P(Notification, WithoutAResultThereIsNoAnswer) {
    at_every_log_level([this] {
        EXPECT_EQ(read(Message(29), 64, "old"), -21);
        expect_cleared(64);
        expect_events({detail("enter size 64"), error("result NULL")});
    });
}

TEST_P(Notification, AnErrorCodeIsNoAnswer) {
    for (const int32_t code : {-108, 5}) {
        HashAnswer answer =
            HashAnswer::found(cap_table("/a", {{reader.field, 1}}), {static_cast<int32_t>(reader.field)});
        answer.error_code = code;
        at_every_log_level([&] {
            EXPECT_EQ(read(Message(4, answer), 64, "old"), -21);
            expect_cleared(64);
            expect_events({detail("enter size 64"), error(text("result error_code %d", code))});
        });
    }
}

TEST_P(Notification, WithoutARecordThereIsNoRecord) {
    at_every_log_level([this] {
        const HashAnswer answer = HashAnswer::found(Record(), {static_cast<int32_t>(reader.field)});
        EXPECT_EQ(read(Message(3, answer), 64, "old"), -22);
        expect_cleared(64);
        expect_events({detail("enter size 64"), error("view is NULL, may be not exist")});
    });
}

// The index is looked at before the field.
TEST_P(Notification, ARecordWithoutAnIndexIsReported) {
    const Record without = Record::of(cap_table__descriptor, {{reader.field, 1}});
    for (const std::vector<int32_t> &ids : {std::vector<int32_t>{static_cast<int32_t>(reader.field)}, {}}) {
        at_every_log_level([&] {
            EXPECT_EQ(read(Message(4, HashAnswer::found(without, ids)), 64, "old"), -23);
            expect_cleared(64);
            expect_events({detail("enter size 64"), error("view index is NULL")});
        });
    }
}

TEST_P(Notification, AFieldThatIsNotPresentIsNoValue) {
    const Record record = cap_table("/a", {{6, 1}, {7, 1}});
    const auto other = static_cast<int32_t>(reader.other_field);
    for (const std::vector<int32_t> &ids : {std::vector<int32_t>{}, {5}, {5, other, 8, 22}}) {
        at_every_log_level([&] {
            EXPECT_EQ(read(Message(4, HashAnswer::found(record, ids)), 64, "old"), -24);
            expect_cleared(64);
            expect_events({detail("enter size 64"), error(reader.field_missing)});
        });
    }
}

TEST_P(Notification, FindsTheFieldWhereverItStands) {
    const Record record = cap_table("/a", {{reader.field, 1}});
    const auto field = static_cast<int32_t>(reader.field);
    const auto other = static_cast<int32_t>(reader.other_field);
    for (const std::vector<int32_t> &ids : {std::vector<int32_t>{field, 5, other}, {5, other, field}, {5, field}}) {
        EXPECT_EQ(read(Message(4, HashAnswer::found(record, ids)), 64), 0);
        EXPECT_EQ(value, 1);
    }
}

// What the buffer still holds is measured before it is cleared, and before the message is looked at.
TEST_P(Notification, RefusesABufferThatHoldsALongString) {
    for (const size_t old_length : {size_t{256}, size_t{300}, size_t{1000}}) {
        const std::string old = url_of_length(old_length);
        at_every_log_level([&] {
            EXPECT_EQ(read(Message(29), 512, old), -4);
            EXPECT_EQ(std::string(buffer.data()), old);
            EXPECT_EQ(value, kHeld);
            EXPECT_EQ(length, 77U);
            expect_events({error(text("url len too long %zu!\n", old_length))});
        });
    }
    EXPECT_EQ(read(notification("/a"), 512, url_of_length(255)), 0);
    EXPECT_STREQ(buffer.data(), "/a");
}

// Each combination of bad arguments reports the first of: message, URL, its length, variable, length variable.
TEST_P(Notification, ReportsTheFirstBadArgumentOnly) {
    Message message = notification("/a");
    const std::string long_content = url_of_length(256);
    g_trel_cap_zlog_level = 1;
    for (unsigned bad = 1; bad < 32; ++bad) {
        SCOPED_TRACE(bad);
        const bool no_msg = (bad & 1) != 0;
        const bool no_url = (bad & 2) != 0;
        const bool long_url = (bad & 4) != 0;
        const bool no_value = (bad & 8) != 0;
        const bool no_length = (bad & 16) != 0;
        std::strcpy(buffer.data(), long_url ? long_content.c_str() : "old");
        value = kHeld;
        length = 77;
        EXPECT_EQ(reader.read(no_msg ? nullptr : message.get(), 512, no_url ? nullptr : buffer.data(),
                              no_value ? nullptr : &value, no_length ? nullptr : &length),
                  -4);
        EXPECT_STREQ(buffer.data(), long_url ? long_content.c_str() : "old");
        EXPECT_EQ(value, kHeld);
        EXPECT_EQ(length, 77U);
        const char *expected = no_msg     ? "pmsg NULL pointer, addr error!\n"
                               : no_url   ? "url NULL pointer, addr error!\n"
                               : long_url ? "url len too long 256!\n"
                               : no_value ? "value NULL pointer, addr error!\n"
                                          : "length NULL pointer, addr error!\n";
        expect_events({error(expected)});
    }
}

TEST_P(Notification, ArgumentErrorsGoThroughTheGate) {
    at_every_log_level([this] {
        EXPECT_EQ(reader.read(nullptr, 512, nullptr, nullptr, nullptr), -4);
        expect_events({error("pmsg NULL pointer, addr error!\n")});
    });
}

TEST_P(Notification, LeavesTheMessageAloneAndAllocatesNothing) {
    Message message = notification("/a");
    const MomMsg before = *message.get();
    auto *hash = static_cast<MomHashResult *>(before.result);
    const MomHashResult hash_before = *hash;
    const Record record_before(hash->record);
    std::vector<char> url(16, '\0');
    {
        const test_support::AllocationCount allocations;
        EXPECT_EQ(reader.read(message.get(), 16, url.data(), &value, &length), 0);
        EXPECT_EQ(allocations.count(), 0);
    }
    EXPECT_EQ(message.get()->cmd, before.cmd);
    EXPECT_EQ(message.get()->result, before.result);
    EXPECT_EQ(hash->record, hash_before.record);
    EXPECT_EQ(hash->n_field_ids, hash_before.n_field_ids);
    EXPECT_EQ(Record(hash->record), record_before);
    EXPECT_THAT(platform.calls(), ::testing::IsEmpty());
}

using NotificationBool = LibraryTest;

TEST_F(NotificationBool, EveryStoredNumberButZeroIsOne) {
    for (const int32_t stored : {2, 5, 256, -1, INT32_MIN}) {
        Message message(4, HashAnswer::found(cap_table("/a", {{6, stored}}), {6}));
        std::array<char, 16> url{};
        uint8_t value = 0;
        uint32_t length = 0;
        EXPECT_EQ(trel_cap_ce_get_g_cap_bool_by_pmsg(message.get(), 16, url.data(), &value, &length), 0);
        EXPECT_EQ(value, 1) << stored;
        EXPECT_THAT(platform.logs(),
                    ::testing::Contains(Log{40, "trel_cap_ce_get_g_cap_bool_by_pmsg", "url /a, value is 1 length 2"}));
        platform.forget();
    }
}

using NotificationInt32 = LibraryTest;

TEST_F(NotificationInt32, TheStoredNumberComesUnchanged) {
    for (const int32_t stored : {0, -1, 42, INT32_MAX, INT32_MIN}) {
        Message message(4, HashAnswer::found(cap_table("/a", {{7, stored}}), {7}));
        std::array<char, 16> url{};
        int32_t value = 0x2a;
        uint32_t length = 0;
        EXPECT_EQ(trel_cap_ce_get_g_cap_int32_by_pmsg(message.get(), 16, url.data(), &value, &length), 0);
        EXPECT_EQ(value, stored);
        EXPECT_THAT(platform.logs(), ::testing::Contains(Log{40, "trel_cap_ce_get_g_cap_int32_by_pmsg",
                                                             text("url /a, value is %d length 2", stored)}));
        platform.forget();
    }
}

}  // namespace
}  // namespace trel_cap_tests
