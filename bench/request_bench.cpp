// Single requests over a Unix socket, beside the same by the bare protocol.
#include "ratio.h"
#include "store.h"

#include <trel_cap/capability.h>

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
                freeReplyObject(redisCommand(store.bare(), "HSET plain:/port/mtu/limit 7 %b", "8\x80H", size_t{3}));
            }
        },
        [&] {
            for (int i = 0; i < kRequests; ++i) {
                bench::must(ox_mom_hmset_sync(store.client(), TREL_CAP_DB_CAPABILITIES, &record.base, &field, 1) == 0);
            }
        });
}

template <class Read>
void compare_read(benchmark::State &state, Read read) {
    const bench::Store store;
    bench::must(trel_cap_ce_set_g_cap_bool(store.client(), "/port/mtu/limit", 1) == 0 &&
                trel_cap_ce_set_g_cap_int32(store.client(), "/port/mtu/limit", 9216) == 0);
    bench::compare(
        state, bench::wall_time, kRequests, 1.0,
        [&] {
            for (int i = 0; i < kRequests; ++i) {
                freeReplyObject(redisCommand(store.bare(), "HGETALL p_libpub.cap_table:/port/mtu/limit"));
            }
        },
        [&] {
            for (int i = 0; i < kRequests; ++i) {
                bench::must(read(store.client()) == 0);
            }
        });
}

void read_bool(benchmark::State &state) {
    compare_read(state, [](MomClient *client) {
        uint8_t value = 0;
        return trel_cap_ce_get_g_cap_bool(client, "/port/mtu/limit", &value);
    });
}

void read_int32(benchmark::State &state) {
    compare_read(state, [](MomClient *client) {
        int32_t value = 0;
        return trel_cap_ce_get_g_cap_int32(client, "/port/mtu/limit", &value);
    });
}

}  // namespace

BENCHMARK(write)->Name("a write that publishes")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);
BENCHMARK(read_bool)->Name("a boolean read")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);
BENCHMARK(read_int32)->Name("an integer read")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);
