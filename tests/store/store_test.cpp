// A store's records, read and written whatever their type.
#include "store/store.h"

#include <gmock/gmock.h>

#include <map>

#include "command_line/exit_status.h"
#include "random_record.h"
#include "store/snapshot.h"
#include "store_fixture.h"

namespace store_test {

namespace {

using command_line::Failure;
using record::Record;
using store::Snapshot;

class Contents : public test_support::StoreTest {};

TEST_P(Contents, AreReadAsTheyWereWritten) {
    store::Store store(this->store());
    std::mt19937 random(3);
    std::map<std::string, Record> written;
    for (const record::RecordType &type : record::record_types()) {
        for (int i = 0; i < 20; ++i) {
            const Record record = random_record(type, random);
            const auto [place, is_new] = written.emplace(record.key(), record);
            if (is_new) {
                store.write(record);
            }
        }
    }
    for (const auto &[key, record] : written) {
        const auto stored = store.read(record::record_at(key));
        ASSERT_TRUE(stored) << key;
        EXPECT_EQ(*stored, record) << key;
    }
    const Snapshot snapshot = Snapshot::of(store);
    EXPECT_EQ(snapshot.records().size(), written.size());
    for (const auto &[key, record] : snapshot.records()) {
        EXPECT_EQ(record, written.at(key)) << key;
    }
    for (const auto &[key, record] : written) {
        store.remove(record);
        EXPECT_FALSE(store.read(record)) << key;
    }
    EXPECT_TRUE(Snapshot::of(store).records().empty());
}

TEST_P(Contents, KeepTheFieldsThatAWriteDoesNotName) {
    store::Store store(this->store());
    Record ready = record::record_at("cap_fe_ready:1:2");
    ready.set("ready", true);
    store.write(ready);
    Record type = record::record_at("cap_fe_ready:1:2");
    type.set("node_type", 3);
    store.write(type);
    ready.set("node_type", 3);
    EXPECT_EQ(store.read(type), ready);
}

TEST_P(Contents, AreScannedWithinAScan) {
    store::Store store(this->store());
    for (const char *key : {"cap_table:/a", "cap_table:/b", "cap_fe_ready:1:2"}) {
        store.write(record::record_at(key));
    }
    std::multiset<std::string> keys;
    store.scan(record::type_named("cap_table"), [&](Record &&record) {
        keys.insert(record.key());
        store.scan(record::type_named("cap_fe_ready"), [&](Record &&inner) { keys.insert(inner.key()); });
    });
    EXPECT_EQ(keys,
              (std::multiset<std::string>{"cap_table:/a", "cap_table:/b", "cap_fe_ready:1:2", "cap_fe_ready:1:2"}));
}

TEST_P(Contents, OfAScanThatThrowsAreToldNoFurther) {
    store::Store store(this->store());
    for (const char *key : {"cap_table:/a", "cap_table:/b"}) {
        store.write(record::record_at(key));
    }
    int told = 0;
    EXPECT_THROW(store.scan(record::type_named("cap_table"),
                            [&](Record &&) {
                                ++told;
                                throw std::runtime_error("enough");
                            }),
                 std::runtime_error);
    EXPECT_EQ(told, 1);
}

INSTANTIATE_OVER_STORES(Contents);

TEST(AStore, FailsWithTheStatusThatFits) {
    try {
        store::Store store("unix:///nonexistent/socket");
        store.read(record::record_at("cap_glb_state"));
        FAIL() << "nobody is there";
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status(), command_line::kNoConnection);
        EXPECT_THAT(failure.what(), testing::HasSubstr("/nonexistent/socket"));
    }
    try {
        const store::Store store("nothing:");
        FAIL() << "no such store";
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status(), command_line::kUsage);
    }
}

}  // namespace

}  // namespace store_test
