// A scan of all records of a type, decoded, beside the same records fetched: not decoded, and by protobuf-c.
#include "bare.h"
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

template <class Handle>
void fetch_bare(redisContext *context, Handle handle) {
    const bench::ReplyPtr keys = bench::command(context, "SMEMBERS", "records:s_frame.cap_fe_ready");
    bench::must(keys->elements == kRecords);
    for (size_t from = 0; from < keys->elements; from += kBatch) {
        const size_t to = std::min(from + kBatch, keys->elements);
        for (size_t i = from; i < to; ++i) {
            bench::append(context, "HGETALL", std::string_view(keys->element[i]->str, keys->element[i]->len));
        }
        for (size_t i = from; i < to; ++i) {
            handle(*bench::receive(context));
        }
    }
}

void decode(const redisReply &fields) { bench::decode<CapFeReady>(cap_fe_ready__descriptor, fields); }

void scan(benchmark::State &state) {
    const bench::Store store;
    for (int32_t node = 0; node < kRecords; ++node) {
        store.write_fe_ready(node);
    }
    const CapFeReady request = CAP_FE_READY__INIT;
    bench::compare(
        state, bench::wall_time, kRecords, 1.0, [&] { fetch_bare(store.bare(), [](const redisReply &) {}); },
        [&] {
            bench::must(ox_mom_scan_sync(store.client(), TREL_CAP_DB_CAPABILITIES, &request.base, 0, count_record,
                                         nullptr) == 0);
        },
        bench::nothing, [&] { fetch_bare(store.bare(), decode); });
}

}  // namespace

BENCHMARK(scan)->Name("scan of 10,000 records")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(40);
