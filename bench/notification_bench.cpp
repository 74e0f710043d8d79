// Processor time of a follower, decoding and dispatch included, beside a loop that only receives the same bytes.
#include "ratio.h"
#include "store.h"

namespace {

constexpr int kNotifications = 2000;
const char *const kChannel = "mom:28:s_frame.cap_fe_ready";

int received = 0;

int32_t count(MomClient *, MomMsg *message) {
    received += message->cmd == OX_MOM_CMD_DELIVERED ? 1 : 0;
    return 0;
}

// The bytes of a real notification.
std::string one_notification(const bench::Store &store, redisContext *subscriber) {
    store.write_fe_ready(1);
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

void notification(benchmark::State &state) {
    const bench::Store store;
    redisContext *subscriber = store.connect();
    freeReplyObject(redisCommand(subscriber, "SUBSCRIBE %s", kChannel));
    const std::string bytes = one_notification(store, subscriber);
    const CapFeReady request = CAP_FE_READY__INIT;
    bench::must(ox_mom_subscribe(store.client(), TREL_CAP_DB_CAPABILITIES, &request.base, 0, count, nullptr) == 0);
    const auto publish = [&] {
        for (int i = 0; i < kNotifications; ++i) {
            redisAppendCommand(store.bare(), "PUBLISH %s %b", kChannel, bytes.data(), bytes.size());
        }
        receive_bare(store.bare());
    };
    bench::compare(
        state, [&] { return bench::thread_time(); }, kNotifications, 1.0, [&] { receive_bare(subscriber); },
        [&] { receive_ours(store.client()); }, publish);
    redisFree(subscriber);
}

}  // namespace

BENCHMARK(notification)
    ->Name("a notification, decoded and delivered")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);
