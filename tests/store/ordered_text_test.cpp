// Records as text in order, straight from the store.
#include "store/ordered_text.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <vector>

#include "random_record.h"
#include "record/record_json.h"
#include "redis_connection.h"
#include "store/snapshot.h"
#include "store_fixture.h"

namespace store_test {

namespace {

using record::Record;
using record::View;

class OrderedText : public test_support::StoreTest {};

// As each is by itself, read on its own and sorted.
std::string sorted_lines(std::vector<Record> records) {
    std::sort(records.begin(), records.end(), [](const Record &a, const Record &b) { return precedes(a, b); });
    std::string lines;
    for (const Record &record : records) {
        lines += record_line(record);
    }
    return lines;
}

TEST_P(OrderedText, IsWhatTheRecordsAreByThemselves) {
    store::Store store(this->store());
    std::mt19937 random(5);
    for (const record::RecordType &type : record::record_types()) {
        for (int i = 0; i < 30; ++i) {
            store.write(random_record(type, random));
        }
    }
    std::vector<Record> records;
    for (const record::RecordType &type : record::record_types()) {
        store.scan(type, [&](Record &&record) { records.push_back(std::move(record)); });
    }
    ASSERT_GT(records.size(), 100U);
    auto types = store::all_types();
    std::reverse(types.begin(), types.end());
    EXPECT_EQ(ordered_text(store, types, record::append_record_line), sorted_lines(records));
}

TEST_P(OrderedText, LeavesOutWhatAppendsNothing) {
    store::Store store(this->store());
    for (const char *key : {"cap_table:/b", "cap_table:/", "cap_table:/a", "cap_table:/a/long/one", "cap_fe_ready:2:1",
                            "cap_fe_ready:-1:1", "cap_fe_ready:10:1"}) {
        store.write(record::record_at(key));
    }
    const auto append = [](std::string &text, const View &record) {
        if (record.key() != "cap_table:/a") {
            text += record.key() + " ";
        }
    };
    EXPECT_EQ(ordered_text(store, store::all_types(), append),
              "cap_fe_ready:-1:1 cap_fe_ready:2:1 cap_fe_ready:10:1 cap_table:/ cap_table:/a/long/one cap_table:/b ");
    EXPECT_EQ(ordered_text(store, {}, append), "");
}

INSTANTIATE_OVER_STORES(OrderedText);

TEST(OrderedTextOfAServer, HasARecordOnceThatIsStoredUnderTwoKeys) {
    test_support::RedisServer server;
    server.start();
    store::Store store(server.store_name());
    Record record = record::record_at("cap_table:/a");
    record.set("int32_value", 1);
    store.write(record);
    test_support::RedisConnection raw(server.socket_path());
    raw.must({"SELECT", "28"});
    raw.must({"HSET", "p_libpub.cap_table:/other", "5", "\x2a\x04\x0a\x02/a"});
    raw.must({"SADD", "records:p_libpub.cap_table", "p_libpub.cap_table:/other"});
    int seen = 0;
    store.visit(record::type_named("cap_table"), [&](const View &) { ++seen; });
    EXPECT_EQ(seen, 2);
    const std::string keys =
        ordered_text(store, store::all_types(), [](std::string &text, const View &each) { text += each.key(); });
    EXPECT_EQ(keys, "cap_table:/a");
}

}  // namespace

}  // namespace store_test
