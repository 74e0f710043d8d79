// A private server with a client of ours and a bare connection beside it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <hiredis/hiredis.h>

#include <ox_mom.h>
#include <trel_cap/records.h>

#include "redis_server.h"

namespace bench {

inline void must(bool done) {
    if (!done) {
        std::fprintf(stderr, "trel_cap_bench: %s\n", ox_mom_last_error());
        std::abort();
    }
}

class Store {
public:
    Store() {
        server_.start();
        client_ = ox_mom_client_create(server_.store_name().c_str());
        for (const int32_t db : {int32_t{TREL_CAP_DB_CARDS}, int32_t{TREL_CAP_DB_CAPABILITIES}}) {
            must(client_ != nullptr && ox_mom_client_connect_sync(client_, db) == 0);
        }
        bare_ = connect();
    }
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;
    ~Store() {
        redisFree(bare_);
        ox_mom_client_destroy(client_);
    }

    std::string name() const { return server_.store_name(); }
    MomClient *client() const { return client_; }
    redisContext *bare() const { return bare_; }

    redisContext *connect() const {
        redisContext *context = redisConnectUnix(server_.socket_path().c_str());
        freeReplyObject(redisCommand(context, "SELECT %d", TREL_CAP_DB_CAPABILITIES));
        return context;
    }

    void write_fe_ready(int32_t node, int32_t config_dev_type = 7, bool ready = true) const {
        CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
        CapFeReady record = CAP_FE_READY__INIT;
        index.node = node;
        index.config_dev_type = config_dev_type;
        record.index = &index;
        record.ready = ready ? 1 : 0;
        record.config_dev_type = config_dev_type;
        record.devid = 1;
        record.slotid = node % 16;
        record.node_type = 3;
        record.real_time = 1;
        constexpr int32_t kFields[] = {6, 7, 8, 9, 10, 11, 12};
        must(ox_mom_hmset_sync(client_, TREL_CAP_DB_CAPABILITIES, &record.base, kFields, std::size(kFields)) == 0);
    }

private:
    test_support::RedisServer server_;
    MomClient *client_ = nullptr;
    redisContext *bare_ = nullptr;
};

}  // namespace bench
