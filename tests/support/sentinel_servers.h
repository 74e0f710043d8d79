// A master, its replica, and the sentinels that watch them under the name "service".
#pragma once

#include <deque>
#include <string>

#include "redis_server.h"

namespace test_support {

class SentinelServers {
public:
    // program: the server's.
    explicit SentinelServers(const std::string &program, size_t sentinels = 1);

    RedisServer &master() { return master_; }
    RedisServer &replica() { return replica_; }
    RedisServer &sentinel() { return sentinels_.front(); }
    // By all sentinels.
    std::string store_name() const;

    // Each false when it takes too long.

    // Waits until the sentinel would make the replica the master.
    bool replica_is_ready();

    // Makes the replica the master, and waits until all sentinels say so. The sentinel need not find the other one dead
    // for that, which takes a time that a busy machine would exceed without cause. It refuses as long as it has no
    // fresh news of the replica.
    bool fail_over();

    // Waits until the replica has what the master has.
    bool replica_has_everything();

private:
    RedisServer master_;
    RedisServer replica_;
    std::deque<RedisServer> sentinels_;
};

}  // namespace test_support
