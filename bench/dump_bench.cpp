// What trel_capctl adds when it dumps and loads: keys, order, and JSON both ways.
#include <string>
#include <vector>

#include "ratio.h"
#include "record/dump.h"
#include "record/record_json.h"
#include "store.h"
#include "store/snapshot.h"
#include "store/store.h"

namespace {

constexpr int32_t kRecords = 10000;

int32_t count_record(MomClient *, MomMsg *message) {
    benchmark::DoNotOptimize(message->result);
    return 0;
}

std::string dump(store::Store &store) {
    std::string text;
    const store::Snapshot snapshot = store::Snapshot::of(store, std::vector{&record::type_named("cap_fe_ready")});
    for (const record::Record *record : snapshot.in_order()) {
        text += record_line(*record);
    }
    return text;
}

// Beside a scan by the client alone.
void dumping(benchmark::State &state) {
    const bench::Store server;
    for (int32_t node = 0; node < kRecords; ++node) {
        server.write_fe_ready(node);
    }
    store::Store store(server.name());
    const CapFeReady request = CAP_FE_READY__INIT;
    bench::compare(
        state, bench::wall_time, kRecords, 2.5,
        [&] {
            bench::must(ox_mom_scan_sync(server.client(), TREL_CAP_DB_CAPABILITIES, &request.base, 0, count_record,
                                         nullptr) == 0);
        },
        [&] { benchmark::DoNotOptimize(dump(store).size()); });
}

// Beside the same writes by the client alone.
void loading(benchmark::State &state) {
    constexpr int32_t kLoaded = kRecords / 10;
    const bench::Store server;
    for (int32_t node = 0; node < kLoaded; ++node) {
        server.write_fe_ready(node);
    }
    store::Store store(server.name());
    const std::string text = dump(store);
    bench::compare(
        state, bench::wall_time, kLoaded, 1.5,
        [&] {
            for (int32_t node = 0; node < kLoaded; ++node) {
                server.write_fe_ready(node);
            }
        },
        [&] {
            for (const record::Record &record : record::parse_dump("dump", text)) {
                store.write(record);
            }
        });
}

}  // namespace

BENCHMARK(dumping)->Name("dump of 10,000 records")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(loading)->Name("load of 1,000 records")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
