// What trel_capctl adds when it dumps and loads: keys, order, and JSON both ways.
#include <string>
#include <vector>

#include "ratio.h"
#include "record/dump.h"
#include "record/record_json.h"
#include "store.h"
#include "store/ordered_text.h"
#include "store/store.h"

namespace {

constexpr int32_t kRecords = 10000;

int32_t count_record(MomClient *, MomMsg *message) {
    benchmark::DoNotOptimize(message->result);
    return 0;
}

// In time most of it is the server's work, in instructions it is not counted.
double limit(double of_time, double of_instructions) {
    return bench::counts_instructions() ? of_instructions : of_time;
}

std::string dump(store::Store &store) {
    return ordered_text(store, std::vector{&record::type_named("cap_fe_ready")}, record::append_record_line);
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
        state, bench::wall_time, kRecords, limit(1.5, 3),
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
        state, bench::wall_time, kLoaded, limit(1.5, 11),
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
