// A program whose first words on standard output are a command's.
#include <ox_mom.h>
#include <quib.h>

#include <cstdint>
#include <cstdio>

namespace {

bool called = false;

int32_t say(const char *what) {
    called = true;
    puts(what);
    return 0;
}

}  // namespace

int main() {
    MomClient *client = ox_mom_client_create("mem:");
    if (!client || quib_lib_init(client, "fresh") != 0 ||
        quib_reg_mod_cmd("fresh", "say", 0, "%s", reinterpret_cast<QuibHandler>(say)) != 0) {
        return 1;
    }
    while (!called) {
        ox_mom_client_process(client, -1);
    }
    puts("the program's own");
    while (ox_mom_client_process(client, -1) >= 0) {
    }
    return 1;
}
