// trel_cap_demo: publishes a small chassis and shows what an application sees of it.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <CLI/CLI.hpp>

#include "publisher.h"
#include "redis_server.h"
#include "story.h"

namespace {

void run_on_redis(int log_level) {
    demo::RedisServer server;
    const auto publisher = demo::publish_from_process(server.store());
    demo::tell_story({.store = server.store(),
                      .publisher = *publisher,
                      .restart_server = [&server] { server.restart(); },
                      .log_level = log_level});
}

void run_embedded(int log_level) {
    const std::string store = "mem:demo";
    const auto publisher = demo::publish_from_thread(store);
    demo::tell_story({.store = store, .publisher = *publisher, .restart_server = {}, .log_level = log_level});
}

}  // namespace

int main(int argc, char **argv) {
    CLI::App options("Publishes a small chassis and shows what an application sees of it.", "trel_cap_demo");
    bool redis = false;
    int log_level = 0;
    std::string store;
    options.add_flag("--redis", redis,
                     "On a private Redis server, with the publisher in a process of its own; without it everything "
                     "happens in this process, on the embedded store");
    options.add_option("--log-level", log_level, "The library's log on standard error: 0 nothing, 4 everything")
        ->check(CLI::Range(0, 4))
        ->capture_default_str();
    CLI::App *publish = options.add_subcommand("publish", "")->group("");  // what --redis starts as the publisher
    publish->add_option("--store", store)->required();
    try {
        options.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return options.exit(error) == 0 ? EXIT_SUCCESS : 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        if (publish->parsed()) {
            return demo::serve_steps(store);
        }
        redis ? run_on_redis(log_level) : run_embedded(log_level);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "trel_cap_demo: %s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
