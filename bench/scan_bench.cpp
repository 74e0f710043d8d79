// A scan of all records of a type, decoded, beside the same records fetched and not decoded.
#include "ratio.h"
#include "store.h"

namespace {

constexpr int32_t kRecords = 10000;
constexpr size_t kBatch = 256;

int32_t count_record(MomClient *, MomMsg *message) {
    const auto *result = static_cast<const MomHashResult *>(message->result);
    benchmark::DoNotOptimize(reinterpret_cast<const CapFeReady *>(result->record)->ready);
    return 0;
}

void fetch_bare(redisContext *context) {
    auto *keys = static_cast<redisReply *>(redisCommand(context, "SMEMBERS records:s_frame.cap_fe_ready"));
    bench::must(keys->elements == kRecords);
    for (size_t from = 0; from < keys->elements; from += kBatch) {
        const size_t to = std::min(from + kBatch, keys->elements);
        for (size_t i = from; i < to; ++i) {
            redisAppendCommand(context, "HGETALL %b", keys->element[i]->str,
                               static_cast<size_t>(keys->element[i]->len));
        }
        for (size_t i = from; i < to; ++i) {
            void *reply = nullptr;
            bench::must(redisGetReply(context, &reply) == REDIS_OK);
            freeReplyObject(reply);
        }
    }
    freeReplyObject(keys);
}

void scan(benchmark::State &state) {
    const bench::Store store;
    for (int32_t node = 0; node < kRecords; ++node) {
        store.write_fe_ready(node);
    }
    const CapFeReady request = CAP_FE_READY__INIT;
    bench::compare(
        state, bench::wall_time, kRecords, 1.0, [&] { fetch_bare(store.bare()); },
        [&] {
            bench::must(ox_mom_scan_sync(store.client(), TREL_CAP_DB_CAPABILITIES, &request.base, 0, count_record,
                                         nullptr) == 0);
        });
}

}  // namespace

BENCHMARK(scan)->Name("scan of 10,000 records")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(40);
