// Single steps and scenarios: what an application is told of them.
#include <filesystem>
#include <fstream>

#include "chassis.h"
#include "private_directory.h"

extern "C" int32_t every_call_from_c(TrelCapTesting *chassis, MomClient *client, const char *file);

namespace testing_test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Cards : public ChassisTest {};

TEST_F(Cards, BecomeReadyAndAreNotAnyMore) {
    start_application();
    ASSERT_EQ(trel_cap_testing_insert(chassis, TREL_CAP_TESTING_LC, 17), 0);
    ASSERT_EQ(trel_cap_testing_ready(chassis, TREL_CAP_TESTING_LC, 17, 1), 0);
    EXPECT_THAT(told(), IsEmpty());
    ASSERT_EQ(trel_cap_testing_check(chassis, TREL_CAP_TESTING_LC, 17, TREL_CAP_TESTING_PASS), 0);
    EXPECT_THAT(told(), ElementsAre("fe_node 17 ready"));
    ASSERT_EQ(trel_cap_testing_unready(chassis, TREL_CAP_TESTING_LC, 17), 0);
    EXPECT_THAT(told(), ElementsAre("fe_node 17 not ready"));
    ASSERT_EQ(trel_cap_testing_ready(chassis, TREL_CAP_TESTING_LC, 17, 1), 0);
    EXPECT_THAT(told(), ElementsAre("fe_node 17 ready"));
    ASSERT_EQ(trel_cap_testing_withdraw(chassis, TREL_CAP_TESTING_LC, 17), 0);
    EXPECT_THAT(told(), ElementsAre("fe_node 17 not ready"));
}

// Of each class in the records of that class.
TEST_F(Cards, OfOtherClassesNeedNoCheck) {
    start_application();
    ASSERT_EQ(trel_cap_testing_insert(chassis, TREL_CAP_TESTING_FAB, 33), 0);
    ASSERT_EQ(trel_cap_testing_ready(chassis, TREL_CAP_TESTING_FAB, 33, 1), 0);
    EXPECT_THAT(told(), ElementsAre("fe_node 33 ready", "fab_node 33 ready"));
    ASSERT_EQ(trel_cap_testing_insert(chassis, TREL_CAP_TESTING_CM, 1), 0);
    ASSERT_EQ(trel_cap_testing_ready(chassis, TREL_CAP_TESTING_CM, 1, 1), 0);
    EXPECT_THAT(told(), ElementsAre("cm_node 1 ready"));
    ASSERT_EQ(trel_cap_testing_unready(chassis, TREL_CAP_TESTING_CM, 1), 0);
    EXPECT_THAT(told(), ElementsAre("cm_node 1 not ready"));
}

TEST_F(Cards, AreDeniedAndTheDenialIsWithdrawn) {
    start_application();
    ASSERT_EQ(trel_cap_testing_insert(chassis, TREL_CAP_TESTING_LC, 17), 0);
    ASSERT_EQ(trel_cap_testing_check(chassis, TREL_CAP_TESTING_LC, 17, TREL_CAP_TESTING_DENY), 0);
    ASSERT_EQ(trel_cap_testing_ready(chassis, TREL_CAP_TESTING_LC, 17, 1), 0);
    EXPECT_THAT(told(), ElementsAre("fe_node 17 not ready"));
    ASSERT_EQ(trel_cap_testing_check(chassis, TREL_CAP_TESTING_LC, 17, TREL_CAP_TESTING_WITHDRAW), 0);
    EXPECT_THAT(told(), IsEmpty());
    ASSERT_EQ(trel_cap_testing_check(chassis, TREL_CAP_TESTING_LC, 17, TREL_CAP_TESTING_PASS), 0);
    EXPECT_THAT(told(), ElementsAre("fe_node 17 ready"));
}

TEST_F(Cards, AreTheDevicesWhenItIsReady) {
    start_application();
    ASSERT_EQ(trel_cap_testing_scope_ready(chassis, "glb", 1), 0);
    EXPECT_THAT(told(), ElementsAre("system"));
    ASSERT_EQ(trel_cap_testing_scope_ready(chassis, "fab", 1), 0);
    EXPECT_THAT(told(), ElementsAre("fab"));
    ASSERT_EQ(trel_cap_testing_scope_ready(chassis, "cm", 1), 0);
    EXPECT_THAT(told(), ElementsAre("cm"));
    uint8_t ready = 0;
    ASSERT_EQ(trel_cap_ce_get_glb_ready(client, &ready), 0);
    EXPECT_EQ(ready, 1);
    ASSERT_EQ(trel_cap_testing_scope_ready(chassis, "glb", 0), 0);
    ASSERT_EQ(trel_cap_ce_get_glb_ready(client, &ready), 0);
    EXPECT_EQ(ready, 0);
}

TEST_F(Cards, ArePlayedFromAFile) {
    const test_support::PrivateDirectory directory;
    const std::string file = directory.file("lab.yaml");
    std::ofstream(file) << "cards: {lc1: {class: lc, node: 17}}\n"
                           "before: [{insert: lc1}, {check: lc1, result: pass}]\n"
                           "steps: [{at: 1h, ready: lc1}]\n";
    start_application();
    ASSERT_EQ(trel_cap_testing_play_file(chassis, file.c_str()), 0) << error();
    EXPECT_THAT(told(), ElementsAre("fe_node 17 ready")) << "without waiting";
    ASSERT_EQ(trel_cap_testing_remove(chassis, TREL_CAP_TESTING_LC, 17), 0);
    told();
    ASSERT_EQ(trel_cap_testing_play_file_at(chassis, file.c_str(), 1e6), 0) << error();
    EXPECT_THAT(told(), ElementsAre("fe_node 17 ready"));
}

// They are the client's alone: who is there before the chassis stops is told of what goes.
TEST_F(Cards, AreGoneWhenTheChassisStops) {
    start_application();
    TrelCapTesting *other = trel_cap_testing_start();
    EXPECT_STRNE(trel_cap_testing_store(other), trel_cap_testing_store(chassis));
    ASSERT_EQ(trel_cap_testing_play(other, "steps: [{scope_ready: glb}]"), 0);
    EXPECT_THAT(told(), IsEmpty()) << "of another chassis";
    MomClient *follower = ox_mom_client_create(trel_cap_testing_store(other));
    uint8_t ready = 0;
    ASSERT_EQ(ox_mom_client_connect_sync(follower, 28), 0);
    ASSERT_EQ(trel_cap_ce_get_glb_ready(follower, &ready), 0);
    EXPECT_EQ(ready, 1);
    trel_cap_testing_stop(other);
    ASSERT_EQ(trel_cap_ce_get_glb_ready(follower, &ready), 0);
    EXPECT_EQ(ready, 0);
    ox_mom_client_destroy(follower);
    trel_cap_testing_stop(nullptr);
}

// Every function, compiled as C; the number of the first call that has failed.
TEST_F(Cards, AreMovedFromC) {
    const test_support::PrivateDirectory directory;
    const std::string file = directory.file("empty.yaml");
    std::ofstream(file) << "steps: []\n";
    start_application();
    EXPECT_EQ(every_call_from_c(chassis, client, file.c_str()), 0) << error();
    EXPECT_THAT(events(), ElementsAre("fe_node 17 ready", "fe_node 17 not ready"));
}

}  // namespace

}  // namespace testing_test
