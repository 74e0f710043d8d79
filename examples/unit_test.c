/*
 * unit_test - a test of an application, with a chassis in the process and no server.
 *
 * What is tested counts the line cards that are ready. In a project of your own it would be your code, and the checks
 * those of your test framework.
 */
#include <stdio.h>
#include <stdlib.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>
#include <trel_cap_testing.h>

enum { SLOTS = 64 };
static int ready[SLOTS];

static int32_t count_ready(int32_t event, void *argument) {
    if (event == TREL_CAP_EVENT_FE_NODE) {
        const CapNodeReady *node = argument;
        ready[node->node % SLOTS] = node->ready;
    }
    return 0;
}

static int cards_ready(void) {
    int count = 0;
    for (int i = 0; i < SLOTS; ++i) {
        count += ready[i];
    }
    return count;
}

static void expect(const char *what, int wanted) {
    const int seen = cards_ready();
    printf("%s %s: %d ready\n", seen == wanted ? "ok  " : "FAIL", what, seen);
    if (seen != wanted) {
        exit(1);
    }
}

int main(void) {
    TrelCapTesting *chassis = trel_cap_testing_start();
    MomClient *client = ox_mom_client_create(trel_cap_testing_store(chassis));
    trel_cap_event_callback_reg("unit_test", count_ready, TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE));
    if (trel_cap_init(client, "unit_test") != 0) {
        return 1;
    }

    trel_cap_testing_insert(chassis, TREL_CAP_TESTING_LC, 17);
    trel_cap_testing_ready(chassis, TREL_CAP_TESTING_LC, 17, 1);
    trel_cap_testing_deliver(client);
    expect("a card that has not been checked", 0);

    trel_cap_testing_check(chassis, TREL_CAP_TESTING_LC, 17, TREL_CAP_TESTING_PASS);
    trel_cap_testing_deliver(client);
    expect("a card that has passed", 1);

    if (trel_cap_testing_play(chassis, "cards: {lc2: {class: lc, node: 18}}\n"
                                       "steps: [{insert: lc2}, {check: lc2, result: pass}, {ready: lc2}]\n") != 0) {
        fprintf(stderr, "%s\n", trel_cap_testing_error(chassis));
        return 1;
    }
    trel_cap_testing_deliver(client);
    expect("a second one, by a scenario", 2);

    trel_cap_testing_remove(chassis, TREL_CAP_TESTING_LC, 17);
    trel_cap_testing_deliver(client);
    expect("the first one pulled", 1);

    ox_mom_client_destroy(client);
    trel_cap_testing_stop(chassis);
    return 0;
}
