#include "events.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include <trel_cap/trel_cap.h>

namespace demo {

namespace {

// What the callback was told and the story has not yet shown. A callback has no argument of its own to keep it in.
std::vector<std::string> events;

// Of the device or a class; or whose node it is.
const char *subject(int32_t event) {
    switch (event) {
        case TREL_CAP_EVENT_SYSTEM:
            return "the device is";
        case TREL_CAP_EVENT_FE_NODE:
            return "line card";
        case TREL_CAP_EVENT_CM:
            return "the control modules are";
        case TREL_CAP_EVENT_CM_NODE:
            return "control module";
        case TREL_CAP_EVENT_FAB:
            return "the fabric cards are";
        case TREL_CAP_EVENT_FAB_NODE:
            return "fabric card";
        case TREL_CAP_EVENT_HPS:
            return "the HPS cards are";
        case TREL_CAP_EVENT_HPS_NODE:
            return "HPS card";
        default:
            return "something is";
    }
}

int32_t on_event(int32_t event, void *argument) {
    const auto *node = static_cast<const CapNodeReady *>(argument);
    events.push_back(node != nullptr ? told(event, node->node, node->ready != 0) : told(event));
    return 0;
}

void tell_events(Teller &teller) {
    for (const std::string &event : events) {
        teller.line("    callback: %s", event.c_str());
    }
    events.clear();
}

}  // namespace

void register_callbacks(Teller &teller) {
    struct Kind {
        int32_t (*ask)(const char *, CapEventCb, uint32_t);
        int32_t of_all;
        int32_t of_one;
    };
    constexpr Kind kKinds[] = {
        {trel_cap_event_callback_reg, TREL_CAP_EVENT_SYSTEM, TREL_CAP_EVENT_FE_NODE},
        {trel_cap_fab_event_callback_reg, TREL_CAP_EVENT_FAB, TREL_CAP_EVENT_FAB_NODE},
        {trel_cap_cm_event_callback_reg, TREL_CAP_EVENT_CM, TREL_CAP_EVENT_CM_NODE},
        {trel_cap_hps_event_callback_reg, TREL_CAP_EVENT_HPS, TREL_CAP_EVENT_HPS_NODE},
    };
    for (const Kind &kind : kKinds) {
        const uint32_t events_wanted = TREL_CAP_EVENT_BIT(kind.of_all) | TREL_CAP_EVENT_BIT(kind.of_one);
        expect(kind.ask("demo", on_event, events_wanted) == TREL_CAP_OK, "the registration");
    }
    teller.line("a callback is registered for the device and for every class of cards");
}

std::string told(int32_t event) { return std::string(subject(event)) + " ready (event " + std::to_string(event) + ")"; }

std::string told(int32_t event, uint32_t node, bool ready) {
    char text[96];
    std::snprintf(text, sizeof text, "%s node 0x%" PRIx32 " is %s (event %" PRId32 ")", subject(event), node,
                  ready ? "ready" : "not ready", event);
    return text;
}

void cause(Teller &teller, MomClient *client, Publisher &publisher, const std::string &step,
           const std::vector<std::string> &expected) {
    teller.play(publisher, step);
    bool delivered = false;
    run_until(client, step.c_str(), [&] {
        delivered = delivered || ox_mom_client_process(client, 100) > 0;
        return delivered && events.size() >= expected.size();
    });
    expect(events == expected, step.c_str());
    tell_events(teller);
}

void hear_in_any_order(Teller &teller, std::vector<std::string> expected, const char *what) {
    std::ranges::sort(events);
    std::ranges::sort(expected);
    expect(events == expected, what);
    tell_events(teller);
}

}  // namespace demo
