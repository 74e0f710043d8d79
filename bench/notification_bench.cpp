// Processor time of a follower, decoding and dispatch included, beside a loop that only receives the same bytes.
#include <poll.h>

#include <atomic>
#include <functional>
#include <semaphore>
#include <string>
#include <thread>

#include "bare.h"
#include "ratio.h"
#include "store.h"

#include <trel_cap/trel_cap.h>

namespace {

constexpr int kNotifications = 2000;
constexpr int kLive = 200;
constexpr const char *kUrl = "/port/mtu/limit";

int received = 0;

int32_t count(MomClient *, MomMsg *message) {
    received += message->cmd == OX_MOM_CMD_DELIVERED ? 1 : 0;
    return 0;
}

int32_t count_delivery(MomClient *, MomMsg *message, void *) { return count(nullptr, message); }

// As an application's: it reads what has changed.
int32_t count_change(MomClient *, MomMsg *message, void *total) {
    char url[TREL_CAP_URL_MAX + 1] = "";
    uint32_t length = 0;
    int32_t value = 0;
    const int32_t rv = trel_cap_ce_get_g_cap_int32_by_pmsg(message, sizeof url, url, &value, &length);
    *static_cast<int *>(total) += rv == TREL_CAP_OK ? 1 : 0;
    return 0;
}

// What is followed: where its notifications come, how a program of its own would have its record, how one is caused,
// and how it is followed.
struct Followed {
    const char *channel;
    std::string record;
    void (*decode)(std::string_view);
    std::function<void(const bench::Store &)> write;
    std::function<int32_t(MomClient *)> follow;
    int followers = 1;
};

// The bytes of a real notification.
std::string one_notification(const bench::Store &store, const Followed &followed, redisContext *subscriber) {
    followed.write(store);
    const bench::ReplyPtr reply = bench::receive(subscriber);
    bench::must(reply->elements == 3);
    return {reply->element[2]->str, reply->element[2]->len};
}

template <class Handle>
void receive_bare(redisContext *subscriber, Handle handle) {
    for (int i = 0; i < kNotifications; ++i) {
        handle(*bench::receive(subscriber));
    }
}

// Publishes one notification after the other on a thread of its own, each when it is asked for.
class Publisher {
public:
    Publisher(const bench::Store &store, const char *channel, const std::string &bytes) : context_(store.connect()) {
        thread_ = std::thread([this, channel, bytes] {
            for (asked_.acquire(); !ends_; asked_.acquire()) {
                bench::command(context_, "PUBLISH", channel, bytes);
            }
        });
    }
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;
    ~Publisher() {
        ends_ = true;
        ask();
        thread_.join();
        redisFree(context_);
    }

