// A single request over a Unix socket, beside the same by the bare protocol.
#include "bare.h"
#include "ratio.h"
#include "store.h"

namespace {

constexpr int kRequests = 500;

void write(benchmark::State &state) {
    const bench::Store store;
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable record = CAP_TABLE__INIT;
    std::string url = "/port/mtu/limit";
    index.url = url.data();
    record.index = &index;
    record.int32_value = 9216;
    const int32_t field = TREL_CAP_FIELD_INT32;
    bench::compare(
        state, bench::wall_time, kRequests, 1.5,
        [&] {
            for (int i = 0; i < kRequests; ++i) {
                bench::command(store.bare(), "HSET", "plain:/port/mtu/limit", "7", "8\x80H");
            }
        },
        [&] {
            for (int i = 0; i < kRequests; ++i) {
                bench::must(ox_mom_hmset_sync(store.client(), TREL_CAP_DB_CAPABILITIES, &record.base, &field, 1) == 0);
            }
        });
}

}  // namespace

BENCHMARK(write)->Name("a write that publishes")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);
