// A master, its replica, and the sentinel that watches them under the name "service".
#pragma once

#include <string>

#include "redis_server.h"

namespace test_support {

class SentinelServers {
public:
    // program: the server's.
    explicit SentinelServers(const std::string &program);

    RedisServer &master() { return master_; }
    RedisServer &replica() { return replica_; }
    RedisServer &sentinel() { return sentinel_; }
    std::string store_name() const { return "sentinel://127.0.0.1:" + std::to_string(sentinel_.port()) + "/service"; }

    // Each false when it takes too long.

    // Waits until the sentinel would make the replica the master.
    bool replica_is_ready();

    // Makes the replica the master. The sentinel need not find the other one dead for that, which takes a time that a
    // busy machine would exceed without cause. It refuses as long as it has no fresh news of the replica.
    bool fail_over();

    // Waits until the replica has what the master has.
    bool replica_has_everything();

private:
    RedisServer master_;
    RedisServer replica_;
    RedisServer sentinel_;
};

}  // namespace test_support
