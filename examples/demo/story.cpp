#include "story.h"

#include <memory>
#include <stdexcept>

#include <trel_cap/trel_cap.h>

#include "capability_story.h"
#include "events.h"
#include "readiness_story.h"
#include "screen.h"
#include "stay.h"
#include "teller.h"

namespace demo {

namespace {

struct Destroy {
    void operator()(MomClient *client) const { ox_mom_client_destroy(client); }
};
using Client = std::unique_ptr<MomClient, Destroy>;

Client start_library(Teller &teller, const Stage &stage) {
    teller.chapter("An application starts the library on its thread, with a client of its own");
    register_callbacks(teller);
    trel_cap_log_level(stage.log_level);
    Client client(ox_mom_client_create(stage.store.c_str()));
    if (!client || trel_cap_init(client.get(), "demo") != TREL_CAP_OK) {
        throw std::runtime_error(std::string("the library does not start: ") + ox_mom_last_error());
    }
    teller.line("trel_cap_init: 0, databases %d and %d are connected", TREL_CAP_DB_CARDS, TREL_CAP_DB_CAPABILITIES);
    if (stage.log_level == 0) {
        teller.line("(its log is off here: --log-level 4 shows all of it on standard error)");
    }
    return client;
}

}  // namespace

void tell_story(const Stage &stage) {
    Teller teller;
    print("A chassis on the store " + stage.store + ".\n");
    const Client client = start_library(teller, stage);
    tell_capabilities(teller, client.get(), stage.publisher);
    tell_readiness(teller, client.get(), stage);
    if (stage.stays) {
        stay(teller, client.get(), stage);
    }
    print("\nThat was all. docs/ and the headers in include/trel_cap tell the rest.\n");
    throw_if_unheard();
}

}  // namespace demo
