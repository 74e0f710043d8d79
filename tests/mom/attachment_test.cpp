// Descriptors of another library's in the client's loop.
#include "asleep.h"
#include "mom_test.h"

#include "mom/client/attachment.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <thread>

namespace mom_test {
namespace {

// Something to attach: a counter that makes its descriptor readable.
class Attached {
public:
    Attached() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    Attached(const Attached &) = delete;
    Attached &operator=(const Attached &) = delete;
    ~Attached() { close(fd_); }

    int32_t attach(MomClient *client, uint32_t wanted = EPOLLIN) {
        return ox_mom_attach(client, fd_, wanted, &attachment_);
    }
    int32_t alter(MomClient *client, uint32_t wanted) const { return ox_mom_alter(client, fd_, wanted); }
    int32_t detach(MomClient *client) const { return ox_mom_detach(client, fd_); }
    void make_readable() const { EXPECT_EQ(eventfd_write(fd_, 1), 0); }
    void make_quiet() const {
        eventfd_t count = 0;
        eventfd_read(fd_, &count);
    }

    int calls = 0;
    uint32_t events = 0;  // of the latest
    int destroyed = 0;
    bool drains = true;
    std::function<void()> on_ready;
    std::function<void()> on_destroy;

private:
    static void ready(void *arg, uint32_t which) {
        auto *self = static_cast<Attached *>(arg);
        ++self->calls;
        self->events = which;
        if (self->drains) {
            self->make_quiet();
        }
        if (self->on_ready) {
            self->on_ready();
        }
    }

    static void destroy(void *arg) {
        auto *self = static_cast<Attached *>(arg);
        ++self->destroyed;
        if (self->on_destroy) {
            self->on_destroy();
        }
    }

