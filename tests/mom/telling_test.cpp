// What a client says unasked when its store is lost, unfit or back: on standard error, for want of a logging layer.
#include "mom_test.h"
#include "standard_error.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <atomic>
#include <csignal>
#include <set>
#include <sstream>
#include <thread>

namespace mom_test {
namespace {

class TellingTest : public ServerTest {
protected:
    static void watch(const ClientPtr &client) {
        EXPECT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    }
    static bool is_lost(const ClientPtr &client) { return state_of(client).state == OX_MOM_STATE_LOST; }
    static MomClientStatus state_of(const ClientPtr &client) {
        MomClientStatus status{};
        status.size = sizeof status;
        EXPECT_EQ(ox_mom_client_status(client.get(), &status), 0);
        return status;
    }
    static bool comes_back(const ClientPtr &client) {
        return pump_until(client, [] { return !recorder().reconnections.empty(); });
    }
};
INSTANTIATE_OVER_SERVERS(TellingTest);

size_t times(const std::string &text, const std::string &part) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

TEST_P(TellingTest, ALossIsToldAtOnceAndTheReturnWithWhatIsLoaded) {
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    watch(client);
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(follow<CapFabTable>(client), 0);
    ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
    {
        StandardError printed;
        server().kill();
        ASSERT_TRUE(process_until(client, [&] { return is_lost(client); }));
        EXPECT_EQ(printed.lines(), 1) << printed.text();
        EXPECT_EQ(printed.text().find("ox_mom: store " + store() + " is lost: "), 0u) << printed.text();
        EXPECT_NE(printed.text().find(server().socket_path() + ": closed by the server; the next attempt is in "),
                  std::string::npos)
            << printed.text();
    }
    server().start();
    StandardError printed;
    ASSERT_TRUE(comes_back(client));
    EXPECT_EQ(times(printed.text(), "ox_mom: store " + store() + " is back after "), 1u) << printed.text();
    EXPECT_NE(printed.text().find("s; loaded afresh: field subscriptions (1), record subscriptions (2, by the "
                                  "reconnection callbacks)\n"),
              std::string::npos)
        << printed.text();
}

TEST_P(TellingTest, SubscriptionsThatNobodyMakesAnewAreSaidToHaveEnded) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    StandardError printed;
    server().restart(RedisServer::Data::kDropped);
    ASSERT_TRUE(process_until(client, [&] { return state_of(client).losses == 1 && !is_lost(client); }));
    EXPECT_NE(printed.text().find("record subscriptions (1, ended: "), std::string::npos) << printed.text();
}

// Accepts at the server's place, says nothing and hangs up.
class RudeServer {
public:
    explicit RudeServer(const std::string &path) : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        unlink(path.c_str());
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_, 64), 0);
        thread_ = std::thread([this] {
            for (int fd = 0; (fd = accept(listener_, nullptr, nullptr)) >= 0;) {
                close(fd);
                ++visits_;
            }
        });
    }
    ~RudeServer() {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    RudeServer(const RudeServer &) = delete;
    RudeServer &operator=(const RudeServer &) = delete;

    int visits() const { return visits_; }

private:
    int listener_;
    std::atomic<int> visits_ = 0;
    std::thread thread_;
};

TEST_P(TellingTest, AReasonIsToldOnceHoweverOftenItIsTried) {
    const ClientPtr client = connect();
    watch(client);
    server().kill();
    StandardError printed;
    {
        const RudeServer rude(server().socket_path());
        ASSERT_TRUE(process_until(client, [&] { return rude.visits() >= 10; }));
    }
    std::set<std::string> reasons;
    std::istringstream lines(printed.text());
    for (std::string line; std::getline(lines, line);) {
        const size_t begin = line.find(" is ");
        ASSERT_NE(begin, std::string::npos) << line;
        // A connection can end in three ways: closed, reset, its pipe broken.
        const std::string reason = line.substr(line.find(": ", begin), line.find(';') - line.find(": ", begin));
        EXPECT_TRUE(reasons.insert(reason).second) << printed.text();
    }
    EXPECT_EQ(times(printed.text(), " is lost: "), 1u) << printed.text();
    server().start();
    ASSERT_TRUE(comes_back(client));
}

