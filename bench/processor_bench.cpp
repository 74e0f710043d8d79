// The processors of readiness messages: what they add to a scan, and how a message's cost grows with the node list.
#include "ratio.h"
#include "store.h"

#include <trel_cap/trel_cap.h>

namespace {

constexpr int32_t kRecords = 10000;
constexpr int32_t kDeviceType = 7;
constexpr CapFeReady kAnyRecord = CAP_FE_READY__INIT;

int32_t ignore_event(int32_t, void *) { return 0; }

int32_t count_record(MomClient *, MomMsg *message) {
    const auto *result = static_cast<const MomHashResult *>(message->result);
    benchmark::DoNotOptimize(reinterpret_cast<const CapFeReady *>(result->record)->ready);
    return 0;
}

int32_t delete_node(CapNode *pos, void *) {
    return trel_cap_sw_node_del(pos->record.node, pos->record.config_dev_type);
}

// The thread's list holds that many line cards, installed and passed, so that every record of theirs is told on.
void list_nodes(int32_t count) {
    bench::must(trel_cap_event_callback_reg("bench", ignore_event, 0x03) == 0);
    trel_cap_sw_node_walk_cur(delete_node, nullptr);
    for (int32_t node = 0; node < count; ++node) {
        CapNodeRecord record{};
        record.node = node;
        record.config_dev_type = kDeviceType;
        record.node_type = 3;
        record.dm_install = 1;
        record.app_df_chk = 1;
        bench::must(trel_cap_sw_node_init_cur(record) != nullptr);
    }
}

// Of as many nodes, each with as many device types as it takes; none of them ready, or all.
void write_records(const bench::Store &store, int32_t nodes, bool ready) {
    for (int32_t i = 0; i < kRecords; ++i) {
        store.write_fe_ready(i % nodes, kDeviceType + i / nodes, ready);
    }
}

// Beside the scan alone. With ten times as many nodes their entries are no longer in the processor's nearest cache.
double scan_limit(int32_t nodes) { return nodes > 1000 ? 1.5 : 1.4; }

// That a node is new takes a walk over those that are listed.
double first_scan_limit(int32_t nodes) { return nodes > 1000 ? 60 : 1.5; }

void compare_scans(benchmark::State &state, int32_t nodes, bool ready, double limit, const bench::Work &list) {
    const bench::Store store;
    write_records(store, nodes, ready);
    const auto scan_with = [&](MomMsgCb callback) {
        bench::must(
            ox_mom_scan_sync(store.client(), TREL_CAP_DB_CAPABILITIES, &kAnyRecord.base, 0, callback, nullptr) == 0);
    };
    bench::compare(state, bench::wall_time, kRecords, limit, [&] { scan_with(count_record); },
                   {[&] { scan_with(trel_cap_fe_node_pmsg_f); }, list});
    list_nodes(0);
}

void scan(benchmark::State &state) {
    const auto nodes = static_cast<int32_t>(state.range(0));
    list_nodes(nodes);
    compare_scans(state, nodes, state.range(1) != 0, scan_limit(nodes), bench::nothing);
}

// As at a start: the scan adds the nodes to the list.
void first_scan(benchmark::State &state) {
    const auto nodes = static_cast<int32_t>(state.range(0));
    compare_scans(state, nodes, true, first_scan_limit(nodes), [] { list_nodes(0); });
}

// A message as the client delivers it.
struct Message {
    explicit Message(bool ready) {
        index.config_dev_type = kDeviceType;
        record.index = &index;
        record.ready = ready ? 1 : 0;
        record.real_time = 1;
        record.node_type = 3;
        result.record = &record.base;
        message.result = &result;
    }
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;

    CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
    CapFeReady record = CAP_FE_READY__INIT;
    MomHashResult result{};
    MomMsg message{nullptr, TREL_CAP_DB_CAPABILITIES, OX_MOM_CMD_DELIVERED, nullptr};
};

// With so many nodes in the list, one message after the other for nodes from all over it.
bench::Side messages(int32_t nodes, int32_t count, bool ready) {
    const auto deliver = [=] {
        constexpr int32_t kStride = 7919;
        Message message(ready);
        for (int32_t i = 0; i < count; ++i) {
            message.index.node = i * kStride % nodes;
            bench::must(trel_cap_fe_node_pmsg_f(nullptr, &message.message) == 0);
        }
    };
    return {deliver, [=] { list_nodes(nodes); }};
}

// Growing with the logarithm of the nodes; less slowly in time, once they are too many for the processor's caches.
double growth_limit(int32_t nodes) {
    if (bench::counts_instructions()) {
        return 1.5;
    }
    return nodes > 1000 ? 8 : 4;
}

// Beside the same message with ten nodes in the list.
void message(benchmark::State &state) {
    constexpr int32_t kFew = 10;
    constexpr int32_t kMessages = 2000;
    const auto nodes = static_cast<int32_t>(state.range(0));
    const bool ready = state.range(1) != 0;
    bench::compare(state, bench::thread_time, kMessages, growth_limit(nodes), messages(kFew, kMessages, ready),
                   messages(nodes, kMessages, ready));
    list_nodes(0);
}

}  // namespace

BENCHMARK(scan)
    ->Name("scan of 10,000 records to the line cards")
    ->ArgNames({"nodes", "ready"})
    ->ArgsProduct({{1000, 10000}, {1, 0}})
    ->UseManualTime()
    ->Iterations(30);
BENCHMARK(first_scan)
    ->Name("the same, new nodes")
    ->ArgName("nodes")
    ->Arg(1000)
    ->Arg(10000)
    ->UseManualTime()
    ->Iterations(30);
BENCHMARK(message)
    ->Name("a readiness message, beside 10 nodes")
    ->ArgNames({"nodes", "ready"})
    ->ArgsProduct({{1000, 10000}, {1, 0}})
    ->UseManualTime()
    ->Iterations(20);
