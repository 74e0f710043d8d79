// Reading everything of a type.
#include "contract_test.h"

#include <atomic>
#include <set>
#include <thread>

namespace mom_test {
namespace {

class ScanTest : public StoreTest {};
INSTANTIATE_OVER_STORES(ScanTest);

template <typename Record>
int32_t scan(const ClientPtr &client, int32_t db = kGlobalDb, MomMsgCb cb = on_notification<0>) {
    Record request;
    protobuf_c_message_init(descriptor<Record>(), &request);
    return ox_mom_scan_sync(client.get(), db, &request.base, 0, cb, nullptr);
}

TEST_P(ScanTest, OfNothingCallsNothing) {
    const ClientPtr client = connect();
    EXPECT_EQ(scan<CapTable>(client), 0);
    EXPECT_EQ(scan<CapGlbState>(client), 0);
    EXPECT_TRUE(slot().events.empty());
}

TEST_P(ScanTest, DeliversEveryHashBeforeItReturns) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(put(client, Cap("/b").message(), {kBool}), 0);
    ASSERT_EQ(scan<CapTable>(client), 0);
    ASSERT_EQ(slot().commands(), (std::vector<int32_t>{4, 4}));
    for (const Event &event : slot().events) {
        const bool is_a = std::string(event.as<CapTable>().index->url) == "/a";
        EXPECT_EQ(event.client, client.get());
        EXPECT_EQ(event.db, kGlobalDb);
        EXPECT_EQ(event.error_code, 0);
        EXPECT_EQ(event.fields, (std::vector<int32_t>{kIndex, is_a ? kInt : kBool}));
        EXPECT_EQ(event.as<CapTable>().int32_value, is_a ? 1 : 0);
    }
    EXPECT_STRNE(slot().events[0].as<CapTable>().index->url, slot().events[1].as<CapTable>().index->url);
}

TEST_P(ScanTest, DeliversASingleObjectItself) {
    const ClientPtr client = connect();
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    ASSERT_EQ(scan<CapGlbState>(client), 0);
    ASSERT_EQ(slot().commands(), (std::vector<int32_t>{1}));
    EXPECT_TRUE(slot().events[0].as<CapGlbState>().ready);
    EXPECT_EQ(slot().events[0].db, kGlobalDb);
}

TEST_P(ScanTest, LeavesOutOtherTypesOtherDatabasesAndTheDeleted) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(put_int(client, "/kept", 1), 0);
    ASSERT_EQ(put_int(client, "/deleted", 1), 0);
    ASSERT_EQ(put(client, Cap("/card-db").message(), {kInt}, kCardDb), 0);
    ASSERT_EQ(put(client, ByUrl<CapFabTable>("/fab").message(), {kInt}), 0);
    ASSERT_EQ(put(client, NodeCap(1, "/node").message(), {kInt}), 0);
    ASSERT_EQ(set<CapGlbState>(client, true), 0);
    ASSERT_EQ(del(client, Cap("/deleted").message()), 0);
    ASSERT_EQ(scan<CapTable>(client), 0);
    ASSERT_EQ(slot().events.size(), 1u);
    EXPECT_STREQ(slot().events[0].as<CapTable>().index->url, "/kept");
}

TEST_P(ScanTest, DeliversEachOfManyExactlyOnce) {
    constexpr size_t kMany = 2500;
    const ClientPtr client = connect();
    for (size_t i = 0; i < kMany; ++i) {
        ASSERT_EQ(put_int(client, "/" + std::to_string(i), static_cast<int32_t>(i)), 0);
    }
    ASSERT_EQ(scan<CapTable>(client), 0);
    std::set<int32_t> values;
    for (const Event &event : slot().events) {
        values.insert(event.as<CapTable>().int32_value);
    }
    EXPECT_EQ(slot().events.size(), kMany);
    EXPECT_EQ(values.size(), kMany);
}

TEST_P(ScanTest, DoesNotDeliverWaitingNotifications) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<1>), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(scan<CapTable>(client), 0);
    EXPECT_EQ(slot(0).events.size(), 1u);
    EXPECT_TRUE(slot(1).events.empty());
    EXPECT_TRUE(pump_until(client, [] { return slot(1).events.size() == 2; }));
}

// A writer keeps two fields of each record equal, in one write each.
class PairWriter {
public:
    explicit PairWriter(const std::string &store)
        : thread_([this, store] {
              const ClientPtr writer = test_support::connect_client(store, {kGlobalDb});
              for (int32_t value = 1; !done_; ++value) {
                  Cap cap("/" + std::to_string(value % 40), value);
                  cap.record.pri = value;
                  put(writer, cap.message(), {kInt, kPri});
                  written_ = value;
              }
          }) {}
    ~PairWriter() {
        done_ = true;
        thread_.join();
    }
    PairWriter(const PairWriter &) = delete;
    PairWriter &operator=(const PairWriter &) = delete;

    int32_t written() const { return written_; }

private:
    std::atomic<bool> done_ = false;
    std::atomic<int32_t> written_ = 0;
    std::thread thread_;
};

TEST_P(ScanTest, ReadsEachRecordWholeWhileItIsWritten) {
    const ClientPtr client = connect();
    const PairWriter writer(store());
    while (writer.written() < 40) {
        std::this_thread::yield();
    }
    const Stopwatch watch;
    const int32_t before = writer.written();
    // Until each record has been written several times meanwhile.
    for (int times = 0; times < 100 || writer.written() < before + 200; ++times) {
        ASSERT_LT(watch.elapsed(), kLongEnough);
        slot().events.clear();
        ASSERT_EQ(scan<CapTable>(client), 0);
        ASSERT_EQ(slot().events.size(), 40u);
        for (const Event &event : slot().events) {
            ASSERT_EQ(event.as<CapTable>().int32_value, event.as<CapTable>().pri);
        }
    }
}

TEST_P(ScanTest, ToleratesDeletionsAndWritesFromItsOwnCallback) {
    const ClientPtr client = connect();
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(put_int(client, "/" + std::to_string(i), i), 0);
    }
    slot().hook = [](MomClient *running, MomMsg *) {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(ox_mom_del_sync(running, kGlobalDb, Cap("/" + std::to_string(i)).message()), 0);
        }
        EXPECT_EQ(ox_mom_hmset_sync(running, kGlobalDb, Cap("/new", 1).message(), &kInt, 1), 0);
    };
    ASSERT_EQ(scan<CapTable>(client), 0);
    EXPECT_GE(slot().events.size(), 1u);
    EXPECT_LE(slot().events.size(), 51u);
    EXPECT_EQ(stored_state<CapTable>(client).size(), 1u);
}

TEST_P(ScanTest, WhatACallbackReturnsDoesNotMatter) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(put_int(client, "/b", 1), 0);
    const MomMsgCb refuses = [](MomClient *running, MomMsg *msg) {
        on_notification<0>(running, msg);
        return -1;
    };
    EXPECT_EQ(scan<CapTable>(client, kGlobalDb, refuses), 0);
    EXPECT_EQ(slot().events.size(), 2u);
}

TEST_P(ScanTest, AWrongCallIsRefused) {
    const ClientPtr client = connect();
    const Cap request("");
    EXPECT_EQ(ox_mom_scan_sync(nullptr, kGlobalDb, request.message(), 0, on_notification<0>, nullptr),
              OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_scan_sync(client.get(), kGlobalDb, nullptr, 0, on_notification<0>, nullptr), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_scan_sync(client.get(), kGlobalDb, request.message(), 0, nullptr, nullptr), OX_MOM_E_ARGUMENT);
}

}  // namespace
}  // namespace mom_test
