// The program as a process.
#ifndef TESTS_TOOLS_PROGRAM_H
#define TESTS_TOOLS_PROGRAM_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <redis_server.h>
#include <sys/types.h>

#include <cstdio>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace capctl_test {

using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

struct Outcome {
    int status = -1;  // the exit status; 1000 and the signal when one ended the process
    std::string out;
    std::string err;
};

// What the process gets in place of a captured standard output.
enum class Stdout { kCaptured, kClosed, kFull };

// A started trel_capctl.
class Program {
public:
    struct Start {
        Environment environment = {};  // OX_MOM_ variables not named here are not set
        Stdout standard_output = Stdout::kCaptured;
        bool ignores_interrupts = false;
    };

    explicit Program(const Arguments &arguments) : Program(arguments, Start()) {}
    Program(const Arguments &arguments, const Start &start);
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    pid_t pid() const { return pid_; }
    // Waits for its end; to be called once.
    Outcome finish();

private:
    struct FileCloser {
        void operator()(FILE *file) const { std::fclose(file); }
    };
    using File = std::unique_ptr<FILE, FileCloser>;

    [[noreturn]] void become(const Arguments &arguments, const Start &start) const;

    File out_;
    File err_;
    pid_t pid_;
};

Outcome run(const Arguments &arguments, const Environment &environment = {});

// A test with a server of its own, named by the environment of the program.
class ServerTest : public testing::Test {
protected:
    explicit ServerTest(const test_support::RedisOptions &options = {}) : server_(options) {}

    Environment environment() const { return {{"OX_MOM_STORE", server_.store_name()}}; }
    Outcome run(const Arguments &arguments) const { return capctl_test::run(arguments, environment()); }
    // Commands past the client, in the capabilities' database.
    test_support::RedisConnection raw() const;
    test_support::RedisServer &server() { return server_; }

private:
    test_support::RedisServer server_;
};

// Matchers: what a process that has done what it was asked has printed, and one that has not.
MATCHER_P(Prints, text, "ends with 0 and prints " + testing::PrintToString(text)) {
    return arg.status == 0 && arg.out == text && arg.err.empty();
}

MATCHER_P2(FailsWith, status, message,
           "ends with " + testing::PrintToString(status) + ", and no output but a message") {
    *result_listener << "status " << arg.status << ", output " << testing::PrintToString(arg.out) << ", message "
                     << testing::PrintToString(arg.err);
    return arg.status == status && arg.out.empty() && arg.err.starts_with("trel_capctl: ") &&
           arg.err.find(message) != std::string::npos && arg.err.ends_with("\n");
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome);

}  // namespace capctl_test

#endif
