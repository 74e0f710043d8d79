#include "readiness_story.h"

#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include <trel_cap/trel_cap.h>

#include "chassis.h"

namespace demo {

namespace {

// What the callback was told and the story has not yet shown. A callback has no argument of its own to keep it in.
std::vector<std::string> events;

int32_t on_event(int32_t event, void *argument) {
    if (event == TREL_CAP_EVENT_SYSTEM) {
        events.emplace_back("the device is ready");
    } else if (event == TREL_CAP_EVENT_FE_NODE) {
        const auto *node = static_cast<const CapNodeReady *>(argument);
        char text[64];
        std::snprintf(text, sizeof text, "line card node 0x%" PRIx32 " is %s", node->node,
                      node->ready ? "ready" : "not ready");
        events.emplace_back(text);
    }
    return 0;
}

void tell_events(Teller &teller) {
    for (const std::string &event : events) {
        teller.line("    callback: %s", event.c_str());
    }
    events.clear();
}

// One record published, and the one event that it causes; none when `event` is empty.
void cause(Teller &teller, MomClient *client, Publisher &publisher, const std::string &step, const std::string &event) {
    teller.play(publisher, step);
    bool delivered = false;
    run_until(client, step.c_str(), [&] {
        delivered = delivered || ox_mom_client_process(client, 100) > 0;
        return delivered;
    });
    expect(event.empty() ? events.empty() : events == std::vector<std::string>{event}, step.c_str());
    tell_events(teller);
}

std::string told(int32_t slot, const char *state) {
    char text[64];
    std::snprintf(text, sizeof text, "line card node 0x%" PRIx32 " is %s", static_cast<uint32_t>(node_of(slot)), state);
    return text;
}

void bring_up(Teller &teller, MomClient *client, Publisher &publisher, int32_t slot) {
    const std::string number = " " + std::to_string(slot);
    cause(teller, client, publisher, "install" + number, "");
    cause(teller, client, publisher, "pass" + number, "");
    cause(teller, client, publisher, "ready" + number, told(slot, "ready"));
}

void survive_restart(Teller &teller, MomClient *client, const Stage &stage) {
    teller.chapter("The server crashes, and starts again with nothing in it");
    stage.restart_server();
    teller.line("the server is up again; the library notices, reconnects, and follows everything anew");
    run_until(client, "the reconnection", [] { return g_trel_cap_glb_ready_validated == 0; });
    run_until(client, "the new beginning",
              [] { return trel_cap_fe_ready_is_all_validated() != 0 && g_trel_cap_config_reconnect == 0; });
    events.clear();
    teller.line(
        "the other processes publish again; what the library knew of a card counts until it is told otherwise:");
    cause(teller, client, stage.publisher, "device-ready", "the device is ready");
    cause(teller, client, stage.publisher, "install 1", told(kFirstSlot, "ready"));
    cause(teller, client, stage.publisher, "deny 1", told(kFirstSlot, "not ready"));
}

}  // namespace

void register_callback(Teller &teller) {
    constexpr uint32_t kEvents = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_SYSTEM) | TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE);
    expect(trel_cap_event_callback_reg("demo", on_event, kEvents) == TREL_CAP_OK, "the registration");
    teller.line("a callback is registered for the device and for line cards");
}

void follow_cards(Teller &teller, MomClient *client, const Stage &stage) {
    Publisher &publisher = stage.publisher;
    teller.chapter("Line cards come up: installed, checked, ready");
    run_until(client, "the initial load", [] { return trel_cap_fe_ready_is_all_validated() != 0; });
    run_until(client, "the device's readiness",
              [] { return events == std::vector<std::string>{"the device is ready"}; });
    tell_events(teller);
    for (int32_t slot = kFirstSlot; slot < kLastSlot; ++slot) {
        bring_up(teller, client, publisher, slot);
    }

    teller.chapter("A card that the application's check denies");
    cause(teller, client, publisher, "install 3", "");
    cause(teller, client, publisher, "deny 3", told(kLastSlot, "not ready"));
    cause(teller, client, publisher, "ready 3", "");

    teller.chapter("A card is pulled out");
    cause(teller, client, publisher, "remove 2", told(2, "not ready"));
    if (stage.restart_server) {
        survive_restart(teller, client, stage);
    }
}

}  // namespace demo
