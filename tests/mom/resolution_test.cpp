// Hosts by name: their look-up holds nobody, and all of their addresses are tried.
#include "mom_test.h"
#include "silent_port.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netdb.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace {

// Names that this test answers itself: "slow.test" when it is let go, "several.test" with these addresses.
std::atomic<bool> slow_is_held = false;
std::atomic<int> slow_asked = 0;
std::mutex several_mutex;
std::vector<std::pair<std::string, int>> several;

addrinfo *address(const std::string &host, int port) {
    auto *info = static_cast<addrinfo *>(std::calloc(1, sizeof(addrinfo) + sizeof(sockaddr_in)));
    auto *in = reinterpret_cast<sockaddr_in *>(info + 1);
    in->sin_family = AF_INET;
    in->sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, host.c_str(), &in->sin_addr);
    *info = {.ai_flags = 0,
             .ai_family = AF_INET,
             .ai_socktype = SOCK_STREAM,
             .ai_protocol = 0,
             .ai_addrlen = sizeof *in,
             .ai_addr = reinterpret_cast<sockaddr *>(in),
             .ai_canonname = nullptr,
             .ai_next = nullptr};
    return info;
}

}  // namespace

// In the place of the system's, for the client too.
extern "C" int getaddrinfo(const char *name, const char *service, const addrinfo *hints, addrinfo **found) {
    const std::string host = name != nullptr ? name : "";
    if (host == "slow.test") {
        ++slow_asked;
        slow_is_held.wait(true);
        *found = address("127.0.0.1", std::atoi(service));
        return 0;
    }
    if (host == "several.test") {
        const std::scoped_lock lock(several_mutex);
        addrinfo **end = found;
        for (const auto &[each, port] : several) {
            *end = address(each, port);
            end = &(*end)->ai_next;
        }
        return 0;
    }
    static const auto real = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(name, service, hints, found);
}

extern "C" void freeaddrinfo(addrinfo *info) {
    static const auto real = reinterpret_cast<decltype(&freeaddrinfo)>(dlsym(RTLD_NEXT, "freeaddrinfo"));
    while (info != nullptr && info->ai_addr == reinterpret_cast<sockaddr *>(info + 1)) {
        addrinfo *next = info->ai_next;
        std::free(info);
        info = next;
    }
    if (info != nullptr) {
        real(info);
    }
}

namespace mom_test {
namespace {

class ResolutionTest : public ServerTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.tcp = true;
        return options;
    }
    void TearDown() override {
        slow_is_held = false;
        slow_is_held.notify_all();
        unsetenv("OX_MOM_TIMEOUT_MS");
    }
    std::string at(const std::string &host) { return "redis://" + host + ":" + std::to_string(server().port()); }
};
INSTANTIATE_OVER_SERVERS(ResolutionTest);

TEST_P(ResolutionTest, HoldsConnectingNoLongerThanItsTime) {
    setenv("OX_MOM_TIMEOUT_MS", "300", 1);
    const ClientPtr client(ox_mom_client_create(at("slow.test").c_str()));
    slow_is_held = true;
    const Stopwatch watch;
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_TIMEOUT);
    EXPECT_GE(watch.elapsed(), milliseconds(290));
    EXPECT_LT(watch.elapsed(), milliseconds(1300));
}

