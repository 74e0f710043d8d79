// A client belongs to its thread and process.
#include "mom_test.h"

#include "mom/client/attachment.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>

namespace mom_test {
namespace {

class OwnershipTest : public StoreTest {};
INSTANTIATE_OVER_STORES(OwnershipTest);

// Makes every call of the client and returns those that were not refused with that code.
std::string calls_not_refused(MomClient *client, int32_t code) {
    std::string wrong;
    const auto expect = [&wrong](bool refused, const char *call) { wrong += refused ? "" : std::string(call) + " "; };
    const Cap cap("/a", 99);
    const Single<CapGlbState> state(true);
    const MomFieldCb field_cb = on_field<0>;
    const auto db = kGlobalDb;
    int32_t error = 0;
    expect(ox_mom_client_connect_sync(client, kCardDb) == code, "connect");
    expect(ox_mom_client_set_reconnect_cb(client, db, on_reconnect, nullptr) == code, "set_reconnect_cb");
    expect(ox_mom_hgetall_sync(client, db, cap.message()) == nullptr, "hgetall");
    expect(std::string(ox_mom_last_error()) != "", "hgetall's reason");
    expect(ox_mom_hmset_sync(client, db, cap.message(), &kInt, 1) == code, "hmset");
    expect(ox_mom_get_sync(client, db, state.message(), &error) == nullptr && error == code, "get");
    expect(ox_mom_get_sync(client, db, state.message(), nullptr) == nullptr, "get");
    expect(ox_mom_subscribe(client, db, cap.message(), 0, on_notification<0>, nullptr) == code, "subscribe");
    expect(ox_mom_subscribe_field(client, db, cap.message(), 1, &kInt, &field_cb, nullptr, 1) == code,
           "subscribe_field");
    expect(ox_mom_scan_sync(client, db, cap.message(), 0, on_notification<0>, nullptr) == code, "scan");
    expect(ox_mom_client_fd(client) == code, "fd");
    expect(ox_mom_client_process(client, 0) == code, "process");
    MomClientStatus status{};
    status.size = sizeof status;
    expect(ox_mom_client_status(client, &status) == code, "status");
    expect(ox_mom_set_sync(client, db, state.message()) == code, "set");
    expect(ox_mom_del_sync(client, db, cap.message()) == code, "del");
    const MomAttachment attachment{.on_ready = [](void *, uint32_t) {}, .on_destroy = [](void *) {}, .arg = nullptr};
    expect(ox_mom_attach(client, 0, 0, &attachment) == code, "attach");
    expect(ox_mom_alter(client, 0, 0) == code, "alter");
    expect(ox_mom_detach(client, 0) == code, "detach");
    ox_mom_client_destroy(client);
    return wrong;
}

// That the client still has its subscription, what waited for it, and its place in every conversation.
void expect_untouched(const ClientPtr &client) {
    EXPECT_EQ(stored_int(client, "/a"), 1);
    ASSERT_EQ(put_int(client, "/a", 2), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(slot().commands(), (std::vector<int32_t>{29, 4, 4}));
    EXPECT_TRUE(recorder().reconnections.empty());
    EXPECT_EQ(error_of_read(client), 0);
    EXPECT_EQ(put(client, Cap("/a").message(), {kInt}, kCardDb), OX_MOM_E_NOT_CONNECTED);
}

TEST_P(OwnershipTest, EveryCallFromAnotherThreadIsRefusedAndTouchesNothing) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    std::string wrong = "not run";
    size_t called_back = 0;
    std::thread([&] {
        wrong = calls_not_refused(client.get(), OX_MOM_E_THREAD);
        called_back = slot().events.size();
    }).join();
    EXPECT_EQ(wrong, "");
    EXPECT_EQ(called_back, 0u);
    expect_untouched(client);
}

// Runs the function in a forked child and returns what it returned there.
template <typename Function>
std::string in_child(Function function) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        const std::string said = function() + ".";
        const ssize_t written = write(ends[1], said.data(), said.size());
        _exit(written == static_cast<ssize_t>(said.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string said(1000, '\0');
    const ssize_t length = ::read(ends[0], said.data(), said.size());
    said.resize(length > 0 ? static_cast<size_t>(length) : 0);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return said;
}

TEST_P(OwnershipTest, EveryCallFromAForkedChildIsRefusedAndTouchesNothing) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    const std::string wrong = in_child([&client] {
        const std::string calls = calls_not_refused(client.get(), OX_MOM_E_FORK);
        return calls + (slot().events.empty() ? "" : "called back");
    });
    EXPECT_EQ(wrong, ".");
    expect_untouched(client);
}

TEST_P(OwnershipTest, EveryCallOfADestroyedClientIsRefusedAtAnyTimeAndFromAnywhere) {
    MomClient *const gone = connect().release();
    ox_mom_client_destroy(gone);
    EXPECT_EQ(calls_not_refused(gone, OX_MOM_E_DESTROYED), "");
    const ClientPtr later = connect();
    ASSERT_EQ(follow<CapTable>(later), 0);
    ASSERT_EQ(put_int(later, "/a", 1), 0);
    EXPECT_EQ(calls_not_refused(gone, OX_MOM_E_DESTROYED), "");
    std::string from_a_thread = "not run";
    std::thread([&] { from_a_thread = calls_not_refused(gone, OX_MOM_E_DESTROYED); }).join();
    EXPECT_EQ(from_a_thread, "");
    EXPECT_EQ(in_child([gone] { return calls_not_refused(gone, OX_MOM_E_DESTROYED); }), ".");
    expect_untouched(later);
}

TEST_P(OwnershipTest, NoClientIsTakenForAnEarlierOne) {
    std::set<MomClient *> seen;
    std::vector<std::thread> threads(2);
    std::mutex mutex;
    for (std::thread &thread : threads) {
        thread = std::thread([&] {
            for (int times = 0; times < 100; ++times) {
                const ClientPtr client = connect();
                const std::scoped_lock lock(mutex);
                EXPECT_TRUE(seen.insert(client.get()).second) << times;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_P(OwnershipTest, AThreadMayAskForAClientWhileItsOwnerDestroysIt) {
    for (int times = 0; times < 50; ++times) {
        std::atomic<MomClient *> shared = nullptr;
        std::thread owner([&] {
            MomClient *client = connect().release();
            shared = client;
            ox_mom_client_destroy(client);
        });
        while (!shared) {
        }
        int32_t code = OX_MOM_E_THREAD;
        while (code == OX_MOM_E_THREAD) {
            code = ox_mom_client_process(shared, 0);
        }
        EXPECT_EQ(code, OX_MOM_E_DESTROYED);
        owner.join();
    }
}

TEST_P(OwnershipTest, AForkedChildCanHaveAClientOfItsOwn) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    const std::string said = in_child([this] {
        const ClientPtr mine = connect();
        return std::to_string(stored_int(mine, "/a"));
    });
    EXPECT_EQ(said, "1.");
    expect_untouched(client);
}

TEST_P(OwnershipTest, AThreadsIdIsNotTakenOverByALaterThread) {
    // A thread that ended gives its stack and its handle to the next. Nobody is left to destroy the client.
    static MomClient *client = nullptr;
    std::thread([this] { client = connect().release(); }).join();
    std::thread([] {
        EXPECT_EQ(ox_mom_client_process(client, 0), OX_MOM_E_THREAD);
        ox_mom_client_destroy(client);
    }).join();
    EXPECT_EQ(ox_mom_client_process(client, 0), OX_MOM_E_THREAD);
}

TEST_P(OwnershipTest, ResultsMayBeReleasedInAForkedChild) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    HashResultPtr result = read(client, Cap("/a").message());
    EXPECT_EQ(in_child([&result] {
                  result.reset();
                  return std::string(ox_mom_strerror(OX_MOM_E_FORK)).substr(0, 6);
              }),
              "called.");
    EXPECT_EQ(as<CapTable>(result).int32_value, 1);
}

TEST_P(OwnershipTest, TwoThreadsWorkAtOnceWithAClientEach) {
    constexpr int32_t kWrites = 500;
    std::atomic<int> ready = 0;
    const auto work = [&](const std::string &mine, const std::string &theirs) {
        const ClientPtr client = connect();
        ASSERT_EQ(follow_field(client, Cap(theirs).message(), kInt), 0);
        for (++ready; ready < 2;) {
            std::this_thread::yield();
        }
        for (int32_t value = 1; value <= kWrites; ++value) {
            ASSERT_EQ(put_int(client, mine, value), 0);
            ASSERT_EQ(stored_int(client, mine), value);
        }
        EXPECT_TRUE(pump_until(client, [&] { return slot().events.size() == kWrites; }));
        for (const Event &event : slot().events) {
            ASSERT_EQ(event.as<CapTable>().index->url, theirs);
        }
    };
    std::thread first(work, "/first", "/second");
    std::thread second(work, "/second", "/first");
    first.join();
    second.join();
}

TEST_P(OwnershipTest, ClientsComeAndGoWhileOthersWrite) {
    std::atomic<bool> done = false;
    std::thread writer([&] {
        const ClientPtr client = connect();
        for (int32_t value = 0; !done; ++value) {
            ASSERT_EQ(put_int(client, "/a", value), 0);
        }
    });
    for (int times = 0; times < 30; ++times) {
        const ClientPtr client = connect();
        EXPECT_EQ(follow<CapTable>(client), 0);
        EXPECT_TRUE(pump_until(client, [] { return slot().count(4) > 0; }));
        slot().events.clear();
    }
    done = true;
    writer.join();
}

TEST_P(OwnershipTest, NothingOfTheClientTakesThePlaceOfAStandardStream) {
    const std::string name = store();
    const std::string said = in_child([&name] {
        const int outside = dup(STDERR_FILENO);
        for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            close(standard);
        }
        const ClientPtr client(ox_mom_client_create(name.c_str()));
        std::string wrong = ox_mom_client_connect_sync(client.get(), kGlobalDb) == 0 ? "" : "not connected ";
        wrong += follow<CapTable>(client) == 0 && put_int(client, "/a", 1) == 0 ? "" : "not followed ";
        wrong += ox_mom_client_process(client.get(), 0) > 0 ? "" : "not told ";
        for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            wrong += fcntl(standard, F_GETFD) < 0 ? "" : std::to_string(standard) + " taken ";
        }
        dup2(outside, STDERR_FILENO);
        return wrong;
    });
    EXPECT_EQ(said, ".");
}

size_t entries(const char *directory) {
    const auto all = std::filesystem::directory_iterator(directory);
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

TEST_P(OwnershipTest, AClientHasNoThreadOfItsOwn) {
    // Whatever the runtime starts with the first thread is there then; that thread itself is gone some time after
    // join().
    std::string first;
    std::thread([&] { first = "/proc/self/task/" + std::to_string(gettid()); }).join();
    while (std::filesystem::exists(first)) {
        std::this_thread::yield();
    }
    const size_t before = entries("/proc/self/task");
    const ClientPtr client = connect({kCardDb, kGlobalDb});
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_TRUE(settle(client, client));
    EXPECT_EQ(entries("/proc/self/task"), before);
}

TEST_P(OwnershipTest, AClientLeavesNoDescriptorBehind) {
    connect();
    const size_t before = entries("/proc/self/fd");
    for (int times = 0; times < 20; ++times) {
        const ClientPtr client = connect({0, kCardDb, kGlobalDb});
        ASSERT_EQ(follow<CapTable>(client), 0);
        ASSERT_EQ(follow_field(client, Cap("/a").message(), kInt), 0);
        ASSERT_EQ(put_int(client, "/a", 1), 0);
        if (times % 2 == 0) {
            ASSERT_GE(ox_mom_client_process(client.get(), 0), 0);
        }
        ASSERT_NE(ClientPtr(ox_mom_client_create(store().c_str())), nullptr);
    }
    EXPECT_EQ(entries("/proc/self/fd"), before);
}

}  // namespace
}  // namespace mom_test
