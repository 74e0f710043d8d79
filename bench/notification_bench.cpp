// Processor time of a follower, decoding and dispatch included, beside a loop that only receives the same bytes.
#include <functional>
#include <string>

#include "ratio.h"
#include "store.h"

#include <trel_cap/trel_cap.h>

namespace {

constexpr int kNotifications = 2000;
constexpr const char *kUrl = "/port/mtu/limit";

int received = 0;

int32_t count(MomClient *, MomMsg *message) {
    received += message->cmd == OX_MOM_CMD_DELIVERED ? 1 : 0;
    return 0;
}

// As an application's: it reads what has changed.
int32_t count_change(MomClient *, MomMsg *message, void *total) {
    char url[TREL_CAP_URL_MAX + 1] = "";
    uint32_t length = 0;
    int32_t value = 0;
    const int32_t rv = trel_cap_ce_get_g_cap_int32_by_pmsg(message, sizeof url, url, &value, &length);
    *static_cast<int *>(total) += rv == TREL_CAP_OK ? 1 : 0;
    return 0;
}

// What is followed: where its notifications come, how one is caused, and how it is followed.
struct Followed {
    const char *channel;
    std::function<void(const bench::Store &)> write;
    std::function<int32_t(MomClient *)> follow;
};

// The bytes of a real notification.
std::string one_notification(const bench::Store &store, const Followed &followed, redisContext *subscriber) {
    followed.write(store);
    redisReply *reply = nullptr;
    bench::must(redisGetReply(subscriber, reinterpret_cast<void **>(&reply)) == REDIS_OK && reply->elements == 3);
    std::string bytes(reply->element[2]->str, static_cast<size_t>(reply->element[2]->len));
    freeReplyObject(reply);
    return bytes;
}

void receive_bare(redisContext *subscriber) {
    for (int i = 0; i < kNotifications; ++i) {
        void *reply = nullptr;
        bench::must(redisGetReply(subscriber, &reply) == REDIS_OK);
        freeReplyObject(reply);
    }
}

void receive_ours(MomClient *client) {
    for (received = 0; received < kNotifications;) {
        bench::must(ox_mom_client_process(client, 1000) >= 0);
    }
}

void notification(benchmark::State &state, const Followed &followed) {
    const bench::Store store;
    redisContext *subscriber = store.connect();
    freeReplyObject(redisCommand(subscriber, "SUBSCRIBE %s", followed.channel));
    const std::string bytes = one_notification(store, followed, subscriber);
    bench::must(followed.follow(store.client()) == 0);
    const auto publish = [&] {
        for (int i = 0; i < kNotifications; ++i) {
            redisAppendCommand(store.bare(), "PUBLISH %s %b", followed.channel, bytes.data(), bytes.size());
        }
        receive_bare(store.bare());
    };
    bench::compare(
        state, [&] { return bench::thread_time(); }, kNotifications, 1.0, [&] { receive_bare(subscriber); },
        [&] { receive_ours(store.client()); }, publish);
    redisFree(subscriber);
}

void notification_of_type(benchmark::State &state) {
    notification(state, {"mom:28:s_frame.cap_fe_ready", [](const bench::Store &store) { store.write_fe_ready(1); },
                         [](MomClient *client) {
                             const CapFeReady request = CAP_FE_READY__INIT;
                             return ox_mom_subscribe(client, TREL_CAP_DB_CAPABILITIES, &request.base, 0, count,
                                                     nullptr);
                         }});
}

void notification_of_field(benchmark::State &state) {
    notification(state, {"mom:28:p_libpub.cap_table:/port/mtu/limit",
                         [](const bench::Store &store) {
                             bench::must(trel_cap_ce_set_g_cap_int32(store.client(), kUrl, 9216) == TREL_CAP_OK);
                         },
                         [](MomClient *client) {
                             return trel_cap_ce_subscribe_g_cap_int32_ext(client, kUrl, count_change, &received);
                         }});
}

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
