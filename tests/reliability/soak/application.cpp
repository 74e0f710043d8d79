// An application that does a bit of everything: it follows all cards and a capability, and at each event reads the one
// and writes another. It ends when the followed one becomes -1.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

namespace {

constexpr const char *kFollowed = "/soak/followed";
constexpr const char *kWritten = "/soak/written";

MomClient *client = nullptr;
int32_t written = 0;
bool ends = false;

// While the store is away both fail, which is as good here.
void use_capabilities() {
    int32_t value = 0;
    trel_cap_ce_get_g_cap_int32(client, kFollowed, &value);
    trel_cap_ce_set_g_cap_int32(client, kWritten, ++written);
}

int32_t on_event(int32_t, void *) {
    use_capabilities();
    return 0;
}

int32_t on_followed(MomClient *, MomMsg *message, void *) {
    std::array<char, TREL_CAP_URL_MAX + 1> url{};
    int32_t value = 0;
    uint32_t length = 0;
    const int32_t rv = trel_cap_ce_get_g_cap_int32_by_pmsg(message, url.size(), url.data(), &value, &length);
    ends = rv == TREL_CAP_OK && value == -1;
    return 0;
}

bool start() {
    client = ox_mom_client_create(nullptr);
    return client != nullptr && trel_cap_event_callback_reg("soak", on_event, 0x03) == TREL_CAP_OK &&
           trel_cap_fab_event_callback_reg("soak", on_event, 0x18) == TREL_CAP_OK &&
           trel_cap_cm_event_callback_reg("soak", on_event, 0x24) == TREL_CAP_OK &&
           trel_cap_hps_event_callback_reg("soak", on_event, 0xc0) == TREL_CAP_OK &&
           trel_cap_init(client, "soak") == TREL_CAP_OK &&
           trel_cap_ce_subscribe_g_cap_int32(client, kFollowed, on_followed) == TREL_CAP_OK;
}

}  // namespace

int main() {
    alarm(0);  // an hour is longer than tests let their programs live
    if (!start()) {
        std::fprintf(stderr, "soak_application: %s\n", ox_mom_last_error());
        return 1;
    }
    // What is logged in an hour would fill a disk.
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    std::puts("started");
    std::fflush(stdout);
    while (!ends && ox_mom_client_process(client, -1) >= 0) {
    }
    ox_mom_client_destroy(client);
    return ends ? 0 : 1;
}
