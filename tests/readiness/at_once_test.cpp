// Eight threads that start, register, read, follow, dispatch, change the log level and end, each when it comes to it,
// while somebody writes. For ThreadSanitizer above all.
#include <array>
#include <atomic>
#include <future>
#include <latch>
#include <set>
#include <string>
#include <thread>

#include "readiness_test.h"

namespace readiness {
namespace {

constexpr int kThreads = 8;
constexpr int kLives = 4;  // of each thread's: all but the last end in the middle of things
constexpr int32_t kValues = 200;
constexpr const char *kUrl = "/at/once";

thread_local int events = 0;  // that the thread was told

// One use of the library: on a thread of its own, from its start to its end.
class Life {
public:
    Life(const std::string &store, std::string name) : name_(std::move(name)) {
        EXPECT_EQ(trel_cap_event_callback_reg(name_.c_str(), on_event, kEverything.fe), 0);
        EXPECT_EQ(trel_cap_fab_event_callback_reg(name_.c_str(), on_event, kEverything.fab), 0);
        EXPECT_EQ(trel_cap_cm_event_callback_reg(name_.c_str(), on_event, kEverything.cm), 0);
        EXPECT_EQ(trel_cap_hps_event_callback_reg(name_.c_str(), on_event, kEverything.hps), 0);
        EXPECT_EQ(trel_cap_lc_and_hps_event_callback_reg(name_.c_str(), on_event, kEverything.lc_and_hps), 0);
        events = 0;
        client_ = ox_mom_client_create(store.c_str());
        EXPECT_EQ(trel_cap_init(client_, name_.c_str()), 0);
        EXPECT_EQ(g_trel_cap_global, client_);
        EXPECT_EQ(trel_cap_ce_subscribe_g_cap_int32_ext(client_, kUrl, on_value, this), 0);
    }
    ~Life() {
        trel_cap_sw_node_walk_cur(remove, nullptr);
        ox_mom_client_destroy(client_);
        uint8_t ready = 1;
        EXPECT_EQ(trel_cap_ce_get_glb_ready(client_, &ready), TREL_CAP_E_NO_ANSWER);
    }
    Life(const Life &) = delete;
    Life &operator=(const Life &) = delete;

    void use(int round) {
        trel_cap_log_level(round % 2);
        read();
        uint8_t ready = 2;
        EXPECT_EQ(trel_cap_ce_get_glb_ready(client_, &ready), 0);
        EXPECT_LE(ready, 1);
        const int before = events;
        EXPECT_EQ(trel_cap_callback_hander(TREL_CAP_EVENT_SYSTEM, nullptr), 0);
        EXPECT_GT(events, before);
        EXPECT_GE(ox_mom_client_process(client_, 1), 0);
    }

    int32_t told() const { return told_; }

    static std::vector<Entry> nodes() {
        std::vector<Entry> nodes;
        trel_cap_sw_node_walk_cur(collect, &nodes);
        return nodes;
    }

private:
    // The value grows.
    void read() {
        int32_t value = -1;
        const int32_t status = trel_cap_ce_get_g_cap_int32(client_, kUrl, &value);
        EXPECT_TRUE(status == 0 || (status == TREL_CAP_E_NO_RECORD && read_ == -1)) << status;
        EXPECT_GE(value, read_);
        read_ = value;
    }

    static int32_t on_event(int32_t, void *) {
        ++events;
        return 0;
    }
    // By one.
    static int32_t on_value(MomClient *, MomMsg *msg, void *life) {
        auto &self = *static_cast<Life *>(life);
        std::array<char, 32> url{};
        uint32_t length = 0;
        int32_t value = 0;
        EXPECT_EQ(trel_cap_ce_get_g_cap_int32_by_pmsg(msg, url.size(), url.data(), &value, &length), 0);
        EXPECT_TRUE(self.told_ == -1 || value == self.told_ + 1) << value << " after " << self.told_;
        self.told_ = value;
        return 0;
    }
    static int32_t collect(CapNode *pos, void *nodes) {
        static_cast<std::vector<Entry> *>(nodes)->push_back(entry_of(pos->record));
        return 0;
    }
    static int32_t remove(CapNode *pos, void *) {
        return trel_cap_sw_node_del(pos->record.node, pos->record.config_dev_type);
    }

