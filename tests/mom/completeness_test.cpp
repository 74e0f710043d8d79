// Whoever follows a store ends in its state: nothing missed, nothing twice, in order.
#include "contract_test.h"

#include <atomic>
#include <map>
#include <random>
#include <thread>

namespace mom_test {
namespace {

constexpr int kWriters = 4;
constexpr int kWritesEach = 1250;
constexpr int kUrls = 40;

class CompletenessTest : public StoreTest {};
INSTANTIATE_OVER_STORES(CompletenessTest);

std::string url_number(int number) { return "/shared/" + std::to_string(number); }

// Writes and deletes of records that all writers share. Every write carries its writer and a serial number.
void write_at_random(const std::string &store, int writer, int writes) {
    const ClientPtr client = test_support::connect_client(store, {kGlobalDb});
    std::mt19937 random(static_cast<unsigned>(writer));
    for (int serial = 1; serial <= writes; ++serial) {
        Cap cap(url_number(static_cast<int>(random() % kUrls)), serial);
        cap.record.pri = writer;
        cap.record.state = random() % 2 == 0;
        if (random() % 10 == 0) {
            ASSERT_EQ(del(client, cap.message()), 0);
        } else {
            ASSERT_EQ(
                put(client, cap.message(),
                    random() % 2 == 0 ? std::vector<int32_t>{kInt, kPri} : std::vector<int32_t>{kState, kPri, kInt}),
                0);
        }
    }
}

class Writers {
public:
    Writers(const std::string &store, int writes) {
        for (int writer = 0; writer < kWriters; ++writer) {
            threads_.emplace_back([this, store, writer, writes] {
                write_at_random(store, writer, writes);
                ++finished_;
            });
        }
    }
    ~Writers() {
        for (std::thread &thread : threads_) {
            thread.join();
        }
    }
    Writers(const Writers &) = delete;
    Writers &operator=(const Writers &) = delete;

    bool finished() const { return finished_ == kWriters; }

private:
    std::atomic<int> finished_ = 0;
    std::vector<std::thread> threads_;
};

TEST_P(CompletenessTest, FiveThousandInterleavedWritesEndInTheStoresState) {
    const ClientPtr client = connect();
    State followed;
    ASSERT_EQ(follow<CapTable>(client), 0);
    {
        const Writers writers(store(), kWritesEach);
        while (!writers.finished()) {
            ASSERT_GE(ox_mom_client_process(client.get(), 10), 0);
        }
    }
    ASSERT_TRUE(settle(client, client));
    std::map<int32_t, int32_t> last_serial;
    for (const Event &event : slot().events) {
        update(followed, event);
        if (event.cmd == OX_MOM_CMD_DELIVERED) {
            const auto &cap = event.as<CapTable>();
            EXPECT_GT(cap.int32_value, last_serial[cap.pri]) << "writer " << cap.pri << " out of order";
            last_serial[cap.pri] = cap.int32_value;
        }
    }
    EXPECT_FALSE(followed.empty());
    EXPECT_EQ(followed, stored_state<CapTable>(client));
    EXPECT_EQ(slot().count(29), 1);
}

TEST_P(CompletenessTest, EveryWriteIsDeliveredExactlyOnceToEveryFollower) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client, on_notification<0>), 0);
    ASSERT_EQ(follow_field(client, Cap("/counted").message(), kInt, on_field<1>), 0);
    std::thread writer([this] {
        const ClientPtr mine = connect();
        for (int32_t value = 0; value < 1000; ++value) {
            ASSERT_EQ(put_int(mine, "/counted", value), 0);
        }
    });
    const bool arrived =
        pump_until(client, [] { return slot(0).events.size() >= 1001 && slot(1).events.size() >= 1000; });
    writer.join();
    ASSERT_TRUE(arrived);
    ASSERT_TRUE(settle(client, client));
    ASSERT_EQ(slot(0).events.size(), 1001u);
    ASSERT_EQ(slot(1).events.size(), 1000u);
    for (size_t i = 0; i < 1000; ++i) {
        ASSERT_EQ(slot(0).events[i + 1].as<CapTable>().int32_value, static_cast<int32_t>(i));
        ASSERT_EQ(slot(1).events[i].as<CapTable>().int32_value, static_cast<int32_t>(i));
    }
}

TEST_P(CompletenessTest, WhoComesLateAndScansMissesNothing) {
    const ClientPtr client = connect();
    State followed;
    slot().hook = [&followed](MomClient *running, MomMsg *msg) {
        if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
            followed = stored_state(running, kGlobalDb, Cap("").message());
        } else {
            update(followed, slot().events.back());
        }
    };
    {
        const Writers writers(store(), kWritesEach / 2);
        int rounds = 0;
        do {  // once at least: the writers may have been faster than this thread
            if (++rounds % 20 == 1) {
                ASSERT_EQ(follow<CapTable>(client), 0) << "begins afresh";
            }
            ASSERT_GE(ox_mom_client_process(client.get(), 1), 0);
        } while (!writers.finished());
    }
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(followed, stored_state<CapTable>(client));
}

TEST_P(CompletenessTest, BetweenScanAndNotificationsThereIsNoGap) {
    constexpr int32_t kFarAhead = 10000;  // fewer than may wait for a follower
    const ClientPtr client = connect();
    std::atomic<bool> done = false;
    std::atomic<int32_t> heard = 0;
    std::thread writer([this, &done, &heard] {
        const ClientPtr mine = connect();
        for (int32_t value = 1; !done; ++value) {
            ASSERT_EQ(put_int(mine, "/counted", value), 0);
            while (value - heard > kFarAhead && !done) {
                std::this_thread::yield();
            }
        }
    });
    bool complete = true;
    for (int round = 0; complete && round < 30; ++round) {
        slot().events.clear();
        int32_t scanned = -1;
        slot().hook = [&](MomClient *running, MomMsg *msg) {
            if (msg->cmd == OX_MOM_CMD_SUBSCRIBED) {
                HashResultPtr now(ox_mom_hgetall_sync(running, kGlobalDb, Cap("/counted").message()));
                heard = scanned = now->record == nullptr ? 0 : as<CapTable>(now).int32_value;
            } else {
                heard = slot().events.back().as<CapTable>().int32_value;
            }
        };
        complete = follow<CapTable>(client) == 0 && pump_until(client, [] { return slot().events.size() >= 4; });
        int32_t previous = -1;
        bool confirmed = false;
        for (const Event &event : slot().events) {
            if (event.cmd == OX_MOM_CMD_SUBSCRIBED) {
                confirmed = true;
                previous = -1;
                continue;
            }
            const int32_t value = event.as<CapTable>().int32_value;
            EXPECT_TRUE(!confirmed || previous != -1 || value <= scanned + 1) << "missed before " << value;
            EXPECT_TRUE(previous == -1 || value == previous + 1) << "missed between " << previous << " and " << value;
            previous = value;
        }
    }
    done = true;
    writer.join();
    EXPECT_TRUE(complete);
}

}  // namespace
}  // namespace mom_test
