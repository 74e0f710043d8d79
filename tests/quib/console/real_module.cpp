// A program with a module of its own, to be asked things: real_module MODULE.
#include <ox_mom.h>
#include <quib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace {

int32_t say(const char *text) {
    printf("(%s)\n", text);
    return 0;
}

int32_t add(int32_t a, int32_t b) {
    printf("%d\n", a + b);
    return a + b;
}

int32_t print_megabytes() {
    const std::string line(999, 'x');
    for (int i = 0; i < 3000; ++i) {
        puts(line.c_str());
    }
    return 0;
}

int32_t sleep_for(int32_t milliseconds) {
    usleep(static_cast<useconds_t>(milliseconds) * 1000);
    puts("slept");
    return 0;
}

int32_t die() { _exit(0); }

template <typename Handler>
void add_command(const char *module, const char *command, const char *format, Handler handler) {
    quib_reg_mod_cmd(module, command, 0, format, reinterpret_cast<QuibHandler>(handler));
}

}  // namespace

int main(int /*argc*/, char **argv) {
    const char *module = argv[1];
    MomClient *client = ox_mom_client_create("mem:");
    if (quib_lib_init(client, module) != 0) {
        return 1;
    }
    add_command(module, "say", "text=%s", say);
    add_command(module, "add", "a=%d b=%d", add);
    add_command(module, "megabytes", "void", print_megabytes);
    add_command(module, "sleep", "%d", sleep_for);
    add_command(module, "die", "void", die);
    puts("ready");
    fflush(stdout);
    while (ox_mom_client_process(client, -1) >= 0) {
    }
    return 1;
}
