// Three sentinels, a master and two replicas. An application follows the readiness of cards while another writes
// capabilities; the master goes in each of the ways in which masters go.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "fault.h"
#include "sentinel_servers.h"
#include "store_fixture.h"

namespace reliability {
namespace {

using Clock = std::chrono::steady_clock;
using test_support::ClientPtr;

constexpr auto kLongEnough = std::chrono::seconds(40);
// After the first sentinel names another master.
constexpr milliseconds kBackWithin{2000};

template <class Condition>
bool becomes_true(Condition condition) {
    for (const auto start = Clock::now(); Clock::now() - start < kLongEnough;) {
        try {
            if (condition()) {
                return true;
            }
        } catch (const std::runtime_error &) {
            // The sentinels close a server's connections when they make it a replica.
        }
        std::this_thread::sleep_for(milliseconds(5));
    }
    return false;
}

// An application that writes a capability, again and again, and does nothing else.
class Writer {
public:
    explicit Writer(const std::string &store) : thread_([this, store] { live(store); }) {}
    ~Writer() { stop(); }
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    // The latest value that it has tried to write, and the latest that was confirmed.
    int32_t tried() const { return tried_; }
    int32_t confirmed() const { return confirmed_; }

    void stop() {
        done_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    void live(const std::string &store) {
        const ClientPtr client = test_support::connect_client(store, {TREL_CAP_DB_CAPABILITIES});
        for (int32_t value = 1; !done_; ++value) {
            tried_ = value;
            if (trel_cap_ce_set_g_cap_int32(client.get(), kWrittenUrl, value) == 0) {
                confirmed_ = value;
            }
            std::this_thread::sleep_for(milliseconds(5));
        }
    }

    std::atomic<bool> done_ = false;
    std::atomic<int32_t> tried_ = 0;
    std::atomic<int32_t> confirmed_ = 0;
    std::thread thread_;
};

class FailOvers : public testing::TestWithParam<test_support::StoreKind> {
protected:
    void SetUp() override {
        setenv("OX_MOM_TIMEOUT_MS", std::to_string(OX_MOM_REQUEST_TIMEOUT_MS).c_str(), 1);
        test_support::SentinelOptions options{
            .replicas = 2, .sentinels = 3, .down_after_ms = 1500, .failover_timeout_ms = 5000};
        options.way_to_master = [this](int port) {
            proxy_.emplace(port);
            return proxy_->port();
        };
        servers_.emplace(GetParam().program, options);
        publisher_ = std::make_unique<readiness::LocalPublisher>(servers().store_name());
        publisher_->bring_up(kKept);
        publisher_->bring_up(kPulled);
        publisher_->state(readiness::CardClass::kLine, true);
        ASSERT_EQ(set(servers().store_name(), kFollowedUrl, 1), 0);
        ASSERT_TRUE(servers().replica_is_ready());
        follower_ = std::make_unique<Subject>(servers().store_name(), *publisher_);
        writer_ = std::make_unique<Writer>(servers().store_name());
        ASSERT_TRUE(becomes_true([&] { return writer_->confirmed() > 0; }));
    }

    // Before the servers, which their clients would miss.
    void TearDown() override {
        writer_.reset();
        follower_.reset();
        publisher_.reset();
    }

    test_support::SentinelServers &servers() { return *servers_; }
    mom_test::Proxy &proxy() { return *proxy_; }

    static int32_t set(const std::string &store, const char *url, int32_t value) {
        const ClientPtr client = test_support::connect_client(store, {TREL_CAP_DB_CAPABILITIES});
        return trel_cap_ce_set_g_cap_int32(client.get(), url, value);
    }

    static int32_t get(const std::string &store, const char *url) {
        const ClientPtr client = test_support::connect_client(store, {TREL_CAP_DB_CAPABILITIES});
        int32_t value = -1;
        trel_cap_ce_get_g_cap_int32(client.get(), url, &value);
        return value;
    }

