// How long a call holds its caller when nobody answers. docs/architecture.md has the table.
#include "mom_test.h"
#include "silent_port.h"

#include <cstdlib>
#include <memory>

namespace mom_test {
namespace {

constexpr milliseconds kTimeout(400);
constexpr milliseconds kSlack(600);  // of a busy machine

struct TimeLimit {
    TimeLimit() { setenv("OX_MOM_TIMEOUT_MS", std::to_string(kTimeout.count()).c_str(), 1); }
    TimeLimit(const TimeLimit &) = delete;
    TimeLimit &operator=(const TimeLimit &) = delete;
    ~TimeLimit() { unsetenv("OX_MOM_TIMEOUT_MS"); }
};

TEST(BlockingTest, ConnectingEndsInTimeWhereNobodyAnswers) {
    const TimeLimit limit;
    const SilentPort silent;
    const SilentPort hole(SilentPort::Takes::kNone);
    for (const std::string &name :
         {"redis://" + silent.address(), "redis://user:password@" + silent.address(), "redis://" + hole.address(),
          "sentinel://" + silent.address() + "/service", "sentinel://" + hole.address() + "/service",
          "sentinel://" + silent.address() + "," + hole.address() + "," + silent.address() + "/service"}) {
        const ClientPtr client(ox_mom_client_create(name.c_str()));
        for (int times = 0; times < 2; ++times) {
            const Stopwatch watch;
            const int32_t code = ox_mom_client_connect_sync(client.get(), kGlobalDb);
            EXPECT_LT(watch.elapsed(), kTimeout + kSlack) << name;
            const bool by_sentinel = name.starts_with("sentinel:");
            EXPECT_EQ(code, by_sentinel ? OX_MOM_E_CONNECT : OX_MOM_E_TIMEOUT) << name << ": " << ox_mom_last_error();
        }
    }
}

class BlockingServerTest : public ServerTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.tcp = true;
        return options;
    }
};
INSTANTIATE_OVER_SERVERS(BlockingServerTest);

TEST_P(BlockingServerTest, NeitherProcessNorRequestsAreHeldWhileTheStoreIsAway) {
    for (const auto takes : {SilentPort::Takes::kConnections, SilentPort::Takes::kNone}) {
        const auto limit = std::make_unique<TimeLimit>();
        const ClientPtr client(ox_mom_client_create(store().c_str()));
        ASSERT_TRUE(ox_mom_client_connect_sync(client.get(), kGlobalDb) == 0 ||
                    ox_mom_client_connect_sync(client.get(), kGlobalDb) == 0);
        server().kill();
        {
            const SilentPort silent(takes, server().port());
            ASSERT_TRUE(process_until(client, [&] { return error_of_read(client) == OX_MOM_E_LOST; }));
            const Stopwatch watch;
            for (int calls = 1; watch.elapsed() < 3 * kTimeout; ++calls) {
                const Stopwatch once;
                ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
                ASSERT_EQ(put_int(client, "/a", 1), OX_MOM_E_LOST);
                ASSERT_LT(once.elapsed(), kTimeout / 2) << calls;
            }
            const Stopwatch connecting;
            EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kCardDb), OX_MOM_E_TIMEOUT);
            EXPECT_LT(connecting.elapsed(), kTimeout + kSlack);
        }
        server().start();
    }
}

}  // namespace
}  // namespace mom_test
