// Threads that are cancelled, or end themselves, inside calls of the client.
#include "contract_test.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <functional>

namespace mom_test {
namespace {

// A thread that may be cancelled.
class Cancelled {
public:
    explicit Cancelled(std::function<void()> body) : body_(std::move(body)) {
        EXPECT_EQ(pthread_create(&thread_, nullptr, run, this), 0);
    }
    Cancelled(const Cancelled &) = delete;
    Cancelled &operator=(const Cancelled &) = delete;
    ~Cancelled() = default;

    void cancel() const { EXPECT_EQ(pthread_cancel(thread_), 0); }
    // Whether it ended before its body did.
    bool ends_early() const {
        void *result = nullptr;
        timespec limit{};
        clock_gettime(CLOCK_REALTIME, &limit);
        limit.tv_sec += 30;
        const int joined = pthread_timedjoin_np(thread_, &result, &limit);
        EXPECT_EQ(joined, 0) << "it goes on";
        return joined == 0 && result != this;
    }

private:
    static void *run(void *self) {
        static_cast<Cancelled *>(self)->body_();
        return self;
    }

    std::function<void()> body_;
    pthread_t thread_{};
};

class CancellationTest : public StoreTest {};
INSTANTIATE_OVER_STORES(CancellationTest);

TEST_P(CancellationTest, WhoeverWaitsForNotificationsEndsAtOnce) {
    std::atomic<bool> is_waiting = false;
    Cancelled follower([&] {
        const ClientPtr client = connect();  // which the end destroys
        EXPECT_EQ(follow<CapTable>(client), 0);
        EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
        is_waiting = true;
        ox_mom_client_process(client.get(), -1);
    });
    while (!is_waiting) {
        usleep(1000);
    }
    usleep(20000);
    follower.cancel();
    EXPECT_TRUE(follower.ends_early());
    EXPECT_EQ(put_int(connect(), "/a", 1), 0) << "which nobody hears";
}

TEST_P(CancellationTest, ARequestIsMadeToItsEnd) {
    const ClientPtr reader = connect();
    for (int times = 0; times < 20; ++times) {
        std::atomic<int> written = 0;
        std::atomic<int> begun = 0;
        Cancelled writer([&] {
            const ClientPtr client = connect();
            for (;;) {
                ++begun;
                const int32_t status = put_int(client, "/a", begun);
                EXPECT_EQ(status, 0);
                ++written;
                pthread_testcancel();
            }
        });
        while (written < 5) {
            usleep(100);
        }
        writer.cancel();
        EXPECT_TRUE(writer.ends_early());
        EXPECT_EQ(written, begun);
        EXPECT_EQ(stored_int(reader, "/a"), written);
    }
}

TEST_P(CancellationTest, ACallbackIsNotCutAndTheThreadEndsAfterTheCall) {
    std::atomic<int> steps = 0;
    Cancelled follower([&] {
        const ClientPtr client = connect();
        EXPECT_EQ(follow<CapTable>(client), 0);
        slot().hook = [&](MomClient *running, MomMsg *) {
            ++steps;
            pthread_cancel(pthread_self());
            usleep(1000);  // where a cancelled thread ends
            EXPECT_EQ(ox_mom_client_process(running, 10), 0) << "not in a call that a callback makes either";
            ++steps;
        };
        EXPECT_EQ(ox_mom_client_process(client.get(), 1000), 1);
        ++steps;
        pthread_testcancel();
        ++steps;
    });
    EXPECT_TRUE(follower.ends_early());
    EXPECT_EQ(steps, 3);
}

TEST_P(CancellationTest, ACallbackMayEndItsThread) {
    const ClientPtr writer = connect();
    ASSERT_EQ(put_int(writer, "/a", 1), 0);
    using Body = std::function<void(const ClientPtr &)>;
    const Body bodies[] = {
        [](const ClientPtr &client) { ox_mom_client_process(client.get(), 1000); },
        [](const ClientPtr &client) {
            ox_mom_scan_sync(client.get(), kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr);
        },
        [&](const ClientPtr &client) {
            slot(1).hook = slot(0).hook;
            EXPECT_EQ(follow_field(client, Cap("/a").message(), kInt, on_field<1>), 0);
            slot(0).hook = nullptr;
            EXPECT_EQ(put_int(client, "/a", 2), 0);
            while (ox_mom_client_process(client.get(), 1000) >= 0) {
            }
        },
        [](const ClientPtr &client) {
            slot(0).hook = [inner = slot(0).hook](MomClient *running, MomMsg *msg) {
                slot(0).hook = inner;
                EXPECT_EQ(msg->cmd, OX_MOM_CMD_SUBSCRIBED);
                ox_mom_scan_sync(running, kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr);
            };
            ox_mom_client_process(client.get(), 1000);
        },
        [](const ClientPtr &client) {
            slot(0).hook = [inner = slot(0).hook](MomClient *running, MomMsg *msg) {
                ox_mom_client_destroy(running);
                inner(running, msg);
            };
            ox_mom_client_process(client.get(), 1000);
        },
    };
    for (const Body &body : bodies) {
        Cancelled follower([&] {
            const ClientPtr client = connect();
            EXPECT_EQ(follow<CapTable>(client), 0);
            slot().hook = [](MomClient *, MomMsg *) { pthread_exit(nullptr); };
            body(client);
        });
        EXPECT_TRUE(follower.ends_early()) << &body - bodies;
        EXPECT_EQ(put_int(writer, "/a", 1), 0);
    }
}

}  // namespace
}  // namespace mom_test
