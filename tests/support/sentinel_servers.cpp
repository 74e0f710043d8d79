#include "sentinel_servers.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

namespace test_support {

namespace {

using namespace std::chrono_literals;

constexpr auto kLongEnough = 40s;

// The value after that name in a list of names and values.
std::string value_of(const redisReply &list, const std::string &name) {
    for (size_t i = 0; i + 1 < list.elements; i += 2) {
        if (list.element[i]->str == name) {
            return list.element[i + 1]->str;
        }
    }
    return "";
}

bool becomes_true(const std::function<bool()> &condition) {
    for (const auto limit = std::chrono::steady_clock::now() + kLongEnough; std::chrono::steady_clock::now() < limit;) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

RedisOptions options_of(const std::string &program, const RedisServer *master) {
    RedisOptions options;
    options.program = program;
    options.tcp = true;
    options.arguments = {"--repl-diskless-sync-delay", "0"};
    if (master != nullptr) {
        options.arguments.insert(options.arguments.end(), {"--replicaof", "127.0.0.1", std::to_string(master->port())});
    }
    return options;
}

RedisOptions sentinel_options(const std::string &program, const RedisServer &master) {
    RedisOptions options;
    options.program = program;
    options.sentinel_config = "sentinel monitor service 127.0.0.1 " + std::to_string(master.port()) +
                              " 1\nsentinel down-after-milliseconds service 60000\n"
                              "sentinel failover-timeout service 20000\n";
    return options;
}

}  // namespace

SentinelServers::SentinelServers(const std::string &program, size_t sentinels)
    : master_(options_of(program, nullptr)), replica_(options_of(program, &master_)) {
    // A sentinel takes the replica's promotion back when nobody has told of it for four of these periods; the one that
    // promotes it learns that it is done, and tells it, a second later.
    const std::string publish_period = sentinels == 1 ? "100" : "1000";
    for (size_t i = 0; i < sentinels; ++i) {
        sentinels_.emplace_back(sentinel_options(program, master_));
        // Servers that let themselves be hurried look after each other every 100 ms in place of every 1 to 10 s.
        sentinels_.back().connection().command({"SENTINEL", "DEBUG", "INFO-PERIOD", "100", "PING-PERIOD", "100",
                                                "PUBLISH-PERIOD", publish_period, "ASK-PERIOD", "100",
                                                "ELECTION-TIMEOUT", "500"});
    }
}

std::string SentinelServers::store_name() const {
    std::string hosts;
    for (const RedisServer &sentinel : sentinels_) {
        hosts += (hosts.empty() ? "127.0.0.1:" : ",127.0.0.1:") + std::to_string(sentinel.port());
    }
    return "sentinel://" + hosts + "/service";
}

bool SentinelServers::replica_is_ready() {
    return becomes_true([this] {
        const RedisReply replicas = sentinel().connection().must({"SENTINEL", "REPLICAS", "service"});
        return replicas->elements == 1 && value_of(*replicas->element[0], "flags") == "slave" &&
               value_of(*replicas->element[0], "master-link-status") == "ok";
    });
}

bool SentinelServers::fail_over() {
    const std::string wanted = std::to_string(replica_.port());
    const auto names_replica = [&](const RedisServer &sentinel) {
        return sentinel.connection().list({"SENTINEL", "GET-MASTER-ADDR-BY-NAME", "service"}).at(1) == wanted;
    };
    return becomes_true([&] {
        if (!names_replica(sentinel())) {
            sentinel().connection().command({"SENTINEL", "FAILOVER", "service"});
            return false;
        }
        return std::all_of(sentinels_.begin(), sentinels_.end(), names_replica);
    });
}

// The server answers for a connection's own writes only.
bool SentinelServers::replica_has_everything() {
    RedisConnection master = master_.connection();
    master.must({"SET", "last-write", "1"});
    return master.must({"WAIT", "1", "30000"})->integer == 1;
}

}  // namespace test_support