TEST_P(ResolutionTest, HoldsProcessNotAtAll) {
    const ClientPtr client = test_support::connect_client(at("slow.test"), {kGlobalDb});
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    slow_is_held = true;
    const int before = slow_asked;
    server().restart(RedisServer::Data::kDropped);
    const Stopwatch watch;
    while (slow_asked == before && watch.elapsed() < kLongEnough) {
        const Stopwatch once;
        ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
        ASSERT_LT(once.elapsed(), milliseconds(1000));
    }
    const Stopwatch held;
    for (int i = 0; i < 20; ++i) {
        ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
        ASSERT_EQ(error_of_read(client), OX_MOM_E_LOST);
    }
    EXPECT_LT(held.elapsed(), milliseconds(1000));
    slow_is_held = false;
    slow_is_held.notify_all();
    ASSERT_TRUE(pump_until(client, [] { return !recorder().reconnections.empty(); }));
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(ResolutionTest, ANameThatNobodyAnswersHasOneThread) {
    setenv("OX_MOM_TIMEOUT_MS", "100", 1);
    const ClientPtr client(ox_mom_client_create(at("slow.test").c_str()));
    slow_is_held = true;
    const int before = slow_asked;
    for (int attempts = 0; attempts < 5; ++attempts) {
        ASSERT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_TIMEOUT);
    }
    EXPECT_EQ(slow_asked - before, 1);
    slow_is_held = false;
    slow_is_held.notify_all();
    int32_t status = ox_mom_client_connect_sync(client.get(), kGlobalDb);
    for (const Stopwatch watch; status == OX_MOM_E_TIMEOUT && watch.elapsed() < kLongEnough;) {
        status = ox_mom_client_connect_sync(client.get(), kGlobalDb);  // the machine may be slow
    }
    EXPECT_EQ(status, 0) << ox_mom_last_error();
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(ResolutionTest, AClientMayGoMeanwhile) {
    setenv("OX_MOM_TIMEOUT_MS", "100", 1);
    slow_is_held = true;
    ClientPtr client(ox_mom_client_create(at("slow.test").c_str()));
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_TIMEOUT);
    client.reset();
}

TEST_P(ResolutionTest, EachAddressIsTried) {
    setenv("OX_MOM_TIMEOUT_MS", "5000", 1);
    {
        const std::scoped_lock lock(several_mutex);
        several = {{"127.0.0.1", test_support::unused_port()}, {"127.0.0.1", server().port()}};
    }
    const ClientPtr client = test_support::connect_client(at("several.test"), {kGlobalDb});
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(ResolutionTest, AnAddressThatIsNoneIsSaid) {
    {
        const std::scoped_lock lock(several_mutex);
        several = {{"127.0.0.1", test_support::unused_port()}, {"127.0.0.1", test_support::unused_port()}};
    }
    const ClientPtr client(ox_mom_client_create(at("several.test").c_str()));
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), OX_MOM_E_CONNECT);
    EXPECT_NE(std::string(ox_mom_last_error()).find("several.test"), std::string::npos) << ox_mom_last_error();
}

TEST_P(ResolutionTest, ASilentSentinelLeavesTheOthersTheirTurn) {
    setenv("OX_MOM_TIMEOUT_MS", "3000", 1);
    const SilentPort silent;
    RedisOptions options;
    options.program = GetParam().program;
    options.sentinel_config = "sentinel monitor service 127.0.0.1 " + std::to_string(server().port()) + " 1\n";
    RedisServer sentinel(options);
    const std::string name = "sentinel://127.0.0.1:" + std::to_string(silent.port()) +
                             ",127.0.0.1:" + std::to_string(sentinel.port()) + "/service";
    const ClientPtr client = test_support::connect_client(name, {kGlobalDb});
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

TEST_P(ResolutionTest, SentinelsThatNameNobodyOrTheSilentLeaveTheOthersTheirTurn) {
    setenv("OX_MOM_TIMEOUT_MS", "6000", 1);
    const SilentPort silent;
    RedisOptions options;
    options.program = GetParam().program;
    const auto monitoring = [&](int port) {
        options.sentinel_config = "sentinel monitor service 127.0.0.1 " + std::to_string(port) + " 1\n";
        return std::make_unique<RedisServer>(options);
    };
    const auto nobody = monitoring(test_support::unused_port());
    const auto mute = monitoring(silent.port());
    const auto good = monitoring(server().port());
    std::string name = "sentinel://";
    for (const auto *each : {&nobody, &mute, &good}) {
        name += (each == &nobody ? "127.0.0.1:" : ",127.0.0.1:") + std::to_string((*each)->port());
    }
    const ClientPtr client = test_support::connect_client(name + "/service", {kGlobalDb});
    EXPECT_EQ(put_int(client, "/a", 1), 0);
}

}  // namespace
}  // namespace mom_test
