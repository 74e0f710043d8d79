/*
 * Prints the names by which it goes: in the system's link to its file, with trel_cap_get_app_name(), with the level
 * file and with the console. Before, it deletes the file that it is given.
 */
#include <stdio.h>
#include <unistd.h>

#include "ox_mom.h"
#include "quib.h"
#include "trel_cap/trel_cap.h"

int32_t quib_lib_init(MomClient *client, const char *module) {
    (void)client;
    printf("module %s\n", module);
    return -1;
}

int32_t trel_cap_zlog_init(const char *app_name) {
    printf("level_file %s\n", app_name);
    return 0;
}

int main(int argc, char **argv) {
    char name[128];
    char link[4096] = "";
    if (argc == 2 && unlink(argv[1]) != 0) {
        return 1;
    }
    if (readlink("/proc/self/exe", link, sizeof link - 1) < 0) {
        return 1;
    }
    printf("link %s\n", link);
    printf("name %s\n", trel_cap_get_app_name(getpid(), name, sizeof name));
    MomClient *client = ox_mom_client_create("mem:");
    const int32_t rv = client == NULL ? -1 : trel_cap_init(client, "deleted");
    fflush(stdout);
    ox_mom_client_destroy(client);
    return rv != 0;
}
