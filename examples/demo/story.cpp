#include "story.h"

#include <cinttypes>
#include <cstdio>
#include <stdexcept>

#include <trel_cap/trel_cap.h>

#include "chassis.h"
#include "readiness_story.h"
#include "teller.h"

namespace demo {

namespace {

const char *meaning(int32_t status) {
    switch (status) {
        case TREL_CAP_OK:
            return "success";
        case TREL_CAP_E_NO_RECORD:
            return "no such capability";
        case TREL_CAP_E_NO_VALUE:
            return "the capability has no value of this type";
        default:
            return ox_mom_strerror(status);
    }
}

void read_boolean(Teller &teller, MomClient *client, const char *url, int32_t expected_status) {
    uint8_t value = 0;
    const int32_t status = trel_cap_ce_get_g_cap_bool(client, url, &value);
    expect(status == expected_status, url);
    if (status == TREL_CAP_OK) {
        teller.line("boolean %-26s %3" PRId32 "  value %s", url, status, value ? "true" : "false");
    } else {
        teller.line("boolean %-26s %3" PRId32 "  %s", url, status, meaning(status));
    }
}

void read_integer(Teller &teller, MomClient *client, const char *url, int32_t expected_status, int32_t expected) {
    int32_t value = 0;
    const int32_t status = trel_cap_ce_get_g_cap_int32(client, url, &value);
    expect(status == expected_status && value == expected, url);
    teller.line("integer %-26s %3" PRId32 "  value %" PRId32 "%s%s", url, status, value, status ? ": " : "",
                status ? meaning(status) : "");
}

void read_capabilities(Teller &teller, MomClient *client) {
    teller.chapter("Capabilities, read by URL: status and value");
    read_boolean(teller, client, kStackSupport, TREL_CAP_OK);
    read_integer(teller, client, kVlanMax, TREL_CAP_OK, 4094);
    read_boolean(teller, client, kNeverPublished, TREL_CAP_E_NO_RECORD);
    read_boolean(teller, client, kVlanMax, TREL_CAP_E_NO_VALUE);
}

void write_capability(Teller &teller, MomClient *client) {
    teller.chapter("A capability, written and read back");
    const int32_t status = trel_cap_ce_set_g_cap_int32(client, kVlanMax, 2048);
    expect(status == TREL_CAP_OK, "the write");
    teller.line("write   %-26s %3" PRId32 "  value 2048", kVlanMax, status);
    read_integer(teller, client, kVlanMax, TREL_CAP_OK, 2048);
}

// What a callback has seen; it is checked afterwards, as a callback must not throw. It lives as long as the client: the
// client keeps the subscription, and calls again after a reconnection.
struct Seen {
    int32_t status = TREL_CAP_E_NO_ANSWER;
    char url[TREL_CAP_URL_MAX + 1] = "";
    int32_t value = 0;
};

int32_t on_limit_changed(MomClient *, MomMsg *message, void *argument) {
    auto *seen = static_cast<Seen *>(argument);
    uint32_t length = 0;
    seen->status = trel_cap_ce_get_g_cap_int32_by_pmsg(message, sizeof seen->url, seen->url, &seen->value, &length);
    return 0;
}

void follow_capability(Teller &teller, MomClient *client, Publisher &publisher, Seen &seen) {
    teller.chapter("A change, followed");
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable request = CAP_TABLE__INIT;
    std::string url = kMtuLimit;
    index.url = url.data();
    request.index = &index;
    const int32_t field = TREL_CAP_FIELD_INT32;
    const MomFieldCb callback = on_limit_changed;
    void *const argument = &seen;
    expect(ox_mom_subscribe_field(client, TREL_CAP_DB_CAPABILITIES, &request.base, 1, &field, &callback, &argument,
                                  1) == 0,
           "the subscription");
    teller.line("following %s", kMtuLimit);
    teller.play(publisher, "change");
    run_until(client, "the notification", [&seen] { return seen.status == TREL_CAP_OK && seen.value == 1500; });
    teller.line("callback: %s is now %" PRId32, seen.url, seen.value);
}

void ask_readiness(Teller &teller, MomClient *client, Publisher &publisher) {
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
    teller.chapter("Readiness, asked for");
    teller.play(publisher, "device-ready");
    for (const Query &query : kQueries) {
        uint8_t ready = 0;
        const int32_t status = query.ask(client, &ready);
        expect(status == TREL_CAP_OK && (ready == 1) == query.expected, query.what);
        teller.line("%-20s %s", query.what, ready ? "ready" : "not ready: nobody has said so");
    }
}

}  // namespace

void tell_story(const Stage &stage) {
    Teller teller;
    std::printf("A chassis on the store %s.\n", stage.store.c_str());
    teller.chapter("The library starts on this thread, with a client of its own");
    register_callback(teller);
    MomClient *client = ox_mom_client_create(stage.store.c_str());
    if (!client || trel_cap_init(client, "demo") != TREL_CAP_OK) {
        const std::string reason = ox_mom_last_error();
        ox_mom_client_destroy(client);
        throw std::runtime_error("the library does not start: " + reason);
    }
    trel_cap_log_level(stage.log_level);
    teller.line("trel_cap_init: 0, databases %d and %d are connected", TREL_CAP_DB_CARDS, TREL_CAP_DB_CAPABILITIES);
    if (stage.log_level == 0) {
        teller.line("(its log is off here: --log-level 4 shows all of it on standard error)");
    }

    teller.chapter("The other side publishes what the device can do");
    teller.play(stage.publisher, "capabilities");
    read_capabilities(teller, client);
    write_capability(teller, client);
    Seen seen;
    follow_capability(teller, client, stage.publisher, seen);
    ask_readiness(teller, client, stage.publisher);
    follow_cards(teller, client, stage);

    ox_mom_client_destroy(client);
    std::printf("\nThat was all. docs/ and the headers in include/trel_cap tell the rest.\n");
}

}  // namespace demo
