#include "capability_story.h"

#include <cinttypes>
#include <string>

#include <trel_cap/trel_cap.h>

#include "capabilities.h"
#include "cards.h"

namespace demo {

namespace {

void read_boolean(Teller &teller, MomClient *client, const char *url, int32_t expected_status) {
    uint8_t value = 0;
    const int32_t status = trel_cap_ce_get_g_cap_bool(client, url, &value);
    expect(status == expected_status, url);
    if (status == TREL_CAP_OK) {
        teller.line("boolean %-26s %3" PRId32 "  value %s", url, status, value ? "true" : "false");
    } else {
        teller.line("boolean %-26s %3" PRId32 "  %s", url, status, trel_cap_strerror(status));
    }
}

void read_integer(Teller &teller, MomClient *client, const char *url, int32_t expected_status, int32_t expected) {
    int32_t value = 0;
    const int32_t status = trel_cap_ce_get_g_cap_int32(client, url, &value);
    expect(status == expected_status && value == expected, url);
    teller.line("integer %-26s %3" PRId32 "  value %" PRId32 "%s%s", url, status, value, status ? ": " : "",
                status ? trel_cap_strerror(status) : "");
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

// What a callback has seen; it is checked afterwards, as a callback must not throw.
struct Seen {
    int32_t status = TREL_CAP_E_NO_ANSWER;
    char url[TREL_CAP_URL_MAX + 1] = "";
    int32_t value = 0;
};

// The client keeps a subscription, and calls again after a reconnection.
Seen mtu_limit;
Seen fabric_links;

int32_t on_change(MomClient *, MomMsg *message, void *argument) {
    auto *seen = static_cast<Seen *>(argument);
    uint32_t length = 0;
    seen->status = trel_cap_ce_get_g_cap_int32_by_pmsg(message, sizeof seen->url, seen->url, &seen->value, &length);
    return 0;
}

struct Change {
    int32_t (*subscribe)(MomClient *, const char *, MomFieldCb, void *);
    const char *url;
    const char *step;  // that changes it
    int32_t to;
};

void follow(Teller &teller, MomClient *client, Publisher &publisher, const Change &change, Seen &seen) {
    expect(change.subscribe(client, change.url, on_change, &seen) == TREL_CAP_OK, "the subscription");
    teller.line("following %s", change.url);
    teller.play(publisher, change.step);
    run_until(client, "the notification", [&] { return seen.status == TREL_CAP_OK && seen.value == change.to; });
    teller.line("    callback: %s is now %" PRId32, seen.url, seen.value);
}

void read_card(Teller &teller, MomClient *client, Publisher &publisher) {
    teller.chapter("A capability of one card");
    teller.play(publisher, "card-capability");
    char text[TREL_CAP_URL_MAX + 1] = "";
    uint32_t length = 0;
    const int32_t status =
        trel_cap_ce_get_fe_cap_str(client, node_of(kFirstSlot), kPortSpeeds, sizeof text, text, &length);
    expect(status == TREL_CAP_OK && text == std::string(kPortSpeedsValue), "the string");
    teller.line("string  %-26s %3" PRId32 "  value %s, of node 0x%" PRIx32, kPortSpeeds, status, text,
                static_cast<uint32_t>(node_of(kFirstSlot)));
}

void follow_capabilities(Teller &teller, MomClient *client, Publisher &publisher) {
    teller.chapter("A change, followed");
    follow(teller, client, publisher, {trel_cap_ce_subscribe_g_cap_int32_ext, kMtuLimit, "lower-mtu", kLowerMtu},
           mtu_limit);
    teller.chapter("A capability of a whole class of cards, followed");
    follow(teller, client, publisher,
           {trel_cap_ce_subscribe_fab_g_cap_int32_ext, kFabricLinks, "fabric-capability", kFabricLinksValue},
           fabric_links);
}

}  // namespace

void tell_capabilities(Teller &teller, MomClient *client, Publisher &publisher) {
    teller.chapter("The other side publishes what the device can do");
    teller.play(publisher, "capabilities");
    read_capabilities(teller, client);
    write_capability(teller, client);
    read_card(teller, client, publisher);
    follow_capabilities(teller, client, publisher);
}

}  // namespace demo
