// What the functions return when they cannot do what they are asked, each code and its words.
#include <cmath>
#include <functional>
#include <thread>

#include "chassis.h"
#include "private_directory.h"

namespace testing_test {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Errors : public ChassisTest {};

using Call = std::function<int32_t(TrelCapTesting *)>;

const std::vector<Call> &calls() {
    static const std::vector<Call> all = {
        [](TrelCapTesting *c) { return trel_cap_testing_insert(c, TREL_CAP_TESTING_LC, 17); },
        [](TrelCapTesting *c) { return trel_cap_testing_remove(c, TREL_CAP_TESTING_LC, 17); },
        [](TrelCapTesting *c) { return trel_cap_testing_check(c, TREL_CAP_TESTING_LC, 17, TREL_CAP_TESTING_PASS); },
        [](TrelCapTesting *c) { return trel_cap_testing_ready(c, TREL_CAP_TESTING_LC, 17, 1); },
        [](TrelCapTesting *c) { return trel_cap_testing_unready(c, TREL_CAP_TESTING_LC, 17); },
        [](TrelCapTesting *c) { return trel_cap_testing_withdraw(c, TREL_CAP_TESTING_LC, 17); },
        [](TrelCapTesting *c) { return trel_cap_testing_scope_ready(c, "glb", 1); },
        [](TrelCapTesting *c) { return trel_cap_testing_set_bool(c, "/a", 1); },
        [](TrelCapTesting *c) { return trel_cap_testing_set_int(c, "/a", 1); },
        [](TrelCapTesting *c) { return trel_cap_testing_set_node_str(c, TREL_CAP_TESTING_LC, 17, "/a", "x"); },
        [](TrelCapTesting *c) { return trel_cap_testing_play(c, "steps: [{scope_ready: glb}]"); },
    };
    return all;
}

TEST_F(Errors, OfAChassisThatIsNullAreArguments) {
    for (const Call &call : calls()) {
        EXPECT_EQ(call(nullptr), TREL_CAP_TESTING_E_ARGUMENT);
    }
    EXPECT_EQ(trel_cap_testing_play_file(nullptr, "x"), TREL_CAP_TESTING_E_ARGUMENT);
    EXPECT_EQ(trel_cap_testing_play_file_at(nullptr, "x", 1), TREL_CAP_TESTING_E_ARGUMENT);
    EXPECT_STREQ(trel_cap_testing_error(nullptr), "the chassis is NULL");
    EXPECT_STREQ(trel_cap_testing_store(nullptr), "");
}

TEST_F(Errors, NameTheArgument) {
    const std::string too_long(256, 'u');
    const std::vector<std::pair<Call, std::string>> cases = {
        {[](auto *c) { return trel_cap_testing_insert(c, 4, 17); }, "card_class: there is no class 4"},
        {[](auto *c) { return trel_cap_testing_remove(c, -1, 17); }, "card_class: there is no class -1"},
        {[](auto *c) { return trel_cap_testing_unready(c, 4, 17); }, "card_class: "},
        {[](auto *c) { return trel_cap_testing_withdraw(c, 4, 17); }, "card_class: "},
        {[](auto *c) { return trel_cap_testing_set_node_str(c, 4, 17, "/a", "x"); }, "card_class: "},
        {[](auto *c) { return trel_cap_testing_check(c, TREL_CAP_TESTING_LC, 17, 3); }, "result: there is no result 3"},
        {[](auto *c) { return trel_cap_testing_scope_ready(c, "lc", 1); }, "scope: there is no scope \"lc\""},
        {[](auto *c) { return trel_cap_testing_scope_ready(c, nullptr, 1); }, "scope is NULL"},
        {[](auto *c) { return trel_cap_testing_set_bool(c, nullptr, 1); }, "url is NULL"},
        {[](auto *c) { return trel_cap_testing_set_bool(c, "", 1); }, "url: 1 to 255 bytes expected"},
        {[&](auto *c) { return trel_cap_testing_set_int(c, too_long.c_str(), 1); }, "url: 1 to 255 bytes expected"},
        {[](auto *c) { return trel_cap_testing_set_node_str(c, TREL_CAP_TESTING_LC, 17, "/a", nullptr); },
         "value is NULL"},
        {[](auto *c) { return trel_cap_testing_play(c, nullptr); }, "text is NULL"},
        {[](auto *c) { return trel_cap_testing_play_file(c, nullptr); }, "path is NULL"},
        {[](auto *c) { return trel_cap_testing_play_file_at(c, nullptr, 1); }, "path is NULL"},
        {[](auto *c) { return trel_cap_testing_play_file_at(c, "x", 0); }, "speed: more than 0 expected"},
        {[](auto *c) { return trel_cap_testing_play_file_at(c, "x", -1); }, "speed: more than 0 expected"},
        {[](auto *c) { return trel_cap_testing_play_file_at(c, "x", std::nan("")); }, "speed: more than 0 expected"},
    };
    start_application();
    for (const auto &[call, message] : cases) {
        EXPECT_EQ(call(chassis), TREL_CAP_TESTING_E_ARGUMENT) << message;
        EXPECT_THAT(error(), StartsWith(message));
    }
    EXPECT_EQ(trel_cap_testing_deliver(client), 0) << "something was written";
}

TEST_F(Errors, OfAScenarioSayWhereTheMistakeIs) {
    const test_support::PrivateDirectory directory;
    start_application();
    EXPECT_EQ(trel_cap_testing_play(chassis, "steps:\n  - {scope_ready: glb}\n  - inser: lc1\n"),
              TREL_CAP_TESTING_E_SCENARIO);
    EXPECT_THAT(error(), testing::AllOf(StartsWith("scenario:3:5: "), HasSubstr("did you mean insert?")));
    EXPECT_EQ(trel_cap_testing_play_file(chassis, directory.file("none.yaml").c_str()), TREL_CAP_TESTING_E_SCENARIO);
    EXPECT_THAT(error(), HasSubstr("none.yaml: cannot be read: No such file or directory"));
    EXPECT_EQ(trel_cap_testing_play_file_at(chassis, directory.file("").c_str(), 2), TREL_CAP_TESTING_E_SCENARIO);
    EXPECT_EQ(trel_cap_testing_deliver(client), 0) << "something was written";
}

// It belongs to its thread, and the call does nothing.
TEST_F(Errors, OfAnotherThreadAreTheStores) {
    start_application();
    std::thread([&] {
        for (const Call &call : calls()) {
            EXPECT_EQ(call(chassis), TREL_CAP_TESTING_E_STORE);
            EXPECT_THAT(error(), HasSubstr("thread"));
        }
        trel_cap_testing_stop(chassis);
    }).join();
    EXPECT_EQ(trel_cap_testing_deliver(client), 0) << "something was written";
    EXPECT_EQ(trel_cap_testing_insert(chassis, TREL_CAP_TESTING_LC, 17), 0) << "it is stopped on its own thread only";
}

TEST_F(Errors, AreForgottenByTheNextCall) {
    ASSERT_NE(trel_cap_testing_insert(chassis, 4, 17), 0);
    EXPECT_NE(error(), "");
    ASSERT_EQ(trel_cap_testing_insert(chassis, TREL_CAP_TESTING_LC, 17), 0);
    EXPECT_EQ(error(), "");
}

TEST_F(Errors, OfAClientAreItsOwn) { EXPECT_LT(trel_cap_testing_deliver(nullptr), 0); }

}  // namespace

}  // namespace testing_test
