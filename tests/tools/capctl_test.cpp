#include "capctl_test.h"

namespace capctl_test {

Launch capctl(const Arguments &arguments, const Environment &environment) {
    return {.program = CAPCTL_PROGRAM,
            .arguments = arguments,
            .unset = {"OX_MOM_STORE", "OX_MOM_TIMEOUT_MS"},
            .environment = environment};
}

test_support::RedisConnection ServerTest::raw() const {
    test_support::RedisConnection connection = server_.connection();
    connection.must({"SELECT", "28"});
    return connection;
}

}  // namespace capctl_test
