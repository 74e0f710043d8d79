// A master, its replicas, and the sentinels that watch them under the name "service".
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "redis_server.h"

namespace test_support {

struct SentinelOptions {
    int replicas = 1;
    int sentinels = 1;  // most of them must agree
    // How long a server is silent before it is taken for dead. As it is, only fail_over() replaces the master.
    int down_after_ms = 60000;
    int failover_timeout_ms = 20000;  // one that came to nothing is tried again after twice that
    // By which port everybody reaches the master that is at this one; nullptr: by this one.
    std::function<int(int port)> way_to_master = nullptr;
};

class SentinelServers {
public:
    // program: the server's.
    explicit SentinelServers(const std::string &program, const SentinelOptions &options = {});

    RedisServer &master() { return *servers_[0]; }
    RedisServer &replica() { return *servers_[1]; }
    RedisServer &sentinel(size_t number = 0) { return *sentinels_.at(number); }
    std::string store_name() const;

    // The server that the sentinel names as the master.
    RedisServer &named_master(size_t sentinel = 0);

    // Each false when it takes too long.

    // Waits until the sentinels would make a replica the master.
    bool replica_is_ready();

    // Makes a replica the master. The sentinel need not find the other one dead for that, which takes a time that a
    // busy machine would exceed without cause. It refuses as long as it has no fresh news of a replica.
    bool fail_over();

    // Waits until the replicas have what the master has.
    bool replica_has_everything();

private:
    bool is_ready(const RedisServer &sentinel) const;

    std::vector<std::unique_ptr<RedisServer>> servers_;  // the first: the master at the beginning
    int masters_port_;                                   // as everybody knows it
    std::vector<std::unique_ptr<RedisServer>> sentinels_;
};

}  // namespace test_support