    int fd_;
    MomAttachment attachment_{.on_ready = ready, .on_destroy = destroy, .arg = this};
};

class AttachmentTest : public StoreTest {
protected:
    Attached attached;  // gone after the client
};
INSTANTIATE_OVER_STORES(AttachmentTest);

TEST_P(AttachmentTest, IsCalledFromProcessAndCounted) {
    const ClientPtr client = connect();
    ASSERT_EQ(attached.attach(client.get()), 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
    attached.make_readable();
    EXPECT_EQ(attached.calls, 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_EQ(attached.calls, 1);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
    ASSERT_EQ(follow<CapTable>(client), 0);
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 2) << "with a confirmation";
}

TEST_P(AttachmentTest, MakesTheClientsDescriptorReadableAndLeavesItQuiet) {
    const ClientPtr client = connect();
    const int fd = ox_mom_client_fd(client.get());
    ASSERT_EQ(attached.attach(client.get()), 0);
    while (ox_mom_client_process(client.get(), 0) > 0 || readable(fd, milliseconds(0))) {
    }
    for (int times = 1; times <= 5; ++times) {
        attached.make_readable();
        EXPECT_TRUE(readable(fd, milliseconds(0)));
        EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
        EXPECT_FALSE(readable(fd, milliseconds(0)));
    }
}

TEST_P(AttachmentTest, IsCalledAgainAsLongAsTheDescriptorIsReadable) {
    const ClientPtr client = connect();
    ASSERT_EQ(attached.attach(client.get()), 0);
    attached.drains = false;
    attached.make_readable();
    for (int times = 1; times <= 5; ++times) {
        EXPECT_TRUE(readable(ox_mom_client_fd(client.get()), milliseconds(0)));
        EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
        EXPECT_EQ(attached.calls, times);
    }
    attached.make_quiet();
    EXPECT_LE(ox_mom_client_process(client.get(), 0), 1) << "it was readable when the loop ran last";
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
}

TEST_P(AttachmentTest, EndsTheWaitOfProcess) {
    const ClientPtr client = connect();
    ASSERT_EQ(attached.attach(client.get()), 0);
    std::thread other([this, waiting = gettid()] {
        EXPECT_TRUE(test_support::falls_asleep(waiting));
        attached.make_readable();
    });
    EXPECT_EQ(ox_mom_client_process(client.get(), -1), 1);
    EXPECT_EQ(attached.calls, 1);
    other.join();
}

TEST_P(AttachmentTest, IsReadableAlreadyWhenItIsAttached) {
    const ClientPtr client = connect();
    attached.make_readable();
    ASSERT_EQ(attached.attach(client.get()), 0);
    EXPECT_EQ(attached.calls, 0);
    EXPECT_TRUE(readable(ox_mom_client_fd(client.get()), milliseconds(0)));
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
}

TEST_P(AttachmentTest, IsNeverCalledInsideARequestOrAScan) {
    const ClientPtr client = connect();
    ASSERT_EQ(put_int(client, "/a", 1), 0);
    ASSERT_EQ(attached.attach(client.get()), 0);
    attached.make_readable();
    EXPECT_EQ(put_int(client, "/a", 2), 0);
    EXPECT_EQ(stored_int(client, "/a"), 2);
    EXPECT_EQ(ox_mom_scan_sync(client.get(), kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr), 0);
    EXPECT_EQ(follow<CapTable>(client), 0);
    EXPECT_EQ(ox_mom_client_connect_sync(client.get(), kCardDb), 0);
    EXPECT_EQ(attached.calls, 0);
    EXPECT_TRUE(readable(ox_mom_client_fd(client.get()), milliseconds(0)));
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 2);
    EXPECT_EQ(attached.calls, 1);
}

TEST_P(AttachmentTest, DetachedIsCalledNoMore) {
    const ClientPtr client = connect();
    EXPECT_EQ(attached.detach(client.get()), 0) << "nothing attached";
    ASSERT_EQ(attached.attach(client.get()), 0);
    attached.make_readable();
    EXPECT_EQ(attached.detach(client.get()), 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
    ASSERT_EQ(attached.attach(client.get()), 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1) << "attached again";
}

TEST_P(AttachmentTest, MayBeDetachedAndAttachedFromItsOwnCall) {
    Attached other;
    const ClientPtr client = connect();
    ASSERT_EQ(attached.attach(client.get()), 0);
    attached.on_ready = [&] {
        EXPECT_EQ(attached.detach(client.get()), 0);
        EXPECT_EQ(other.attach(client.get()), 0);
    };
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    attached.make_readable();
    other.make_readable();
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_EQ(attached.calls, 1);
    EXPECT_EQ(other.calls, 1);
    EXPECT_EQ(other.detach(client.get()), 0);
}

TEST_P(AttachmentTest, RefusesWhatCannotBe) {
    const ClientPtr client = connect();
    const MomAttachment good{.on_ready = [](void *, uint32_t) {}, .on_destroy = nullptr, .arg = nullptr};
    const MomAttachment no_ready{.on_ready = nullptr, .on_destroy = [](void *) {}, .arg = nullptr};
    EXPECT_EQ(ox_mom_attach(nullptr, 0, EPOLLIN, &good), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_attach(client.get(), -1, EPOLLIN, &good), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_attach(client.get(), 0, EPOLLIN, nullptr), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_attach(client.get(), 0, EPOLLIN, &no_ready), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(ox_mom_alter(nullptr, 0, EPOLLIN), OX_MOM_E_ARGUMENT);
    EXPECT_EQ(attached.alter(client.get(), EPOLLIN), OX_MOM_E_ARGUMENT) << "not attached";
    EXPECT_EQ(ox_mom_detach(nullptr, 0), OX_MOM_E_ARGUMENT);
    const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(ox_mom_attach(client.get(), file, EPOLLIN, &good), OX_MOM_E_ARGUMENT) << "always readable";
    EXPECT_EQ(ox_mom_detach(client.get(), file), 0);
    close(file);
    ASSERT_EQ(attached.attach(client.get()), 0);
    EXPECT_EQ(attached.attach(client.get()), OX_MOM_E_ARGUMENT) << "twice";
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1) << "the first one stays";
}

TEST_P(AttachmentTest, SeveralAreCalledInTurn) {
    const ClientPtr client = connect();
    std::array<Attached, 40> all;
    for (size_t i = 0; i < all.size(); ++i) {
        all[i].drains = false;
        ASSERT_EQ(all[i].attach(client.get()), 0);
        all[i].make_readable();
    }
    while (std::ranges::min_element(all, {}, &Attached::calls)->calls < 10) {
        ASSERT_GT(ox_mom_client_process(client.get(), 1000), 0);
    }
    EXPECT_LE(std::ranges::max_element(all, {}, &Attached::calls)->calls, 15) << "none is served much more than others";
    for (Attached &each : all) {
        ASSERT_EQ(each.detach(client.get()), 0);
    }
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
}

TEST_P(AttachmentTest, OneMayDetachAndAlterOthersThatAreReady) {
    Attached other;
    Attached third;
    const ClientPtr client = connect();
    for (Attached *each : {&attached, &other, &third}) {
        ASSERT_EQ(each->attach(client.get()), 0);
        each->make_readable();
    }
    attached.on_ready = [&] {
        EXPECT_EQ(other.detach(client.get()), 0);
        EXPECT_EQ(third.alter(client.get(), 0), 0);
    };
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0);
    EXPECT_EQ(other.calls, 0);
    EXPECT_EQ(third.calls, 0);
    EXPECT_EQ(third.alter(client.get(), EPOLLIN), 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_EQ(third.calls, 1);
    EXPECT_EQ(third.detach(client.get()), 0);
}

TEST_P(AttachmentTest, IsToldOfWhatItWaitsForAndOfAnEnd) {
    const ClientPtr client = connect();
    ASSERT_EQ(attached.attach(client.get(), EPOLLOUT), 0);
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_EQ(attached.events, uint32_t{EPOLLOUT});
    EXPECT_EQ(attached.alter(client.get(), EPOLLIN | EPOLLOUT), 0);
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_EQ(attached.events, uint32_t{EPOLLIN | EPOLLOUT});

    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    uint32_t told = 0;
    const MomAttachment ended{.on_ready = [](void *arg, uint32_t events) { *static_cast<uint32_t *>(arg) = events; },
                              .on_destroy = nullptr,
                              .arg = &told};
    ASSERT_EQ(attached.detach(client.get()), 0);
    ASSERT_EQ(ox_mom_attach(client.get(), ends[0], 0, &ended), 0);
    ASSERT_EQ(write(ends[1], "a", 1), 1);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 0) << "it does not wait for bytes";
    close(ends[1]);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 1);
    EXPECT_TRUE((told & EPOLLHUP) != 0);
    EXPECT_EQ(ox_mom_detach(client.get(), ends[0]), 0);
    close(ends[0]);
}

TEST_P(AttachmentTest, AllAreLetGoBeforeAnyIsToldThatTheClientGoes) {
    Attached other;
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    {
        const ClientPtr client = connect();
        const MomAttachment silent{.on_ready = [](void *, uint32_t) {}, .on_destroy = nullptr, .arg = nullptr};
        ASSERT_EQ(attached.attach(client.get()), 0);
        ASSERT_EQ(ox_mom_attach(client.get(), ends[0], EPOLLIN, &silent), 0);
        ASSERT_EQ(other.attach(client.get()), 0);
        attached.on_destroy = [&] { close(ends[0]); };
        other.make_readable();
    }
    EXPECT_EQ(attached.destroyed, 1);
    EXPECT_EQ(other.destroyed, 1);
    EXPECT_EQ(other.calls, 0);
    close(ends[1]);
}

TEST_P(AttachmentTest, IsToldThatTheClientGoes) {
    {
        const ClientPtr client = connect();
        ASSERT_EQ(attached.attach(client.get()), 0);
        attached.make_readable();
        attached.on_destroy = [&] {
            EXPECT_EQ(ox_mom_client_process(client.get(), 0), OX_MOM_E_DESTROYED);
            EXPECT_EQ(attached.alter(client.get(), 0), OX_MOM_E_DESTROYED);
            EXPECT_EQ(attached.detach(client.get()), OX_MOM_E_DESTROYED);
        };
    }
    EXPECT_EQ(attached.destroyed, 1);
    EXPECT_EQ(attached.calls, 0);
    const ClientPtr another = connect();
    ASSERT_EQ(attached.attach(another.get()), 0);
    ASSERT_EQ(attached.detach(another.get()), 0);
    ox_mom_client_process(another.get(), 0);
    EXPECT_EQ(attached.destroyed, 1);
}

TEST_P(AttachmentTest, MayDestroyTheClient) {
    MomClient *client = connect().release();
    ASSERT_EQ(attached.attach(client), 0);
    attached.on_ready = [&] {
        ox_mom_client_destroy(client);
        EXPECT_EQ(ox_mom_client_fd(client), OX_MOM_E_DESTROYED) << "still there until the call returns";
        EXPECT_EQ(attached.destroyed, 0);
    };
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client, 1000), OX_MOM_E_DESTROYED);
    EXPECT_EQ(attached.destroyed, 1);
}

