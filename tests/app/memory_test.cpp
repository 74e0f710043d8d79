// The library's calls on the real client, short of memory at each allocation in turn: each says so by a code, keeps the
// variable as it documents, and succeeds once there is memory again.
#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "each_allocation.h"
#include "store_fixture.h"
#include "trel_cap/trel_cap.h"

namespace trel_cap_tests {
namespace {

using test_support::fail_each_allocation;

constexpr char kUrl[] = "/a/url/that/is/longer/than/what/is/kept/without/an/allocation";
constexpr int32_t kNode = 17;

int32_t ignore_field(MomClient *, MomMsg *, void *) { return 0; }

struct Call {
    std::string name;
    std::function<int32_t(MomClient *)> make;
};

using GetBool = int32_t (*)(MomClient *, const char *, uint8_t *);
using GetInt = int32_t (*)(MomClient *, const char *, int32_t *);
using GetNodeBool = int32_t (*)(MomClient *, int32_t, const char *, uint8_t *);
using GetNodeInt = int32_t (*)(MomClient *, int32_t, const char *, int32_t *);
using GetNodeText = int32_t (*)(MomClient *, int32_t, const char *, int32_t, char *, uint32_t *);
using Set = int32_t (*)(MomClient *, const char *, int32_t);
using Follow = int32_t (*)(MomClient *, const char *, MomFieldCb);
using FollowWith = int32_t (*)(MomClient *, const char *, MomFieldCb, void *);
using Ready = int32_t (*)(MomClient *, uint8_t *);

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): the name of what is called
#define NAMED(function)                                                                                                \
    { #function, function }

template <class Function>
struct Named {
    const char *name;
    Function function;
};

template <class Function, class Make>
void add(std::vector<Call> &calls, const std::vector<Named<Function>> &functions, Make make) {
    for (const Named<Function> &each : functions) {
        calls.push_back({each.name, [=](MomClient *client) { return make(each.function, client); }});
    }
}

void add_getters(std::vector<Call> &calls) {
    add<GetBool>(calls,
                 {NAMED(trel_cap_ce_get_g_cap_bool), NAMED(trel_cap_ce_get_glb_view_bool),
                  NAMED(trel_cap_ce_get_hps_g_cap_bool), NAMED(trel_cap_ce_get_fab_g_cap_bool),
                  NAMED(trel_cap_ce_get_cm_g_cap_bool)},
                 [](GetBool get, MomClient *client) {
                     uint8_t value = 0;
                     return get(client, kUrl, &value);
                 });
    add<GetInt>(calls,
                {NAMED(trel_cap_ce_get_g_cap_int32), NAMED(trel_cap_ce_get_glb_view_int32),
                 NAMED(trel_cap_ce_get_hps_g_cap_int32), NAMED(trel_cap_ce_get_fab_g_cap_int32),
                 NAMED(trel_cap_ce_get_cm_g_cap_int32)},
                [](GetInt get, MomClient *client) {
                    int32_t value = 0;
                    const int32_t status = get(client, kUrl, &value);
                    EXPECT_TRUE(status != 0 || value == 3);
                    return status;
                });
    add<GetNodeBool>(calls,
                     {NAMED(trel_cap_ce_get_fe_cap_bool), NAMED(trel_cap_ce_get_cm_cap_bool),
                      NAMED(trel_cap_ce_get_hps_cap_bool), NAMED(trel_cap_ce_get_fab_cap_bool)},
                     [](GetNodeBool get, MomClient *client) {
                         uint8_t value = 0;
                         return get(client, kNode, kUrl, &value);
                     });
    add<GetNodeInt>(calls,
                    {NAMED(trel_cap_ce_get_fe_cap_int32), NAMED(trel_cap_ce_get_cm_cap_int32),
                     NAMED(trel_cap_ce_get_hps_cap_int32), NAMED(trel_cap_ce_get_fab_cap_int32)},
                    [](GetNodeInt get, MomClient *client) {
                        int32_t value = 0;
                        return get(client, kNode, kUrl, &value);
                    });
    add<GetNodeText>(calls,
                     {NAMED(trel_cap_ce_get_fe_cap_str), NAMED(trel_cap_ce_get_cm_cap_str),
                      NAMED(trel_cap_ce_get_hps_cap_str), NAMED(trel_cap_ce_get_fab_cap_str)},
                     [](GetNodeText get, MomClient *client) {
                         std::array<char, 32> text{};
                         uint32_t length = 0;
                         return get(client, kNode, kUrl, text.size(), text.data(), &length);
                     });
    add<Ready>(calls,
               {NAMED(trel_cap_ce_get_glb_ready), NAMED(trel_cap_ce_get_hps_glb_ready),
                NAMED(trel_cap_ce_get_cm_glb_ready), NAMED(trel_cap_ce_get_fab_glb_ready)},
               [](Ready get, MomClient *client) {
                   uint8_t ready = 0;
                   return get(client, &ready);
               });
}

void add_setters(std::vector<Call> &calls) {
    add<Set>(calls,
             {NAMED(trel_cap_ce_set_g_cap_bool), NAMED(trel_cap_ce_set_g_cap_int32), NAMED(trel_cap_ce_set_g_cap_state),
              NAMED(trel_cap_ce_set_cap_view_state)},
             [](Set set, MomClient *client) { return set(client, kUrl, 3); });
}

void add_subscriptions(std::vector<Call> &calls) {
    add<Follow>(calls,
                {NAMED(trel_cap_ce_subscribe_g_cap_bool), NAMED(trel_cap_ce_subscribe_g_cap_int32),
                 NAMED(trel_cap_subscribe_glb_view_bool), NAMED(trel_cap_ce_subscribe_hps_g_cap_bool),
                 NAMED(trel_cap_ce_subscribe_hps_g_cap_int32), NAMED(trel_cap_ce_subscribe_fab_g_cap_bool),
                 NAMED(trel_cap_ce_subscribe_fab_g_cap_int32), NAMED(trel_cap_ce_subscribe_cm_g_cap_bool),
                 NAMED(trel_cap_ce_subscribe_cm_g_cap_int32)},
                [](Follow follow, MomClient *client) { return follow(client, kUrl, ignore_field); });
    add<FollowWith>(calls,
                    {NAMED(trel_cap_ce_subscribe_g_cap_bool_ext), NAMED(trel_cap_ce_subscribe_g_cap_int32_ext),
                     NAMED(trel_cap_ce_subscribe_hps_g_cap_bool_ext), NAMED(trel_cap_ce_subscribe_hps_g_cap_int32_ext),
                     NAMED(trel_cap_ce_subscribe_fab_g_cap_bool_ext), NAMED(trel_cap_ce_subscribe_fab_g_cap_int32_ext),
                     NAMED(trel_cap_ce_subscribe_cm_g_cap_bool_ext), NAMED(trel_cap_ce_subscribe_cm_g_cap_int32_ext)},
                    [](FollowWith follow, MomClient *client) { return follow(client, kUrl, ignore_field, nullptr); });
}

// The console's commands, as it calls them, but for the collection, which writes outside of the test.
void add_commands(std::vector<Call> &calls) {
    const auto command = [&](const char *name, const std::function<int32_t()> &run) {
        calls.push_back({name, [=](MomClient *client) {
                             g_trel_cap_global = client;
                             return run();
                         }});
    };
    command("dump_status", [] { return std::min(trel_cap_dbg_dump_status(), 0); });
    command("set_g_cap_state", [] { return trel_cap_dbg_ce_set_g_cap_state(kUrl, 1); });
    command("ce_set_g_cap_bool", [] { return trel_cap_dbg_ce_set_g_cap_bool(kUrl, 1); });
    command("ce_set_g_cap_int32", [] { return trel_cap_dbg_ce_set_g_cap_int32(kUrl, 3); });
    command("ce_get_g_cap_int32", [] { return trel_cap_dbg_ce_get_g_cap_int32(kUrl); });
    command("ce_get_g_cap_bool", [] { return trel_cap_dbg_ce_get_g_cap_bool(kUrl); });
    command("ce_get_fe_cap_bool", [] { return trel_cap_dbg_ce_get_fe_cap_bool(kNode, kUrl); });
    command("ce_get_fe_cap_int32", [] { return trel_cap_dbg_ce_get_fe_cap_int32(kNode, kUrl); });
    command("ce_get_fe_cap_str", [] { return trel_cap_dbg_ce_get_fe_cap_str(kNode, kUrl); });
    command("show_memory", [] { return trel_cap_dbg_show_memory(); });
    command("dump_all", [] { return trel_cap_dbg_dump_all(); });
}

std::vector<Call> every_call() {
    std::vector<Call> calls;
    add_getters(calls);
    add_setters(calls);
    add_subscriptions(calls);
    add_commands(calls);
    return calls;
}

class MemoryOfCalls : public test_support::StoreTest {
protected:
    // Until the client answers again: what ran out of memory may have cost the connection.
    static bool recovers(MomClient *client) {
        uint8_t ready = 0;
        for (int rounds = 0; rounds < 3000; ++rounds) {
            const int32_t status = trel_cap_ce_get_glb_ready(client, &ready);
            if (status == 0 || status == TREL_CAP_E_NO_RECORD) {
                return true;
            }
            ox_mom_client_process(client, 10);
        }
        return false;
    }
};
// Two servers that speak one protocol take the library nowhere else.
INSTANTIATE_TEST_SUITE_P(Stores, MemoryOfCalls,
                         testing::Values(test_support::StoreKind{"mem", ""},
                                         test_support::StoreKind{"redis", "redis-server"}),
                         test_support::store_label);

void publish_states(MomClient *client) {
    CapGlbState device = CAP_GLB_STATE__INIT;
    CapHpsGlbState hps = CAP_HPS_GLB_STATE__INIT;
    CapCmGlbState cm = CAP_CM_GLB_STATE__INIT;
    CapFabGlbState fab = CAP_FAB_GLB_STATE__INIT;
    for (const ProtobufCMessage *state : {&device.base, &hps.base, &cm.base, &fab.base}) {
        ASSERT_EQ(ox_mom_set_sync(client, TREL_CAP_DB_CAPABILITIES, state), 0);
    }
}

TEST_P(MemoryOfCalls, ThatRunsOutIsACodeAndTheSameCallSucceedsAfterwards) {
    trel_cap_log_level(0);
    const test_support::ClientPtr writer = connect();
    ASSERT_EQ(trel_cap_ce_set_g_cap_int32(writer.get(), kUrl, 3), 0);
    publish_states(writer.get());
    for (const Call &call : every_call()) {
        SCOPED_TRACE(call.name);

        test_support::ClientPtr client;
        const int32_t usual = call.make(connect().get());
        const int failures = fail_each_allocation([&] { client = connect(); }, [&] { return call.make(client.get()); },
                                                  [&](int32_t status, bool failed) {
                                                      const bool is_short = status == OX_MOM_E_MEMORY ||
                                                                            status == OX_MOM_E_LOST ||
                                                                            status == TREL_CAP_E_NO_ANSWER;
                                                      EXPECT_TRUE(status == usual || (failed && is_short)) << status;
                                                      if (status != usual) {
                                                          EXPECT_TRUE(recovers(client.get()));
                                                          EXPECT_EQ(call.make(client.get()), usual);
                                                      }
                                                  });
        const bool only_prints = call.name.starts_with("dump") || call.name.starts_with("show");
        EXPECT_TRUE(failures > 0 || only_prints);
        if (HasFailure()) {
            return;
        }
    }
    g_trel_cap_global = nullptr;
}

}  // namespace
}  // namespace trel_cap_tests
