// What every test of this project's object-store client begins with.
#pragma once

#include "contract_test.h"

namespace mom_test {

using test_support::RedisConnection;
using test_support::RedisOptions;
using test_support::RedisReply;
using test_support::RedisServer;
using test_support::ServerTest;

}  // namespace mom_test
