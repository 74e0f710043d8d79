// What the library shows to the linker.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "child.h"

namespace zlog_test {

namespace {

TEST(Exports, AreTheTwoFunctionsAndNoMore) {
    // NOLINTNEXTLINE(cert-env33-c): the command is fixed when this is built
    FILE *nm = popen("nm --dynamic --defined-only --format=posix " OX_ZLOG_LIBRARY, "r");
    ASSERT_NE(nm, nullptr);
    std::string listing;
    char block[4096];
    for (size_t n = 0; (n = fread(block, 1, sizeof block, nm)) > 0;) {
        listing.append(block, n);
    }
    ASSERT_EQ(pclose(nm), 0);
    std::vector<std::string> functions;
    for (const std::string &line : lines_of(listing)) {
        const std::string name = line.substr(0, line.find(' '));
        if (name != "OX_ZLOG_1") {  // the version itself
            functions.push_back(name);
        }
    }
    EXPECT_THAT(functions, testing::UnorderedElementsAre("ox_zlog_init@@OX_ZLOG_1", "oxdf_zlog@@OX_ZLOG_1"));
}

}  // namespace

}  // namespace zlog_test
