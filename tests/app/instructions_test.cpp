// What the library costs beside the store, in instructions: above all, what a closed log saves. The platform in front
// of it answers at once.

#include "instructions.h"

#include <cstdio>
#include <iterator>
#include <ostream>

#include <gtest/gtest.h>

#include "log/log.h"
#include "trel_cap/trel_cap.h"

namespace {

constexpr const char *kUrl = "/port/mtu/limit";
// Nothing is behind it.
char place_of_client = 0;
MomClient *const kClient = reinterpret_cast<MomClient *>(&place_of_client);

CapTableIndex table_index = CAP_TABLE_INDEX__INIT;
CapTable table = CAP_TABLE__INIT;
int32_t field_ids[] = {5, 6, 7, 8};
CapGlbState state = CAP_GLB_STATE__INIT;
char text[] = "10G,25G,100G";
char stored_url[] = "/port/mtu/limit";

// What any record that is asked for looks like: their values are where CapTable has them.
MomHashResult hash_result() {
    table_index.url = stored_url;
    table.index = &table_index;
    table.str_value = text;
    return {&table.base, field_ids, std::size(field_ids), {}, 0};
}
MomHashResult answer = hash_result();

int messages = 0;

int32_t on_change(MomClient *, MomMsg *, void *) { return 0; }

}  // namespace

extern "C" {
MomHashResult *ox_mom_hgetall_sync(MomClient *, int32_t, const ProtobufCMessage *) { return &answer; }
void ox_mom_hash_res_free(MomHashResult *) {}
int32_t ox_mom_hmset_sync(MomClient *, int32_t, const ProtobufCMessage *, const int32_t *, uint32_t) { return 0; }
ProtobufCMessage *ox_mom_get_sync(MomClient *, int32_t, const ProtobufCMessage *, int32_t *) { return &state.base; }
int32_t ox_mom_ox_obj_free(ProtobufCMessage *) { return 0; }
int32_t ox_mom_subscribe_field(MomClient *, int32_t, const ProtobufCMessage *, int32_t, const int32_t *,
                               const MomFieldCb *, void *const *, int32_t) {
    return 0;
}
}

namespace trel_cap {
// In place of the library's own, which nobody outside sees.
void write_message(const Caller &, int, long, const char *, ...) { ++messages; }
}  // namespace trel_cap