TEST_P(AttachmentTest, MayDestroyTheClientInsideProcessInsideItself) {
    MomClient *client = connect().release();
    ASSERT_EQ(attached.attach(client), 0);
    int32_t inner = 0;
    attached.on_ready = [&] {
        attached.make_readable();
        if (attached.calls == 1) {
            inner = ox_mom_client_process(client, 1000);
            EXPECT_EQ(attached.destroyed, 0);
        } else {
            ox_mom_client_destroy(client);
        }
    };
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client, 1000), OX_MOM_E_DESTROYED);
    EXPECT_EQ(inner, OX_MOM_E_DESTROYED);
    EXPECT_EQ(attached.calls, 2);
    EXPECT_EQ(attached.destroyed, 1);
}

TEST_P(AttachmentTest, AnotherCallbackMayDestroyTheClient) {
    MomClient *client = connect().release();
    ASSERT_EQ(attached.attach(client), 0);
    ASSERT_EQ(ox_mom_subscribe(client, kGlobalDb, Cap("").message(), 0, on_notification<0>, nullptr), 0);
    slot().hook = [](MomClient *running, MomMsg *) { ox_mom_client_destroy(running); };
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client, 1000), OX_MOM_E_DESTROYED);
    EXPECT_EQ(attached.calls, 0);
    EXPECT_EQ(attached.destroyed, 1);
}

