/*
 * trel_cap_testing.h - a chassis in the process, for an application's own tests: no server, no other process.
 *
 *     TrelCapTesting *chassis = trel_cap_testing_start();
 *     MomClient *client = ox_mom_client_create(trel_cap_testing_store(chassis));
 *     trel_cap_event_callback_reg("my test", my_callback, TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE));
 *     trel_cap_init(client, "my test");
 *
 *     trel_cap_testing_insert(chassis, TREL_CAP_TESTING_LC, 17);
 *     trel_cap_testing_check(chassis, TREL_CAP_TESTING_LC, 17, TREL_CAP_TESTING_PASS);
 *     trel_cap_testing_ready(chassis, TREL_CAP_TESTING_LC, 17, 1);
 *     trel_cap_testing_deliver(client);                    // my_callback is called here
 *
 *     ox_mom_client_destroy(client);
 *     trel_cap_testing_stop(chassis);
 *
 * A chassis is an embedded store of its own, and the other side of it: what the processes of a switch write, these
 * functions write. Programs that are linked with pkg-config's trel_cap_testing, or CMake's trel_cap::trel_cap_testing,
 * have it in them; nothing is loaded.
 *
 * Threads. A chassis belongs to the thread that started it; a call from another one fails and does nothing. The
 * application's clients may be on any threads: each is a client of the store as any other. The library keeps state of
 * the process and of the thread, so that tests that must not see each other's registrations run in processes of their
 * own.
 *
 * Errors. Each function that returns int32_t returns 0, or one of the codes below; trel_cap_testing_error() then says
 * what was wrong. A NULL chassis or text is TREL_CAP_TESTING_E_ARGUMENT. What has failed has written nothing, unless it
 * says otherwise.
 */
#ifndef TREL_CAP_TESTING_H
#define TREL_CAP_TESTING_H

#include <stdint.h>

#include "ox_mom.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A chassis. Its inside is not for programs. */
typedef struct TrelCapTesting TrelCapTesting;

enum {
    TREL_CAP_TESTING_E_ARGUMENT = -1, /* NULL, or no such class, scope, node or URL */
    TREL_CAP_TESTING_E_SCENARIO = -2, /* a scenario that cannot be read: where, and what was expected */
    TREL_CAP_TESTING_E_STORE = -3     /* the store refused, as a call on another thread is */
};

/* Starts a chassis without cards. NULL when there is no memory. It is stopped with trel_cap_testing_stop(). */
TrelCapTesting *trel_cap_testing_start(void);

/*
 * Deletes what the store holds, and releases the chassis. Clients that follow the store are told of the deletions;
 * usually they are destroyed before. NULL is ignored; on another thread than the chassis's own nothing happens.
 */
void trel_cap_testing_stop(TrelCapTesting *chassis);

/* The store's name, for ox_mom_client_create(). It is the chassis's own and valid until that is stopped. */
const char *trel_cap_testing_store(const TrelCapTesting *chassis);

/* Why the latest call for this chassis failed; "" when it has not. Valid until its next call. */
const char *trel_cap_testing_error(const TrelCapTesting *chassis);

/* Makes the callbacks that are due for a client, until there are no more. How many, or a client's code (< 0). */
int32_t trel_cap_testing_deliver(MomClient *client);

/*
 * Plays a scenario without waiting: what is there before, and the steps. What it expects is not judged.
 * docs/scenarios.md has the form, trel_capctl writes recordings in it. Of a text that is not a scenario nothing is
 * written.
 */
int32_t trel_cap_testing_play(TrelCapTesting *chassis, const char *text);
int32_t trel_cap_testing_play_file(TrelCapTesting *chassis, const char *path);
/* As above, with its waits; 2 plays in half the time. speed is more than 0. */
int32_t trel_cap_testing_play_file_at(TrelCapTesting *chassis, const char *path, double speed);

/*
 * Single steps, of a card that its class and its node describe: its type, model and slot are the usual ones. Cards that
 * are otherwise are played.
 */
/* The classes of cards, and the results of a check. */
enum { TREL_CAP_TESTING_LC = 0, TREL_CAP_TESTING_FAB = 1, TREL_CAP_TESTING_CM = 2, TREL_CAP_TESTING_HPS = 3 };
enum { TREL_CAP_TESTING_DENY = 0, TREL_CAP_TESTING_PASS = 1, TREL_CAP_TESTING_WITHDRAW = 2 };

/* The card is put into its slot, or pulled. */
int32_t trel_cap_testing_insert(TrelCapTesting *chassis, int32_t card_class, int32_t node);
int32_t trel_cap_testing_remove(TrelCapTesting *chassis, int32_t card_class, int32_t node);
/* The application's check of the card: denied, passed, or withdrawn. */
int32_t trel_cap_testing_check(TrelCapTesting *chassis, int32_t card_class, int32_t node, int32_t result);
/* The node is ready, or not. real_time 0: it was ready before the application began. */
int32_t trel_cap_testing_ready(TrelCapTesting *chassis, int32_t card_class, int32_t node, int32_t real_time);
int32_t trel_cap_testing_unready(TrelCapTesting *chassis, int32_t card_class, int32_t node);
/* Deletes what says that the node is ready, or not. */
int32_t trel_cap_testing_withdraw(TrelCapTesting *chassis, int32_t card_class, int32_t node);

/* Whether the device ("glb") or a class ("cm", "fab", "hps") is ready. */
int32_t trel_cap_testing_scope_ready(TrelCapTesting *chassis, const char *scope, int32_t ready);

/* Capabilities of the device. The others of nodes, and those of classes, are played. */
int32_t trel_cap_testing_set_bool(TrelCapTesting *chassis, const char *url, int32_t value);
int32_t trel_cap_testing_set_int(TrelCapTesting *chassis, const char *url, int32_t value);
/* A string, which applications read of nodes only: of a control module's, or of any other card's. */
int32_t trel_cap_testing_set_node_str(TrelCapTesting *chassis, int32_t card_class, int32_t node, const char *url,
                                      const char *value);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
