// What servers do, by themselves or as their administrators tell them.
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "fault.h"
#include "trel_cap/status.h"

namespace reliability {

namespace {

using Commands = std::vector<std::vector<std::string>>;

std::function<void(Scene &)> telling(const Commands &commands) {
    return [=](Scene &scene) {
        for (const auto &command : commands) {
            scene.tell_server(command);
        }
    };
}

const std::vector<std::string> kKillFollowers = {"CLIENT", "KILL", "TYPE", "pubsub"};
const std::vector<std::string> kKillRequests = {"CLIENT", "KILL", "TYPE", "normal"};

// A snapshot cannot take the place of a directory.
void fail_to_save(Scene &scene) {
    test_support::RedisConnection &raw = scene.administrator();
    std::filesystem::create_directory(raw.list({"CONFIG", "GET", "dir"}).at(1) + "/dump.rdb");
    raw.must({"CONFIG", "SET", "save", "3600 1"});
    raw.must({"BGSAVE"});
    for (int tries = 0; raw.text({"INFO", "persistence"}).find("rdb_last_bgsave_status:err") == std::string::npos;) {
        if (++tries == 1000) {
            throw std::runtime_error("the server can save");
        }
        std::this_thread::sleep_for(milliseconds(10));
    }
}

void save_again(Scene &scene) {
    test_support::RedisConnection &raw = scene.administrator();
    std::filesystem::remove(raw.list({"CONFIG", "GET", "dir"}).at(1) + "/dump.rdb");
    raw.must({"CONFIG", "SET", "save", ""});
}

void overrun(Scene &scene) {
    scene.tell_server({"CONFIG", "SET", "client-output-buffer-limit", "pubsub 100000 100000 1"});
    const readiness::Application::Stall stall(scene.subject().application());
    for (int i = 0; i < 4000; ++i) {
        scene.publisher().ready(kKept);
    }
}

Fault lost(const char *name, const char *title, std::function<void(Scene &)> begin,
           std::function<void(Scene &)> end = nullptr, const char *awaited = nullptr) {
    return {.name = name,
            .title = title,
            .sign = Fault::Sign::kLoss,
            .read = TREL_CAP_E_NO_ANSWER,
            .write = OX_MOM_E_LOST,
            .begin = std::move(begin),
            .end = std::move(end),
            .awaited = awaited};
}

Fault refused(const char *name, const char *title, std::function<void(Scene &)> begin,
              std::function<void(Scene &)> end) {
    return {.name = name,
            .title = title,
            .sign = Fault::Sign::kCall,
            .write = OX_MOM_E_REFUSED,
            .begin = std::move(begin),
            .end = std::move(end)};
}

void kill_server(Scene &scene) { scene.server().kill(); }

void save_and_kill(Scene &scene) {
    scene.tell_server({"SAVE"});
    scene.server().kill();
}

void start_server(Scene &scene) { scene.server().start(); }

}  // namespace

std::vector<Fault> server_faults() {
    constexpr const char *kNobody = "Connection refused";
    std::vector<Fault> faults = {
        lost("restarted", "the server is restarted with its data", save_and_kill, start_server, kNobody),
        lost(
            "restarted_empty", "the server is restarted empty, and filled anew", kill_server,
            [](Scene &scene) {
                scene.server().start();
                scene.reconnect();
                scene.fill();
            },
            kNobody),
        lost(
            "restarted_with_old_data", "the server is restarted with data of before a change",
            [](Scene &scene) {
                scene.tell_server({"SAVE"});
                scene.change();
                scene.server().kill();
            },
            start_server, kNobody),
        lost(
            "restarted_with_fewer_databases", "the server is restarted with 16 databases",
            [](Scene &scene) {
                scene.server().set_databases(16);
                scene.server().restart(RedisServer::Data::kDropped);
            },
            [](Scene &scene) {
                scene.server().kill();
                scene.server().set_databases(32);
                scene.server().start();
                scene.reconnect();
                scene.fill();
            },
            "fewer than 29"),
        lost("link_killed", "CLIENT KILL of the connection for notifications", telling({kKillFollowers})),
        {.name = "requests_killed",
         .title = "CLIENT KILL of the connections for requests",
         .begin = telling({kKillRequests})},
        lost("all_killed", "CLIENT KILL of all connections", telling({kKillFollowers, kKillRequests})),
        lost("overrun", "the output buffer for a slow application overruns", overrun),
        lost("password", "a password is set, and connections are killed (NOAUTH)",
             telling({{"CONFIG", "SET", "requirepass", "new"}, kKillFollowers, kKillRequests}),
             telling({{"CONFIG", "SET", "requirepass", ""}}), "NOAUTH"),
        lost("maxclients", "no more connections are taken, and those there are are killed (maxclients)",
             telling({{"CONFIG", "SET", "maxclients", "1"}, kKillFollowers, kKillRequests}),
             telling({{"CONFIG", "SET", "maxclients", "100"}}), "max number"),
        refused("read_only", "the server is made a replica (READONLY)", telling({{"REPLICAOF", "127.0.0.1", "1"}}),
                telling({{"REPLICAOF", "NO", "ONE"}})),
        refused("out_of_memory", "the server has no memory left (OOM)", telling({{"CONFIG", "SET", "maxmemory", "1"}}),
                telling({{"CONFIG", "SET", "maxmemory", "0"}})),
        refused("cannot_save", "the server cannot save (MISCONF)", fail_to_save, save_again),
        {.name = "scripts_flushed",
         .title = "the server forgets its scripts (NOSCRIPT)",
         .begin = telling({{"SCRIPT", "FLUSH"}})},
    };
    return faults;
}

}  // namespace reliability
