// trel_capctl as a process, and a server of its own for each test.
#pragma once

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "program.h"
#include "redis_server.h"

namespace capctl_test {

using test_support::Arguments;
using test_support::Environment;
using test_support::Launch;
using test_support::Outcome;
using test_support::Prints;
using test_support::Program;
using test_support::Stdout;

// trel_capctl with these variables; OX_MOM_ ones that are not named are not set.
Launch capctl(const Arguments &arguments, const Environment &environment = {});

inline Outcome run(const Arguments &arguments, const Environment &environment = {}) {
    return Program(capctl(arguments, environment)).finish();
}

// A test with a server of its own, named by the environment of the program.
class ServerTest : public testing::Test {
protected:
    explicit ServerTest(const test_support::RedisOptions &options = {}) : server_(options) {}

    Environment environment() const { return {{"OX_MOM_STORE", server_.store_name()}}; }
    Outcome run(const Arguments &arguments) const { return capctl_test::run(arguments, environment()); }
    // Another program writes a string, which trel_capctl only reads.
    void publish_string(std::string url, std::string text) const;
    // Commands past the client, in the capabilities' database.
    test_support::RedisConnection raw() const;
    test_support::RedisServer &server() { return server_; }
    int port() const { return server_.port(); }

private:
    test_support::RedisServer server_;
};

// NOLINTNEXTLINE(readability-identifier-naming): as matchers are called
inline auto FailsWith(int status, const std::string &message) {
    return test_support::FailsWith("trel_capctl", status, message);
}

}  // namespace capctl_test
