// trel_cap_demo: publishes a small chassis and shows what an application sees of it.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>
#include <trel_cap/version.h>

#include "console_directory.h"
#include "interruption.h"
#include "publisher.h"
#include "redis_server.h"
#include "screen.h"
#include "story.h"

namespace {

constexpr int kUsage = 2;
constexpr int kSignalled = 128;  // and the signal's number, as shells have it

struct Options {
    bool redis = false;
    int log_level = 0;
    bool stays = false;
    std::string console;
};

// The console that was installed with this program, else the one that is found in $PATH.
std::string console_beside() {
    std::error_code error;
    const auto beside = std::filesystem::read_symlink("/proc/self/exe", error).replace_filename("quib");
    return std::filesystem::exists(beside, error) ? beside.string() : "quib";
}

void run_on_redis(const Options &options) {
    demo::RedisServer server;
    const auto publisher = demo::publish_from_process(server.store());
    demo::tell_story({.store = server.store(),
                      .publisher = *publisher,
                      .restart_server = [&server] { server.restart(); },
                      .log_level = options.log_level,
                      .stays = options.stays,
                      .console = options.console});
}

void run_embedded(const Options &options) {
    const std::string store = "mem:demo";
    const auto publisher = demo::publish_from_thread(store);
    demo::tell_story({.store = store,
                      .publisher = *publisher,
                      .restart_server = {},
                      .log_level = options.log_level,
                      .stays = options.stays,
                      .console = options.console});
}

int run(const Options &options) {
    demo::note_interruptions();
    try {
        const demo::ConsoleDirectory console;
        options.redis ? run_on_redis(options) : run_embedded(options);
    } catch (const demo::Interrupted &interruption) {
        return kSignalled + interruption.signal();
    }
    return EXIT_SUCCESS;
}

void describe(CLI::App &app, Options &options) {
    app.set_version_flag("--version", "trel_cap_demo " TREL_CAP_VERSION);
    app.add_flag("--redis", options.redis,
                 "On a private Redis server, with the publisher in a process of its own; without it everything happens "
                 "in this process, on the embedded store");
    app.add_option("--log-level", options.log_level, "The library's log on standard error: 0 nothing, 4 everything")
        ->check(CLI::Range(0, 4))
        ->capture_default_str();
    app.add_flag("--stay", options.stays, "Goes on after the story, for operators to look into it, until Ctrl-C");
    app.add_option("--quib", options.console)->group("");  // where quib is that --stay tells to call
}

// False: the command line asked for help or the version, and that is printed.
bool parse(CLI::App &app, int argc, char **argv) {
    try {
        app.parse(argc, argv);
        return true;
    } catch (const CLI::CallForHelp &) {
        demo::print(app.help());
    } catch (const CLI::CallForVersion &version) {
        demo::print(version.what() + std::string("\n"));
    }
    demo::throw_if_unheard();
    return false;
}

}  // namespace

int main(int argc, char **argv) {
    demo::occupy_standard_streams();
    CLI::App app("Publishes a small chassis and shows what an application sees of it.", "trel_cap_demo");
    Options options;
    options.console = console_beside();
    describe(app, options);
    std::string store;
    CLI::App *publish = app.add_subcommand("publish", "")->group("");  // what --redis starts as the publisher
    publish->add_option("--store", store)->required();
    try {
        if (!parse(app, argc, argv)) {
            return EXIT_SUCCESS;
        }
        std::setvbuf(stdout, nullptr, _IOLBF, 0);
        return publish->parsed() ? demo::serve_steps(store) : run(options);
    } catch (const CLI::ParseError &error) {
        app.exit(error);
        return kUsage;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "trel_cap_demo: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