TEST_P(AttachmentTest, MayMakeRequestsAndRunTheClient) {
    const ClientPtr client = connect();
    ASSERT_EQ(follow<CapTable>(client), 0);
    ASSERT_EQ(ox_mom_client_process(client.get(), 0), 1);
    ASSERT_EQ(attached.attach(client.get()), 0);
    attached.on_ready = [&] {
        attached.on_ready = nullptr;
        EXPECT_EQ(put_int(client, "/a", 1), 0);
        EXPECT_EQ(stored_int(client, "/a"), 1);
        EXPECT_TRUE(pump_until(client, [] { return slot().count(4) == 1; }));
        attached.make_readable();
        EXPECT_TRUE(pump_until(client, [this] { return attached.calls == 2; })) << "inside itself";
    };
    attached.make_readable();
    EXPECT_EQ(ox_mom_client_process(client.get(), 1000), 1);
    EXPECT_EQ(attached.calls, 2);
    EXPECT_FALSE(readable(ox_mom_client_fd(client.get()), milliseconds(0)));
}

// While a request waits, nobody takes what makes the descriptor readable: that must not turn waiting into spinning.
class WaitingRequestTest : public ServerTest {};
INSTANTIATE_OVER_SERVERS(WaitingRequestTest);

TEST_P(WaitingRequestTest, SleepsThoughTheDescriptorIsReadable) {
    Attached attached;
    const ClientPtr client = connect();
    ASSERT_EQ(attached.attach(client.get()), 0);
    attached.make_readable();
    server().pause();
    std::thread other([this, waiting = gettid()] {
        EXPECT_TRUE(test_support::falls_asleep(waiting));
        server().resume();
    });
    EXPECT_EQ(follow<CapTable>(client), 0);
    other.join();
    EXPECT_EQ(attached.calls, 0);
    EXPECT_EQ(ox_mom_client_process(client.get(), 0), 2);
    EXPECT_EQ(attached.calls, 1);
}

}  // namespace
}  // namespace mom_test
