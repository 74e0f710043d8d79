#include "capctl_test.h"

#include <memory>

#include <ox_mom.h>
#include <trel_cap/records.h>

namespace capctl_test {

Launch capctl(const Arguments &arguments, const Environment &environment) {
    return {.program = CAPCTL_PROGRAM,
            .arguments = arguments,
            .unset = {"OX_MOM_STORE", "OX_MOM_TIMEOUT_MS"},
            .environment = environment};
}

void ServerTest::publish_string(std::string url, std::string text) const {
    const std::unique_ptr<MomClient, decltype(&ox_mom_client_destroy)> client(
        ox_mom_client_create(server_.store_name().c_str()), ox_mom_client_destroy);
    const int32_t field = TREL_CAP_FIELD_STR;
    CapTableIndex index = CAP_TABLE_INDEX__INIT;
    CapTable record = CAP_TABLE__INIT;
    index.url = url.data();
    record.index = &index;
    record.str_value = text.data();
    ASSERT_EQ(ox_mom_client_connect_sync(client.get(), TREL_CAP_DB_CAPABILITIES), 0) << ox_mom_last_error();
    ASSERT_EQ(ox_mom_hmset_sync(client.get(), TREL_CAP_DB_CAPABILITIES, &record.base, &field, 1), 0)
        << ox_mom_last_error();
}

test_support::RedisConnection ServerTest::raw() const {
    test_support::RedisConnection connection = server_.connection();
    connection.must({"SELECT", "28"});
    return connection;
}

}  // namespace capctl_test