    void ask() { asked_.release(); }

private:
    redisContext *context_;
    std::counting_semaphore<> asked_{0};
    std::atomic<bool> ends_ = false;
    std::thread thread_;
};

void ignore(const redisReply &) {}

void receive_ours(MomClient *client, int deliveries) {
    for (received = 0; received < deliveries;) {
        bench::must(ox_mom_client_process(client, 1000) >= 0);
    }
}

void notification(benchmark::State &state, const Followed &followed, double limit = 1.0) {
    const int deliveries = kNotifications * followed.followers;
    constexpr const char *kPlain = "plain";
    const bench::Store store;
    redisContext *subscriber = store.connect();
    redisContext *decoding = store.connect();
    bench::command(subscriber, "SUBSCRIBE", followed.channel);
    bench::command(decoding, "SUBSCRIBE", kPlain);
    const std::string bytes = one_notification(store, followed, subscriber);
    for (int i = 0; i < followed.followers; ++i) {
        bench::must(followed.follow(store.client()) == 0);
    }
    const auto publish = [&] {
        for (int i = 0; i < kNotifications; ++i) {
            bench::append(store.bare(), "PUBLISH", followed.channel, bytes);
            bench::append(store.bare(), "PUBLISH", kPlain, followed.record);
        }
        receive_bare(store.bare(), ignore);
        receive_bare(store.bare(), ignore);
    };
    const auto decode = [&](const redisReply &message) {
        followed.decode({message.element[2]->str, message.element[2]->len});
    };
    bench::compare(
        state, [&] { return bench::thread_time(); }, deliveries, limit, [&] { receive_bare(subscriber, ignore); },
        [&] { receive_ours(store.client(), deliveries); }, publish, [&] { receive_bare(decoding, decode); });
    redisFree(subscriber);
    redisFree(decoding);
}

// Both wait for a descriptor to be readable, as a program does that has other things to wait for, and then receive.
bench::ReplyPtr wait_and_receive(redisContext *context) {
    pollfd waited_for{.fd = context->fd, .events = POLLIN, .revents = 0};
    bench::must(poll(&waited_for, 1, 1000) == 1);
    return bench::receive(context);
}

void live_notification(benchmark::State &state, const Followed &followed) {
    const bench::Store store;
    redisContext *subscriber = store.connect();
    redisContext *decoding = store.connect();
    bench::command(subscriber, "SUBSCRIBE", "bare");
    bench::command(decoding, "SUBSCRIBE", "plain");
    redisContext *sample = store.connect();
    bench::command(sample, "SUBSCRIBE", followed.channel);
    const std::string bytes = one_notification(store, followed, sample);
    redisFree(sample);
    bench::must(followed.follow(store.client()) == 0);
    Publisher ours(store, followed.channel, bytes);
    Publisher bare(store, "bare", bytes);
    Publisher plain(store, "plain", followed.record);
    const auto wait_for = [](Publisher &publisher, const auto &receive) {
        return [&publisher, receive] {
            for (int i = 0; i < kLive; ++i) {
                publisher.ask();
                receive();
            }
        };
    };
    bench::compare(
        state, [&] { return bench::thread_time(); }, kLive, 1.3, wait_for(bare, [=] { wait_and_receive(subscriber); }),
        wait_for(ours,
                 [&] {
                     for (received = 0; received == 0;) {
                         bench::must(ox_mom_client_process(store.client(), 1000) >= 0);
                     }
                 }),
        bench::nothing, wait_for(plain, [=, &followed] {
            const bench::ReplyPtr message = wait_and_receive(decoding);
            followed.decode({message->element[2]->str, message->element[2]->len});
        }));
    redisFree(subscriber);
    redisFree(decoding);
}

std::string fe_ready() {
    CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
    CapFeReady record = CAP_FE_READY__INIT;
    index.node = 1;
    index.config_dev_type = 7;
    record.index = &index;
    record.ready = 1;
    record.config_dev_type = 7;
    record.devid = 1;
    record.slotid = 1;
    record.node_type = 3;
    record.real_time = 1;
    return bench::encode(record.base);
}

std::string capability() {
    std::string url = kUrl;
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable record = CAP_TABLE__INIT;
    index.url = url.data();
    record.index = &index;
    record.int32_value = 9216;
    return bench::encode(record.base);
}

Followed type() {
    return {"mom:28:s_frame.cap_fe_ready", fe_ready(),
            [](std::string_view bytes) { bench::decode<CapFeReady>(cap_fe_ready__descriptor, bytes); },
            [](const bench::Store &store) { store.write_fe_ready(1); },
            [](MomClient *client) {
                const CapFeReady request = CAP_FE_READY__INIT;
                return ox_mom_subscribe(client, TREL_CAP_DB_CAPABILITIES, &request.base, 0, count, nullptr);
            }};
}

Followed field() {
    return {
        "mom:28:p_libpub.cap_table:/port/mtu/limit", capability(),
        [](std::string_view bytes) { bench::decode<CapTable>(cap_table__descriptor, bytes); },
        [](const bench::Store &store) {
            bench::must(trel_cap_ce_set_g_cap_int32(store.client(), kUrl, 9216) == TREL_CAP_OK);
        },
        [](MomClient *client) { return trel_cap_ce_subscribe_g_cap_int32_ext(client, kUrl, count_change, &received); }};
}

// Of one record: it is received once, decoded once, and delivered to each.
Followed field_of_many() {
    Followed followed = field();
    followed.followers = 100;
    followed.follow = [](MomClient *client) {
        std::string url = kUrl;
        CapTableIndex index = CAP_TABLE_INDEX__INIT;
        CapTable request = CAP_TABLE__INIT;
        index.url = url.data();
        request.index = &index;
        const int32_t number = TREL_CAP_FIELD_INT32;
        const MomFieldCb cb = count_delivery;
        return ox_mom_subscribe_field(client, TREL_CAP_DB_CAPABILITIES, &request.base, 1, &number, &cb, nullptr, 1);
    };
    return followed;
}

void notification_of_type(benchmark::State &state) { notification(state, type()); }
void notification_of_field(benchmark::State &state) { notification(state, field()); }
void notification_of_many(benchmark::State &state) { notification(state, field_of_many(), 6.0); }
void live_notification_of_type(benchmark::State &state) { live_notification(state, type()); }

}  // namespace

BENCHMARK(notification_of_type)
    ->Name("a notification, decoded and delivered")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);
BENCHMARK(notification_of_field)
    ->Name("a notification of a field, decoded, delivered and read")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);
BENCHMARK(notification_of_many)
    ->Name("a notification of a field, to each of 100 followers")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);
BENCHMARK(live_notification_of_type)
    ->Name("a notification that was waited for")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);