TEST_P(TellingTest, AServerThatIsThereButUnfitIsQuoted) {
    const ClientPtr client = connect();
    watch(client);
    StandardError printed;
    server().kill();
    {
        RedisOptions options;
        options.program = GetParam().program;
        options.databases = 16;
        options.arguments = {"--unixsocket", server().socket_path()};
        options.tcp = true;  // for the test's own questions; the client finds it at the other one's place
        unlink(server().socket_path().c_str());
        const RedisServer small(options);
        ASSERT_TRUE(process_until(client, [&] { return state_of(client).reason_code == OX_MOM_E_REFUSED; }));
    }
    EXPECT_NE(printed.text().find("raise the `databases` setting"), std::string::npos) << printed.text();
    server().start();
    ASSERT_TRUE(comes_back(client));
}

TEST_P(TellingTest, NothingIsWrittenToADescriptorThatOnlyHasTheNumber) {
    std::array<int, 2> ends{};
    {
        const ClientPtr client(ox_mom_client_create(store().c_str()));
        const NoStandardError closed;
        ASSERT_EQ(ox_mom_client_connect_sync(client.get(), kGlobalDb), 0);
        watch(client);
        ASSERT_EQ(fcntl(STDERR_FILENO, F_GETFD), -1) << "a connection of the client took the number";
        ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
        const int free_end = ends[0] == STDERR_FILENO ? ends[1] : ends[0];
        ASSERT_TRUE(ends[0] == STDERR_FILENO || ends[1] == STDERR_FILENO);
        if (ends[0] == STDERR_FILENO) {  // the end that is written to has to have the number
            const int moved = fcntl(ends[0], F_DUPFD_CLOEXEC, 10);
            dup3(free_end, STDERR_FILENO, O_CLOEXEC);
            close(free_end);
            ends = {moved, STDERR_FILENO};
        }
        server().restart(RedisServer::Data::kDropped);
        ASSERT_TRUE(comes_back(client));
    }
    std::array<char, 64> room{};
    EXPECT_EQ(::read(ends[0], room.data(), room.size()), 0) << std::string(room.data(), room.size());
    close(ends[0]);
}

TEST_P(TellingTest, NoConnectionGetsAStandardNumber) {
    const ClientPtr client(ox_mom_client_create(store().c_str()));
    const NoStandardError closed;
    for (const int32_t db : {kCardDb, kGlobalDb}) {
        ASSERT_EQ(ox_mom_client_connect_sync(client.get(), db), 0);
        EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFD), -1) << db;
    }
}

TEST_P(TellingTest, AReaderOfStandardErrorThatIsGoneEndsNothing) {
    struct sigaction before {};
    struct sigaction fatal {};
    fatal.sa_handler = SIG_DFL;
    sigaction(SIGPIPE, &fatal, &before);
    const ClientPtr client = connect();
    watch(client);
    {
        const NoStandardError closed;
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        dup2(ends[1], STDERR_FILENO);
        for (const int end : ends) {
            if (end != STDERR_FILENO) {
                close(end);
            }
        }
        server().restart(RedisServer::Data::kDropped);
        EXPECT_TRUE(comes_back(client));
    }
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
    sigaction(SIGPIPE, &before, nullptr);
}

class SecretTest : public ServerTest {
protected:
    RedisOptions server_options() const override {
        RedisOptions options;
        options.tcp = true;
        options.password = "s3cret";
        options.arguments = {"--requirepass", "s3cret"};
        return options;
    }
};
INSTANTIATE_OVER_SERVERS(SecretTest);

TEST_P(SecretTest, APasswordIsNeverTold) {
    const std::string place = "127.0.0.1:" + std::to_string(server().port());
    const ClientPtr client = test_support::connect_client("redis://default:s3cret@" + place, {kGlobalDb});
    ASSERT_EQ(ox_mom_client_set_reconnect_cb(client.get(), kGlobalDb, on_reconnect, nullptr), 0);
    RedisConnection raw = server().connection();
    StandardError printed;
    raw.must({"CONFIG", "SET", "requirepass", "another"});
    raw.must({"CLIENT", "KILL", "TYPE", "normal"});
    raw.must({"CLIENT", "KILL", "TYPE", "pubsub"});
    MomClientStatus status{};
    status.size = sizeof status;
    ASSERT_TRUE(process_until(client, [&] {
        return ox_mom_client_status(client.get(), &status) == 0 && status.reason_code == OX_MOM_E_REFUSED;
    }));
    raw.must({"CONFIG", "SET", "requirepass", "s3cret"});
    ASSERT_TRUE(pump_until(client, [] { return !recorder().reconnections.empty(); }));
    EXPECT_NE(printed.text().find("store redis://default@" + place + " is still lost: " + place + ": WRONGPASS"),
              std::string::npos)
        << printed.text();
    EXPECT_EQ(printed.text().find("s3cret"), std::string::npos) << printed.text();
}

}  // namespace
}  // namespace mom_test