    const std::string name_;
    MomClient *client_ = nullptr;
    int32_t read_ = -1;
    int32_t told_ = -1;
};
class AtOnce : public ReadinessTest {
protected:
    // Cards come and go, and a value grows, until all follow for the last time, and then to the last value.
    void write(const std::latch &all_follow) {
        const test_support::ClientPtr writer = connect({TREL_CAP_DB_CAPABILITIES});
        int32_t value = 0;
        for (; value < kValues || !all_follow.try_wait(); ++value) {
            const Card card{.node = 0x101 + value % 10, .node_type = 3, .slotid = 1 + value % 10};
            change(card, value);
            publisher().state(CardClass::kLine, value % 2 == 0);
            ASSERT_EQ(trel_cap_ce_set_g_cap_int32(writer.get(), kUrl, value), 0);
        }
        publisher().state(CardClass::kLine, true);
        last_ = value;
        ASSERT_EQ(trel_cap_ce_set_g_cap_int32(writer.get(), kUrl, value), 0);
    }

    // A card that is removed leaves nothing behind, so that what is known of it does not depend on since when.
    void change(const Card &card, int32_t value) {
        if (value % 3 == 0) {
            publisher().bring_up(card);
            there_.insert(card.node);
        } else if (there_.contains(card.node) && value % 7 == 0) {
            publisher().drop_readiness(card);
            publisher().withdraw_check(card);
            publisher().remove(card);
            there_.erase(card.node);
        } else if (there_.contains(card.node)) {
            publisher().unready(card);
        }
    }

    // What the last of a thread's lives knows in the end.
    std::vector<Entry> live(int thread, std::latch &all_follow) {
        const std::string name = "thread " + std::to_string(thread) + ", life ";
        for (int life = 1; life < kLives; ++life) {
            std::thread([&] {
                Life one(store(), name + std::to_string(life));
                for (int round = 0; round < 2 * thread + life; ++round) {
                    one.use(round);
                }
            }).join();
        }
        std::vector<Entry> nodes;
        std::thread([&] {
            Life last(store(), name + "last");
            all_follow.count_down();
            for (int round = 0; last_ == -1 || last.told() != last_; ++round) {
                last.use(round);
            }
            EXPECT_EQ(g_trel_g_cap_calc_ready, 1);
            nodes = Life::nodes();
        }).join();
        return nodes;
    }

private:
    std::set<int32_t> there_;
    std::atomic<int32_t> last_ = -1;
};
INSTANTIATE_OVER_STORES(AtOnce);

TEST_P(AtOnce, EightThreadsDoEverything) {
    std::latch all_follow(kThreads);
    std::vector<std::future<std::vector<Entry>>> nodes;
    nodes.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        nodes.push_back(
            std::async(std::launch::async, [this, thread, &all_follow] { return live(thread, all_follow); }));
    }
    write(all_follow);
    trel_cap_log_level(1);
    Application afterwards(store(), kEverything);
    const std::vector<Entry> expected = afterwards.nodes();
    EXPECT_FALSE(expected.empty());
    for (auto &of_one : nodes) {
        // A card that was gone before all of its records had come leaves an entry that says nothing.
        std::vector<Entry> listed = of_one.get();
        std::erase_if(listed, [](const Entry &entry) { return entry.flags.empty(); });
        EXPECT_EQ(listed, expected);
    }
    EXPECT_EQ(trel_cap_sw_node_search(0x101), nullptr) << "this thread has a list of its own";
}

}  // namespace
}  // namespace readiness