    // What was done to the master has made the sentinels name another one, and everybody goes there in time.
    void expect_that_all_go_to_the_new_master() {
        RedisServer *const before = &servers().master();
        ASSERT_TRUE(becomes_true([&] {
            for (size_t i = 0; i < 3; ++i) {
                if (&servers().named_master(i) != before) {
                    named_by_ = i;
                    return true;
                }
            }
            return false;
        })) << "the sentinels name no other master";
        const auto named = Clock::now();
        const int32_t tried = writer_->tried();
        ASSERT_TRUE(follower_->application().comes_back(1));
        const auto follower_took = Clock::now() - named;
        ASSERT_TRUE(becomes_true([&] { return get(new_master(), kWrittenUrl) > tried; }));
        const auto writer_took = Clock::now() - named;
        EXPECT_LT(follower_took, kBackWithin);
        EXPECT_LT(writer_took, kBackWithin);
    }

    std::string new_master() { return servers().named_master(named_by_).store_name(); }

    // All that is written from now on is written there, and is what the follower ends in.
    void expect_the_new_masters_state() {
        writer_->stop();
        EXPECT_EQ(get(new_master(), kWrittenUrl), writer_->confirmed());
        readiness::LocalPublisher there(new_master());
        there.remove(kPulled);
        there.drop_readiness(kPulled);
        there.withdraw_check(kPulled);
        there.bring_up(kInserted);
        ASSERT_EQ(set(new_master(), kFollowedUrl, 2), 0);
        const Picture wanted = Subject(new_master(), there).picture();
        EXPECT_EQ(wanted.ready, (std::map<int32_t, int32_t>{{kKept.node, 1}, {kInserted.node, 1}}));
        Picture picture;
        EXPECT_TRUE(becomes_true([&] { return (picture = follower_->picture()) == wanted; }))
            << "the follower has\n"
            << picture << "\nand the new master\n"
            << wanted;
    }

    // The old master is there again and has become a replica.
    bool is_demoted() {
        return becomes_true(
            [this] { return servers().master().connection().must({"ROLE"})->element[0]->str == std::string("slave"); });
    }

private:
    std::optional<mom_test::Proxy> proxy_;
    std::optional<test_support::SentinelServers> servers_;
    size_t named_by_ = 0;

protected:
    std::unique_ptr<readiness::LocalPublisher> publisher_;
    std::unique_ptr<Subject> follower_;
    std::unique_ptr<Writer> writer_;
};
INSTANTIATE_OVER_SERVERS(FailOvers);

TEST_P(FailOvers, TheMasterIsKilled) {
    servers().master().kill();
    expect_that_all_go_to_the_new_master();
    expect_the_new_masters_state();
}

TEST_P(FailOvers, TheMasterIsStoppedAndGoesOnLater) {
    servers().master().pause();
    expect_that_all_go_to_the_new_master();
    servers().master().resume();
    ASSERT_TRUE(is_demoted());
    expect_the_new_masters_state();
}

TEST_P(FailOvers, TheMasterIsCutOff) {
    proxy().silence(true);
    expect_that_all_go_to_the_new_master();
    expect_the_new_masters_state();
}

TEST_P(FailOvers, TheMasterIsDemotedAsPlanned) {
    ASSERT_TRUE(servers().replica_has_everything());
    ASSERT_TRUE(servers().fail_over());
    expect_that_all_go_to_the_new_master();
    ASSERT_TRUE(is_demoted());
    expect_the_new_masters_state();
}

// Both sides are written to. What the old master was told since the split is lost when it is made a replica.
TEST_P(FailOvers, TheServersAreSplit) {
    const std::string old_side = servers().master().store_name();
    proxy().silence(true);
    ASSERT_EQ(set(old_side, "/reliability/before", 1), 0) << "nobody has told it that it is no master any more";
    expect_that_all_go_to_the_new_master();
    ASSERT_EQ(set(old_side, kFollowedUrl, 99), 0);
    ASSERT_EQ(set(old_side, "/reliability/after", 1), 0);
    proxy().silence(false);
    ASSERT_TRUE(is_demoted());
    expect_the_new_masters_state();
    const auto old_side_has = [&](const char *url) { return get(old_side, url); };
    EXPECT_TRUE(becomes_true([&] { return old_side_has(kFollowedUrl) == 2; }));
    EXPECT_EQ(old_side_has("/reliability/before"), -1);
    EXPECT_EQ(old_side_has("/reliability/after"), -1);
}

}  // namespace
}  // namespace reliability
