// Two threads that wait for the device to become ready, each with a client and a state of the library of its own.
#include <atomic>
#include <cstdio>
#include <memory>
#include <thread>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

namespace {

using Client = std::unique_ptr<MomClient, decltype(&ox_mom_client_destroy)>;

// A callback has no user data, but it runs on the thread that it is for.
thread_local const char *thread_name = "";
thread_local bool device_is_ready = false;

std::atomic<bool> failed = false;

// May come twice, when the device becomes ready just while the thread starts to follow it.
int32_t on_event(int32_t, void *) {
    if (!device_is_ready) {
        std::printf("%s thread: the device is ready\n", thread_name);
    }
    device_is_ready = true;
    return 0;
}

// A client belongs to the thread that made it, and is destroyed there too.
Client start() {
    Client client(ox_mom_client_create(nullptr), ox_mom_client_destroy);  // the store that $OX_MOM_STORE names
    // Registrations are the process's: the second of that name only says that this thread wants the event as well.
    const uint32_t wanted = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_SYSTEM);
    if (!client || trel_cap_event_callback_reg("two_threads", on_event, wanted) != TREL_CAP_OK ||
        trel_cap_init(client.get(), "two_threads") != TREL_CAP_OK) {
        return {nullptr, ox_mom_client_destroy};
    }
    return client;
}

void wait_for_device(const char *name) {
    thread_name = name;
    const Client client = start();
    while (client && !device_is_ready) {
        if (ox_mom_client_process(client.get(), -1) < 0) {
            break;
        }
    }
    if (!device_is_ready) {
        std::fprintf(stderr, "two_threads: %s\n", ox_mom_last_error());
        failed = true;
    }
}

}  // namespace

int main() {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::thread second(wait_for_device, "second");
    wait_for_device("first");
    second.join();
    return failed ? 1 : 0;
}
