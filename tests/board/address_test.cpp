#include "board/address.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "command_line/exit_status.h"

namespace board {

namespace {

TEST(Address, IsAHostInNumbersAndAPort) {
    for (const auto &[text, url] :
         {std::pair("127.0.0.1:80", "http://127.0.0.1:80/"), std::pair("[::1]:8080", "http://[::1]:8080/"),
          std::pair("localhost:0", "http://127.0.0.1:0/"), std::pair("7080", "http://127.0.0.1:7080/"),
          std::pair("0.0.0.0:65535", "http://0.0.0.0:65535/")}) {
        EXPECT_EQ(url_of(parse_address(text)), url) << text;
    }
}

TEST(Address, AnythingElseIsRefused) {
    for (const char *text : {"", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:80x",
                             "example.org:80", "::1:80", "[::1]", "[::1:80"}) {
        EXPECT_THROW(parse_address(text), command_line::Failure) << text;
    }
}

TEST(Address, LoopbackIsThisMachineAlone) {
    for (const char *text : {"127.0.0.1:1", "127.8.9.1:1", "[::1]:1", "localhost:1"}) {
        EXPECT_TRUE(is_loopback(parse_address(text))) << text;
    }
    for (const char *text : {"0.0.0.0:1", "10.0.0.1:1", "[::]:1", "[fe80::1]:1"}) {
        EXPECT_FALSE(is_loopback(parse_address(text))) << text;
    }
}

TEST(Host, OfABoardOnLoopbackIsLoopback) {
    const Address listening = {"127.0.0.1", 7080};
    for (const char *host :
         {"127.0.0.1:7080", "127.0.0.1", "localhost:7080", "LOCALHOST", "localhost:9", "[::1]:7080"}) {
        EXPECT_TRUE(names_this_machine(host, listening)) << host;
    }
    for (const char *host : {"", "example.org", "example.org:7080", "10.0.0.1:7080", "127.0.0.1.example.org",
                             "127.example.org", "localhost.example.org", "[fe80::1]:7080", "[", "[::1", "[]"}) {
        EXPECT_FALSE(names_this_machine(host, listening)) << host;
    }
}

TEST(Host, OfABoardForOthersIsInNumbersOrThisMachinesName) {
    const Address listening = {"0.0.0.0", 7080};
    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    for (const std::string &host : {std::string("10.0.0.1:7080"), std::string("[fe80::1]:7080"),
                                    std::string("localhost"), std::string(name) + ":7080"}) {
        EXPECT_TRUE(names_this_machine(host, listening)) << host;
    }
    for (const char *host : {"", "example.org:7080", "10.0.0.1.example.org"}) {
        EXPECT_FALSE(names_this_machine(host, listening)) << host;
    }
}

TEST(Origin, IsTheBoardsOwnWhereItIsTheHosts) {
    EXPECT_TRUE(is_own_origin("http://127.0.0.1:7080", "127.0.0.1:7080"));
    for (const char *origin : {"null", "", "http://127.0.0.1", "http://127.0.0.1:7081", "http://example.org",
                               "https://127.0.0.1:7080", "http://127.0.0.1:7080.example.org"}) {
        EXPECT_FALSE(is_own_origin(origin, "127.0.0.1:7080")) << origin;
    }
}

}  // namespace

}  // namespace board
