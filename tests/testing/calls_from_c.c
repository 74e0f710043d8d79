/* The header in C, each function of it once. */
#include <string.h>

#include <trel_cap_testing.h>

int32_t every_call_from_c(TrelCapTesting *chassis, MomClient *client, const char *file);

int32_t every_call_from_c(TrelCapTesting *chassis, MomClient *client, const char *file) {
    TrelCapTesting *other = trel_cap_testing_start();
    const int32_t results[] = {
        other == NULL,
        strcmp(trel_cap_testing_store(other), trel_cap_testing_store(chassis)) == 0,
        trel_cap_testing_insert(chassis, TREL_CAP_TESTING_LC, 17),
        trel_cap_testing_check(chassis, TREL_CAP_TESTING_LC, 17, TREL_CAP_TESTING_PASS),
        trel_cap_testing_ready(chassis, TREL_CAP_TESTING_LC, 17, 1),
        trel_cap_testing_deliver(client) < 1,
        trel_cap_testing_unready(chassis, TREL_CAP_TESTING_LC, 17),
        trel_cap_testing_deliver(client) < 1,
        trel_cap_testing_withdraw(chassis, TREL_CAP_TESTING_LC, 17),
        trel_cap_testing_remove(chassis, TREL_CAP_TESTING_LC, 17),
        trel_cap_testing_scope_ready(chassis, "hps", 1),
        trel_cap_testing_set_bool(chassis, "/a", 1),
        trel_cap_testing_set_int(chassis, "/a", -1),
        trel_cap_testing_set_node_str(chassis, TREL_CAP_TESTING_CM, 1, "/a", "text"),
        trel_cap_testing_play(chassis, "steps: []"),
        trel_cap_testing_play_file(chassis, file),
        trel_cap_testing_play_file_at(chassis, file, 2),
        strcmp(trel_cap_testing_error(chassis), "") != 0,
    };
    trel_cap_testing_stop(other);
    for (int32_t i = 0; i < (int32_t)(sizeof results / sizeof *results); ++i) {
        if (results[i] != 0) {
            return i + 1;
        }
    }
    return 0;
}
