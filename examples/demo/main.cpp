// trel_cap_demo: publishes a small chassis and shows what an application sees of it.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <CLI/CLI.hpp>

#include "console_directory.h"
#include "interruption.h"
#include "publisher.h"
#include "redis_server.h"
#include "story.h"

namespace {

constexpr int kUsage = 2;
constexpr int kSignalled = 128;  // and the signal's number, as shells have it

struct Options {
    bool redis = false;
    int log_level = 0;
    bool stays = false;
    std::string console = "quib";
};

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
    app.add_flag("--redis", options.redis,
                 "On a private Redis server, with the publisher in a process of its own; without it everything happens "
                 "in this process, on the embedded store");
    app.add_option("--log-level", options.log_level, "The library's log on standard error: 0 nothing, 4 everything")
        ->check(CLI::Range(0, 4))
        ->capture_default_str();
    app.add_flag("--stay", options.stays, "Goes on after the story, for operators to look into it, until Ctrl-C");
    app.add_option("--quib", options.console)->group("");  // where quib is that --stay tells to call
}

}  // namespace

int main(int argc, char **argv) {
    CLI::App app("Publishes a small chassis and shows what an application sees of it.", "trel_cap_demo");
    Options options;
    describe(app, options);
    std::string store;
    CLI::App *publish = app.add_subcommand("publish", "")->group("");  // what --redis starts as the publisher
    publish->add_option("--store", store)->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kUsage;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        return publish->parsed() ? demo::serve_steps(store) : run(options);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "trel_cap_demo: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
