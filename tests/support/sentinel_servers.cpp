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

RedisOptions server_options(const std::string &program, int masters_port) {
    RedisOptions options;
    options.program = program;
    options.tcp = true;
    options.arguments = {"--repl-diskless-sync-delay", "0"};
    if (masters_port != 0) {
        options.arguments.insert(options.arguments.end(), {"--replicaof", "127.0.0.1", std::to_string(masters_port)});
    }
    return options;
}

RedisOptions sentinel_options(const std::string &program, int masters_port, const SentinelOptions &wanted) {
    RedisOptions options;
    options.program = program;
    options.sentinel_config = "sentinel monitor service 127.0.0.1 " + std::to_string(masters_port) + " " +
                              std::to_string(wanted.sentinels / 2 + 1) + "\nsentinel down-after-milliseconds service " +
                              std::to_string(wanted.down_after_ms) + "\nsentinel failover-timeout service " +
                              std::to_string(wanted.failover_timeout_ms) + "\n";
    return options;
}

}  // namespace

SentinelServers::SentinelServers(const std::string &program, const SentinelOptions &options) {
    servers_.push_back(std::make_unique<RedisServer>(server_options(program, 0)));
    masters_port_ = options.way_to_master ? options.way_to_master(master().port()) : master().port();
    master().connection().must({"CONFIG", "SET", "replica-announce-port", std::to_string(masters_port_)});
    for (int i = 0; i < options.replicas; ++i) {
        servers_.push_back(std::make_unique<RedisServer>(server_options(program, masters_port_)));
    }
    // A sentinel takes a replica's promotion back when nobody has told of it for four of these periods; the one that
    // promotes it learns that it is done, and tells it, a second later.
    const std::string publish_period = options.sentinels == 1 ? "100" : "1000";
    for (int i = 0; i < options.sentinels; ++i) {
        sentinels_.push_back(std::make_unique<RedisServer>(sentinel_options(program, masters_port_, options)));
        // Servers that let themselves be hurried look after each other more often. Their news of a replica count for
        // five periods of pings, and while the master is away they ask for them once a second; and a replica that is
        // being made the master, which takes a second, is made a replica again after four periods of publishing.
        sentinels_.back()->connection().command({"SENTINEL", "DEBUG", "INFO-PERIOD", "100", "PING-PERIOD", "500",
                                                 "PUBLISH-PERIOD", "500", "ASK-PERIOD", "100", "ELECTION-TIMEOUT",
                                                 "500"});
    }
}

std::string SentinelServers::store_name() const {
    std::string name;
    for (const auto &sentinel : sentinels_) {
        name += (name.empty() ? "sentinel://127.0.0.1:" : ",127.0.0.1:") + std::to_string(sentinel->port());
    }
    return name + "/service";
}

RedisServer &SentinelServers::named_master(size_t sentinel) {
    const std::vector<std::string> named =
        sentinels_.at(sentinel)->connection().list({"SENTINEL", "GET-MASTER-ADDR-BY-NAME", "service"});
    for (const auto &server : servers_) {
        if (named.at(1) == std::to_string(server->port())) {
            return *server;
        }
    }
    return master();
}

bool SentinelServers::is_ready(const RedisServer &sentinel) const {
    RedisConnection connection = sentinel.connection();
    const RedisReply replicas = connection.must({"SENTINEL", "REPLICAS", "service"});
    for (size_t i = 0; i < replicas->elements; ++i) {
        if (value_of(*replicas->element[i], "flags") != "slave" ||
            value_of(*replicas->element[i], "master-link-status") != "ok") {
            return false;
        }
    }
    const RedisReply others = connection.must({"SENTINEL", "SENTINELS", "service"});
    return replicas->elements + 1 == servers_.size() && others->elements + 1 == sentinels_.size();
}

bool SentinelServers::replica_is_ready() {
    return becomes_true([this] {
        return std::all_of(sentinels_.begin(), sentinels_.end(),
                           [this](const auto &sentinel) { return is_ready(*sentinel); });
    });
}

bool SentinelServers::fail_over() {
    RedisConnection connection = sentinel().connection();
    const RedisServer &before = named_master();
    return becomes_true([&] {
        if (&named_master() != &before) {
            return true;
        }
        connection.command({"SENTINEL", "FAILOVER", "service"});
        return false;
    });
}

// The server answers for a connection's own writes only.
bool SentinelServers::replica_has_everything() {
    RedisConnection master = this->master().connection();
    master.must({"SET", "last-write", "1"});
    const auto replicas = static_cast<long long>(servers_.size()) - 1;
    return master.must({"WAIT", std::to_string(replicas), "30000"})->integer == replicas;
}

}  // namespace test_support
