// Reading a capability over a Unix socket: asked for, decoded, checked and released, beside a bare HGETALL of the same
// record.
#include <cstdint>

#include "bare.h"
#include "ratio.h"
#include "store.h"

#include <trel_cap/trel_cap.h>

namespace {

constexpr int kReads = 500;
constexpr int32_t kNode = 17;
constexpr const char *kUrl = "/port/mtu/limit";
constexpr int32_t kFields[] = {TREL_CAP_FIELD_BOOL, TREL_CAP_FIELD_INT32, TREL_CAP_FIELD_STR};

// A record with a value of each type.
template <class Record, class Index>
void write(const bench::Store &store, Record record, Index index) {
    std::string url = kUrl;
    std::string text = "9216 bytes, or 1500 with tunnels";
    index.url = url.data();
    record.index = &index;
    record.bool_value = 1;
    record.int32_value = 9216;
    record.str_value = text.data();
    bench::must(
        ox_mom_hmset_sync(store.client(), TREL_CAP_DB_CAPABILITIES, &record.base, kFields, std::size(kFields)) == 0);
}

void write_device(const bench::Store &store) {
    write(store, CapTable(CAP_TABLE__INIT), CapTableIndex(CAP_TABLE_INDEX__INIT));
}

void write_node(const bench::Store &store) {
    CapGlbTableIndex index = CAP_GLB_TABLE_INDEX__INIT;
    index.node = kNode;
    write(store, CapGlbTable(CAP_GLB_TABLE__INIT), index);
}

int32_t read_bool(MomClient *client) {
    uint8_t value = 0;
    return trel_cap_ce_get_g_cap_bool(client, kUrl, &value);
}

int32_t read_int32(MomClient *client) {
    int32_t value = 0;
    return trel_cap_ce_get_g_cap_int32(client, kUrl, &value);
}

int32_t read_str(MomClient *client) {
    char value[TREL_CAP_URL_MAX + 1];
    uint32_t length = 0;
    return trel_cap_ce_get_fe_cap_str(client, kNode, kUrl, sizeof value, value, &length);
}

// What is read: the record's writer, its key, its type, and the getter.
struct Read {
    void (*write)(const bench::Store &);
    const char *key;
    void (*decode)(const redisReply &);
    int32_t (*get)(MomClient *);
};

void decode_device(const redisReply &fields) { bench::decode<CapTable>(cap_table__descriptor, fields); }
void decode_node(const redisReply &fields) { bench::decode<CapGlbTable>(cap_glb_table__descriptor, fields); }

void read(benchmark::State &state, const Read &what) {
    const bench::Store store;
    what.write(store);
    const auto read_bare = [&] {
        bench::ReplyPtr reply = bench::command(store.bare(), "HGETALL", what.key);
        bench::must(reply->elements == 2 * (1 + std::size(kFields)));
        return reply;
    };
    const auto times = [](const auto &work) {
        return [=] {
            for (int i = 0; i < kReads; ++i) {
                work();
            }
        };
    };
    bench::compare(state, bench::wall_time, kReads, 1.0, times([&] { read_bare(); }),
                   times([&] { bench::must(what.get(store.client()) == TREL_CAP_OK); }), bench::nothing,
                   times([&] { what.decode(*read_bare()); }));
}

constexpr const char *kDeviceKey = "p_libpub.cap_table:/port/mtu/limit";
constexpr const char *kNodeKey = "s_frame.cap_glb_table:17:/port/mtu/limit";

}  // namespace

BENCHMARK_CAPTURE(read, bool, Read{write_device, kDeviceKey, decode_device, read_bool})
    ->Name("a boolean read")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);
BENCHMARK_CAPTURE(read, int32, Read{write_device, kDeviceKey, decode_device, read_int32})
    ->Name("an integer read")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);
BENCHMARK_CAPTURE(read, str, Read{write_node, kNodeKey, decode_node, read_str})
    ->Name("a string of a node read")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);
