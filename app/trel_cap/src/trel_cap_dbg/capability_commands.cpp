// The commands that read and write capabilities.
#include <cstdio>

#include "console.h"
#include "trel_cap/capability.h"
#include "trel_cap/capability_write.h"
#include "trel_cap/diagnosis.h"
#include "trel_cap/init.h"
#include "trel_cap/node_capability.h"
#include "trel_cap/status.h"

namespace {

constexpr int32_t kTextSize = 256;

// A failure is reported by trying again, once for the number that is shown and once for the result.
template <typename Operation, typename Show>
int32_t run(Operation operation, Show show_success) {
    if (operation() == 0) {
        show_success();
        return TREL_CAP_OK;
    }
    printf("failed,rv %d\n", operation());
    return operation();
}

// Where a value is read: a URL of the device's, or one of a node's.
void show(const char *url) { printf("url %s\n", url); }
void show(int32_t node, const char *url) { printf("node %d, url %s\n", node, url); }

template <typename Value, typename Getter, typename... Place>
int32_t get(Getter getter, Place... place) {
    show(place...);
    Value value = 0;
    return run([&] { return getter(g_trel_cap_global, place..., &value); }, [&] { printf("value %d\n", value); });
}

template <typename Setter>
int32_t set(Setter setter, const char *url, const char *label, int32_t value) {
    printf("url %s, %s %d\n", url, label, value);
    return run([=] { return setter(g_trel_cap_global, url, value); }, [] {});
}

}  // namespace

// The setter does not tell when the store refuses, and so neither does the command's status; its operator is told.
int32_t trel_cap_dbg_ce_set_g_cap_state(const char *url, int32_t state) {
    trel_cap::latest_write_status = 0;
    const int32_t rv = set(trel_cap_ce_set_g_cap_state, url, "state", state);
    if (rv == 0 && trel_cap::latest_write_status < 0 && quib_fail_mod_cmd != nullptr) {
        quib_fail_mod_cmd(trel_cap::latest_write_status);
    }
    return rv;
}

int32_t trel_cap_dbg_ce_set_g_cap_bool(const char *url, int32_t val) {
    return set(trel_cap_ce_set_g_cap_bool, url, "val", val);
}

int32_t trel_cap_dbg_ce_set_g_cap_int32(const char *url, int32_t val) {
    return set(trel_cap_ce_set_g_cap_int32, url, "val", val);
}

int32_t trel_cap_dbg_ce_get_g_cap_int32(const char *url) { return get<int32_t>(trel_cap_ce_get_g_cap_int32, url); }

int32_t trel_cap_dbg_ce_get_g_cap_bool(const char *url) { return get<uint8_t>(trel_cap_ce_get_g_cap_bool, url); }

int32_t trel_cap_dbg_ce_get_fe_cap_bool(int32_t node, const char *url) {
    return get<uint8_t>(trel_cap_ce_get_fe_cap_bool, node, url);
}

int32_t trel_cap_dbg_ce_get_fe_cap_int32(int32_t node, const char *url) {
    return get<int32_t>(trel_cap_ce_get_fe_cap_int32, node, url);
}

int32_t trel_cap_dbg_ce_get_fe_cap_str(int32_t node, const char *url) {
    show(node, url);
    char text[kTextSize] = {};
    uint32_t length = 0;
    return run([&] { return trel_cap_ce_get_fe_cap_str(g_trel_cap_global, node, url, kTextSize, text, &length); },
               [&] { printf("str %s\n", text); });
}
