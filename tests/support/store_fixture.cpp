#include "store_fixture.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace test_support {

namespace {

std::string numbered(std::string name) {
    static std::atomic<int> names_used = 0;
    if (const size_t place = name.find('#'); place != std::string::npos) {
        name.replace(place, 1, std::to_string(++names_used));
    }
    return name;
}

void empty_the_named_store() {
    const char *const command = getenv("TREL_CAP_CONTRACT_RESET");
    ASSERT_TRUE(command == nullptr || std::system(command) == 0) << command;
}

}  // namespace

std::vector<StoreKind> every_server() {
    std::vector<StoreKind> kinds = {{"redis", "redis-server"}};
    static const bool has_valkey = program_is_installed("valkey-server");
    if (has_valkey) {
        kinds.push_back({"valkey", "valkey-server"});
    } else if (testing::GTEST_FLAG(list_tests)) {
        static const int said = std::fputs("valkey-server is not installed: no test runs over it\n", stderr);
        static_cast<void>(said);
    }
    return kinds;
}

std::vector<StoreKind> every_store() {
    if (const char *const name = getenv("TREL_CAP_CONTRACT_STORE"); name != nullptr) {
        return {{"named", "", name}};
    }
    std::vector<StoreKind> kinds = every_server();
    kinds.insert(kinds.begin(), {"mem", ""});
    return kinds;
}

std::string store_label(const testing::TestParamInfo<StoreKind> &info) { return info.param.label; }

std::ostream &operator<<(std::ostream &out, const StoreKind &kind) { return out << kind.label; }

ClientPtr connect_client(const std::string &store, const std::vector<int32_t> &databases) {
    ClientPtr client(ox_mom_client_create(store.c_str()));
    if (client == nullptr) {
        throw std::runtime_error(store + ": " + ox_mom_last_error());
    }
    for (const int32_t db : databases) {
        if (ox_mom_client_connect_sync(client.get(), db) != 0) {
            throw std::runtime_error(store + ": " + ox_mom_last_error());
        }
    }
    return client;
}

StoreTest::StoreTest() { setenv("OX_MOM_TIMEOUT_MS", std::to_string(kRequestLimit.count()).c_str(), 1); }

void StoreTest::SetUp() {
    if (!GetParam().name.empty()) {
        store_ = numbered(GetParam().name);
        empty_the_named_store();
        return;
    }
    if (GetParam().program.empty()) {
        store_ = numbered("mem:test-#");
        return;
    }
    RedisOptions options = server_options();
    options.program = GetParam().program;
    server_ = std::make_unique<RedisServer>(options);
    store_ = server_->store_name();
}

}  // namespace test_support
