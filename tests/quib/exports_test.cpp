// What the library shows to the linker.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace quib_test {
namespace {

TEST(Exports, AreTheTwoFunctionsAndNoMore) {
    // NOLINTNEXTLINE(cert-env33-c): the command is fixed when this is built
    FILE *nm = popen("nm --dynamic --defined-only --format=posix " QUIB_LIBRARY, "r");
    ASSERT_NE(nm, nullptr);
    std::string listing;
    char block[4096];
    for (size_t n = 0; (n = fread(block, 1, sizeof block, nm)) > 0;) {
        listing.append(block, n);
    }
    ASSERT_EQ(pclose(nm), 0);
    std::vector<std::string> names;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        names.push_back(line.substr(0, line.find(' ')));
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("QUIB_1", "quib_lib_init@@QUIB_1", "quib_reg_mod_cmd@@QUIB_1"));
}

}  // namespace
}  // namespace quib_test
