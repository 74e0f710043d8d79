// Tests that run over every store: the embedded one, Redis, and Valkey where it is installed; or over the one that
// $TREL_CAP_CONTRACT_STORE names, with a number for its `#`, emptied by the command $TREL_CAP_CONTRACT_RESET before
// each.
#pragma once

#include "redis_server.h"

#include <gtest/gtest.h>
#include <ox_mom.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace test_support {

struct StoreKind {
    std::string label;
    std::string program;    // the server's; empty for the embedded store
    std::string name = {};  // of a store that is there already
};

std::vector<StoreKind> every_store();
std::vector<StoreKind> every_server();
std::string store_label(const testing::TestParamInfo<StoreKind> &info);
std::ostream &operator<<(std::ostream &out, const StoreKind &kind);

struct ClientDeleter {
    void operator()(MomClient *client) const { ox_mom_client_destroy(client); }
};
using ClientPtr = std::unique_ptr<MomClient, ClientDeleter>;

// A client with those databases connected. Throws std::runtime_error when that fails.
ClientPtr connect_client(const std::string &store, const std::vector<int32_t> &databases);

// How long a request waits for a server, unless a test says otherwise: a busy machine is no silent server.
inline constexpr std::chrono::milliseconds kRequestLimit = std::chrono::seconds(30);

class StoreTest : public testing::TestWithParam<StoreKind> {
protected:
    StoreTest();

    void SetUp() override;

    // What the server is started with; a fixture that needs others overrides it.
    virtual RedisOptions server_options() const { return {}; }

    bool has_server() const { return server_ != nullptr; }
    RedisServer &server() { return *server_; }
    const std::string &store() const { return store_; }
    void use_store(const std::string &name) { store_ = name; }

    // A client of the store, by default with database 28.
    ClientPtr connect(const std::vector<int32_t> &databases = {28}) const { return connect_client(store_, databases); }

private:
    std::unique_ptr<RedisServer> server_;
    std::string store_;
};

// Over the servers only.
class ServerTest : public StoreTest {};

#define INSTANTIATE_OVER_STORES(suite)                                                                                 \
    INSTANTIATE_TEST_SUITE_P(Stores, suite, testing::ValuesIn(test_support::every_store()), test_support::store_label)
#define INSTANTIATE_OVER_SERVERS(suite)                                                                                \
    INSTANTIATE_TEST_SUITE_P(Servers, suite, testing::ValuesIn(test_support::every_server()), test_support::store_label)

}  // namespace test_support
