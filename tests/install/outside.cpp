// A C++17 program that knows the installed tree only: it publishes a capability on the embedded store, follows it, and
// reads it out of the notification and out of the store.
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

namespace {

int delivered = 0;

int32_t on_change(MomClient *, MomMsg *msg) {
    std::array<char, TREL_CAP_URL_MAX + 1> url{};
    uint8_t value = 0;
    uint32_t length = 0;
    const int32_t rv = trel_cap_ce_get_g_cap_bool_by_pmsg(msg, url.size(), url.data(), &value, &length);
    if (msg->cmd == OX_MOM_CMD_DELIVERED && rv == TREL_CAP_OK && value == 1 &&
        std::string_view(url.data(), length) == "/outside/cxx") {
        ++delivered;
    }
    return 0;
}

}  // namespace

int main() {
    const std::unique_ptr<MomClient, decltype(&ox_mom_client_destroy)> client(ox_mom_client_create("mem:outside"),
                                                                              ox_mom_client_destroy);
    if (!client || trel_cap_init(client.get(), "outside") != TREL_CAP_OK) {
        return 1;
    }
    const CapTable any = CAP_TABLE__INIT;
    uint8_t value = 0;
    if (ox_mom_subscribe(client.get(), TREL_CAP_DB_CAPABILITIES, &any.base, 0, on_change, nullptr) != 0 ||
        trel_cap_ce_set_g_cap_bool(client.get(), "/outside/cxx", 1) != 0 ||
        trel_cap_ce_get_g_cap_bool(client.get(), "/outside/cxx", &value) != 0) {
        return 2;
    }
    while (ox_mom_client_process(client.get(), 0) > 0) {
    }
    std::printf("%d read, %d delivered\n", value, delivered);
    return value == 1 && delivered == 1 ? 0 : 3;
}
