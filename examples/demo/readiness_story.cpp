#include "readiness_story.h"

#include <string>
#include <vector>

#include <trel_cap/trel_cap.h>

#include "cards.h"
#include "events.h"

namespace demo {

namespace {

bool all_loaded() {
    return trel_cap_fe_ready_is_all_validated() != 0 && trel_cap_fab_ready_is_all_validated() != 0 &&
           trel_cap_cm_ready_is_all_validated() != 0 && trel_cap_hps_ready_is_all_validated() != 0;
}

void ask(Teller &teller, MomClient *client) {
    struct Query {
        const char *what;
        int32_t (*ask)(MomClient *, uint8_t *);
        bool expected;
    };
    constexpr Query kQueries[] = {
        {"the device", trel_cap_ce_get_glb_ready, true},
        {"the HPS cards", trel_cap_ce_get_hps_glb_ready, false},
        {"the control modules", trel_cap_ce_get_cm_glb_ready, false},
        {"the fabric cards", trel_cap_ce_get_fab_glb_ready, false},
    };
    for (const Query &query : kQueries) {
        uint8_t ready = 0;
        const int32_t status = query.ask(client, &ready);
        expect(status == TREL_CAP_OK && (ready == 1) == query.expected, query.what);
        teller.line("%-20s %s", query.what, ready ? "ready" : "not ready: nobody has said so");
    }
}

void device_becomes_ready(Teller &teller, MomClient *client, Publisher &publisher) {
    teller.chapter("The device becomes ready: the callback is told, and anybody may ask");
    run_until(client, "the initial load", all_loaded);
    cause(teller, client, publisher, "device-ready", {told(TREL_CAP_EVENT_SYSTEM)});
    ask(teller, client);
}

std::string node_event(int32_t event, int32_t slot, bool ready) {
    return told(event, static_cast<uint32_t>(node_of(slot)), ready);
}

std::string line_card(int32_t slot, bool ready) { return node_event(TREL_CAP_EVENT_FE_NODE, slot, ready); }

std::string in_slot(const char *verb, int32_t slot) { return std::string(verb) + ' ' + std::to_string(slot); }

void line_cards_come_up(Teller &teller, MomClient *client, Publisher &publisher) {
    teller.chapter("Line cards come up");
    teller.line("(one is ready when it is installed, the application's check has passed it, and its software says so)");
    for (int32_t slot = kFirstSlot; slot < kLastLineCardSlot; ++slot) {
        cause(teller, client, publisher, in_slot("install", slot), {});
        cause(teller, client, publisher, in_slot("pass", slot), {});
        cause(teller, client, publisher, in_slot("ready", slot), {line_card(slot, true)});
    }
}

void card_is_denied(Teller &teller, MomClient *client, Publisher &publisher) {
    teller.chapter("A card that the application's check denies");
    cause(teller, client, publisher, in_slot("install", kLastLineCardSlot), {});
    cause(teller, client, publisher, in_slot("deny", kLastLineCardSlot), {line_card(kLastLineCardSlot, false)});
    cause(teller, client, publisher, in_slot("ready", kLastLineCardSlot), {});
    teller.line("    no callback: a card that is denied does not become ready");
}

void card_is_pulled_out(Teller &teller, MomClient *client, Publisher &publisher) {
    teller.chapter("A card is pulled out");
    cause(teller, client, publisher, in_slot("remove", kRemovedSlot), {line_card(kRemovedSlot, false)});
}

void other_classes_come_up(Teller &teller, MomClient *client, Publisher &publisher) {
    struct Class {
        int32_t slot;
        int32_t node_event;
        const char *class_step;
        int32_t class_event;
    };
    constexpr Class kClasses[] = {
        {kFabricSlot, TREL_CAP_EVENT_FAB_NODE, "fabric-ready", TREL_CAP_EVENT_FAB},
        {kControlModuleSlot, TREL_CAP_EVENT_CM_NODE, "control-modules-ready", TREL_CAP_EVENT_CM},
        {kHpsSlot, TREL_CAP_EVENT_HPS_NODE, "hps-ready", TREL_CAP_EVENT_HPS},
    };
    teller.chapter("A fabric card, a control module and an HPS card come up, and with each its class");
    teller.line("(no application checks them; a fabric card's node is told to those who follow line cards, too)");
    for (const Class &its : kClasses) {
        std::vector<std::string> ready = {node_event(its.node_event, its.slot, true)};
        if (its.slot == kFabricSlot) {
            ready.insert(ready.begin(), line_card(its.slot, true));
        }
        cause(teller, client, publisher, in_slot("install", its.slot), {});
        cause(teller, client, publisher, in_slot("ready", its.slot), ready);
        cause(teller, client, publisher, its.class_step, {told(its.class_event)});
    }
}

void server_restarts(Teller &teller, MomClient *client, const Stage &stage) {
    teller.chapter("The server crashes, and starts again with nothing in it");
    stage.restart_server();
    teller.line("the server is up again; the library notices, reconnects, and follows everything anew");
    teller.line("(its client says so on standard error, or in the program's log)");
    run_until(client, "the reconnection", [] { return g_trel_cap_glb_ready_validated == 0; });
    run_until(client, "the new beginning", [] { return all_loaded() && g_trel_cap_config_reconnect == 0; });
    std::vector<std::string> gone;
    for (const int32_t slot : {kFirstSlot, kLastLineCardSlot, kFabricSlot, kControlModuleSlot, kHpsSlot}) {
        gone.push_back(line_card(slot, false));  // told to those who follow line cards, whatever the card
    }
    hear_in_any_order(teller, gone, "the loss of all cards");
    teller.line("(the cards are published anew)");
    cause(teller, client, stage.publisher, "device-ready", {told(TREL_CAP_EVENT_SYSTEM)});
    cause(teller, client, stage.publisher, in_slot("install", kFirstSlot), {});
    cause(teller, client, stage.publisher, in_slot("pass", kFirstSlot), {});
    cause(teller, client, stage.publisher, in_slot("ready", kFirstSlot), {line_card(kFirstSlot, true)});
    cause(teller, client, stage.publisher, in_slot("deny", kFirstSlot), {line_card(kFirstSlot, false)});
}

}  // namespace

void tell_readiness(Teller &teller, MomClient *client, const Stage &stage) {
    device_becomes_ready(teller, client, stage.publisher);
    line_cards_come_up(teller, client, stage.publisher);
    card_is_denied(teller, client, stage.publisher);
    card_is_pulled_out(teller, client, stage.publisher);
    other_classes_come_up(teller, client, stage.publisher);
    if (stage.restart_server) {
        server_restarts(teller, client, stage);
    }
}

}  // namespace demo