namespace {

#define COUNT_OR_SKIP(variable, ...)                                                                                   \
    const auto variable = test_support::count_instructions(__VA_ARGS__);                                               \
    if (!variable) {                                                                                                   \
        GTEST_SKIP() << "a process may not watch its child here";                                                      \
    }

[[gnu::noinline]] void says_nothing() { asm volatile(""); }

[[gnu::noinline]] void says_something() {
    TREL_CAP_LOG(trel_cap::kDetail, "%d and %s", messages, kUrl);
    asm volatile("");
}

// A load and a branch; the comparison between them may be an instruction of its own.
TEST(Instructions, AClosedGateCostsALoadAndABranch) {
    for (const int32_t level : {0, 1, 2, 3}) {
        g_trel_cap_zlog_level = level;
        COUNT_OR_SKIP(without, says_nothing);
        COUNT_OR_SKIP(with, says_something);
        EXPECT_GT(*with, *without);
        EXPECT_LE(*with, *without + 3) << "at level " << level;
    }
    EXPECT_EQ(messages, 0);
    g_trel_cap_zlog_level = 4;
    says_something();
    EXPECT_EQ(messages, 1);
}

struct Cost {
    const char *name;
    int32_t (*call)();
    int measured;  // beyond a tenth more, something has been added
};

std::ostream &operator<<(std::ostream &out, const Cost &cost) { return out << cost.name; }

template <auto kFunction, class Value>
int32_t get() {
    Value value = 0;
    return kFunction(kClient, kUrl, &value);
}
template <auto kFunction, class Value>
int32_t get_of_node() {
    Value value = 0;
    return kFunction(kClient, 1, kUrl, &value);
}
template <auto kFunction>
int32_t get_str() {
    char str[64];
    uint32_t length = 0;
    return kFunction(kClient, 1, kUrl, sizeof str, str, &length);
}
template <auto kFunction, class Value>
int32_t read_notification() {
    MomMsg msg = {kClient, 28, 4, &answer};
    char url[64] = "";
    Value value = 0;
    uint32_t length = 0;
    return kFunction(&msg, sizeof url, url, &value, &length);
}

const Cost kCosts[] = {
    {"GetBool", get<trel_cap_ce_get_g_cap_bool, uint8_t>, 152},
    {"GetInt32", get<trel_cap_ce_get_g_cap_int32, int32_t>, 156},
    {"ViewBool", get<trel_cap_ce_get_glb_view_bool, uint8_t>, 167},
    {"ViewInt32", get<trel_cap_ce_get_glb_view_int32, int32_t>, 158},
    {"HpsBool", get<trel_cap_ce_get_hps_g_cap_bool, uint8_t>, 152},
    {"HpsInt32", get<trel_cap_ce_get_hps_g_cap_int32, int32_t>, 156},
    {"FabBool", get<trel_cap_ce_get_fab_g_cap_bool, uint8_t>, 152},
    {"FabInt32", get<trel_cap_ce_get_fab_g_cap_int32, int32_t>, 156},
    {"CmBool", get<trel_cap_ce_get_cm_g_cap_bool, uint8_t>, 152},
    {"CmInt32", get<trel_cap_ce_get_cm_g_cap_int32, int32_t>, 156},
    {"FeNodeBool", get_of_node<trel_cap_ce_get_fe_cap_bool, uint8_t>, 162},
    {"FeNodeInt32", get_of_node<trel_cap_ce_get_fe_cap_int32, int32_t>, 165},
    {"FeNodeString", get_str<trel_cap_ce_get_fe_cap_str>, 250},
    {"CmNodeBool", get_of_node<trel_cap_ce_get_cm_cap_bool, uint8_t>, 162},
    {"CmNodeInt32", get_of_node<trel_cap_ce_get_cm_cap_int32, int32_t>, 165},
    {"CmNodeString", get_str<trel_cap_ce_get_cm_cap_str>, 250},
    {"HpsNodeBool", get_of_node<trel_cap_ce_get_hps_cap_bool, uint8_t>, 164},
    {"HpsNodeInt32", get_of_node<trel_cap_ce_get_hps_cap_int32, int32_t>, 167},
    {"HpsNodeString", get_str<trel_cap_ce_get_hps_cap_str>, 252},
    {"FabNodeBool", get_of_node<trel_cap_ce_get_fab_cap_bool, uint8_t>, 164},
    {"FabNodeInt32", get_of_node<trel_cap_ce_get_fab_cap_int32, int32_t>, 167},
    {"FabNodeString", get_str<trel_cap_ce_get_fab_cap_str>, 252},
    {"NotifiedBool", read_notification<trel_cap_ce_get_g_cap_bool_by_pmsg, uint8_t>, 189},
    {"NotifiedInt32", read_notification<trel_cap_ce_get_g_cap_int32_by_pmsg, int32_t>, 193},
    {"SetBool", [] { return trel_cap_ce_set_g_cap_bool(kClient, kUrl, 1); }, 112},
    {"SetInt32", [] { return trel_cap_ce_set_g_cap_int32(kClient, kUrl, 1); }, 112},
    {"SetState", [] { return trel_cap_ce_set_g_cap_state(kClient, kUrl, 1); }, 112},
    {"SubscribeBool", [] { return trel_cap_ce_subscribe_g_cap_bool_ext(kClient, kUrl, on_change, nullptr); }, 101},
    {"SubscribeInt32", [] { return trel_cap_ce_subscribe_g_cap_int32_ext(kClient, kUrl, on_change, nullptr); }, 101},
    {"Ready",
     [] {
         uint8_t ready = 0;
         return trel_cap_ce_get_glb_ready(kClient, &ready);
     },
     73},
    {"LogLevel",
     [] {
         trel_cap_log_level(0);
         return 0;
     },
     19},
};

class CallCost : public ::testing::TestWithParam<Cost> {};

INSTANTIATE_TEST_SUITE_P(Calls, CallCost, ::testing::ValuesIn(kCosts),
                         [](const auto &cost) { return cost.param.name; });

// A message that is put together, or only the buffer for one that is cleared, would cost more than the limits allow.
TEST_P(CallCost, IsSmallWhileTheLogIsClosed) {
    int32_t (*const call)() = GetParam().call;
    int32_t status = -1;
    g_trel_cap_zlog_level = 0;
    COUNT_OR_SKIP(count, [call, &status] { status = call(); });
    EXPECT_EQ(call(), 0);
    std::printf("%s: %d instructions\n", GetParam().name, *count);
    EXPECT_LE(*count, GetParam().measured * 11 / 10);
}

}  // namespace
