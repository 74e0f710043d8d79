// The flags that tell which records have been read, and the tests that combine them.

#include <thread>

#include "library_test.h"

namespace trel_cap_tests {
namespace {

using Flag = uint8_t &(*)();

uint8_t &install() { return g_trel_cap_install_validated; }
uint8_t &rec_disable() { return g_trel_cap_rec_disable_validated; }
uint8_t &fe_node() { return g_trel_cap_fe_node_validated; }
uint8_t &cm_node() { return g_trel_cap_cm_node_validated; }
uint8_t &glb_ready() { return g_trel_cap_glb_ready_validated; }
uint8_t &fab_glb_ready() { return g_trel_cap_fab_glb_ready_validated; }
uint8_t &cm_glb_ready() { return g_trel_cap_cm_glb_ready_validated; }
uint8_t &hps_glb_ready() { return g_trel_cap_hps_glb_ready_validated; }

const Flag kFlags[] = {install, rec_disable, fe_node, cm_node, glb_ready, fab_glb_ready, cm_glb_ready, hps_glb_ready};

// A class's test and the flags that it looks at, in its order.
struct ClassTest {
    const char *name;
    int32_t (*is_all_validated)();
    std::vector<Flag> flags;
};

class Validated : public LibraryTest, public ::testing::WithParamInterface<ClassTest> {
protected:
    const ClassTest &tested = GetParam();

    static void set_all(uint8_t value) {
        for (const Flag flag : kFlags) {
            flag() = value;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(
    Classes, Validated,
    ::testing::Values(ClassTest{"Fe", trel_cap_fe_ready_is_all_validated, {install, glb_ready, fe_node, rec_disable}},
                      ClassTest{"Fab", trel_cap_fab_ready_is_all_validated, {install, fab_glb_ready, fe_node}},
                      ClassTest{"Cm", trel_cap_cm_ready_is_all_validated, {install, cm_glb_ready, cm_node}},
                      ClassTest{"Hps", trel_cap_hps_ready_is_all_validated, {install, hps_glb_ready, fe_node}}),
    [](const auto &each) { return each.param.name; });

// Every combination of all flags.
TEST_P(Validated, NeedsTheFlagsOfItsClass) {
    for (unsigned combination = 0; combination < 256; ++combination) {
        bool all = true;
        for (unsigned i = 0; i < 8; ++i) {
            kFlags[i]() = static_cast<uint8_t>(combination >> i & 1);
        }
        for (const Flag flag : tested.flags) {
            all = all && flag() != 0;
        }
        EXPECT_EQ(tested.is_all_validated(), all ? 1 : 0) << combination;
    }
    EXPECT_THAT(platform.events(), ::testing::IsEmpty());
}

TEST_P(Validated, IsTheValueOfTheLastFlagTested) {
    set_all(9);
    for (size_t i = 0; i < tested.flags.size(); ++i) {
        tested.flags[i]() = static_cast<uint8_t>(200 + i);
    }
    EXPECT_EQ(tested.is_all_validated(), 200 + static_cast<int32_t>(tested.flags.size()) - 1);
}

TEST_P(Validated, IsOverAfterClearing) {
    set_all(1);
    EXPECT_NE(tested.is_all_validated(), 0);
    trel_cap_fe_ready_clear_all_validated_flag();
    EXPECT_EQ(tested.is_all_validated(), 0);
}

TEST_P(Validated, IsAboutTheCallingThread) {
    set_all(1);
    std::thread([this] {
        EXPECT_EQ(tested.is_all_validated(), 0);
        set_all(1);
        EXPECT_NE(tested.is_all_validated(), 0);
        trel_cap_fe_ready_clear_all_validated_flag();
    }).join();
    EXPECT_NE(tested.is_all_validated(), 0);
}

using ValidatedFlags = LibraryTest;

TEST_F(ValidatedFlags, AreZeroAtFirstOnEachThread) {
    const auto expect_zero = [] {
        for (const Flag flag : kFlags) {
            EXPECT_EQ(flag(), 0);
        }
        EXPECT_EQ(g_trel_g_cap_calc_ready, 0);
        EXPECT_EQ(g_trel_g_fab_cap_calc_ready, 0);
        EXPECT_EQ(g_trel_g_cm_cap_calc_ready, 0);
        EXPECT_EQ(g_trel_g_hps_cap_calc_ready, 0);
    };
    expect_zero();
    std::thread(expect_zero).join();
}

TEST_F(ValidatedFlags, AreClearedTogetherAndAlone) {
    for (const Flag flag : kFlags) {
        flag() = 1;
    }
    g_trel_g_cap_calc_ready = g_trel_g_fab_cap_calc_ready = g_trel_g_cm_cap_calc_ready = g_trel_g_hps_cap_calc_ready =
        1;
    g_trel_cap_flag = g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = g_trel_lc_and_hps_cap_flag = 1;
    g_trel_cap_config_reconnect = 1;
    trel_cap_fe_ready_clear_all_validated_flag();
    for (const Flag flag : kFlags) {
        EXPECT_EQ(flag(), 0);
    }
    EXPECT_EQ(g_trel_g_cap_calc_ready & g_trel_g_fab_cap_calc_ready & g_trel_g_cm_cap_calc_ready, 1);
    EXPECT_EQ(g_trel_g_hps_cap_calc_ready, 1);
    EXPECT_EQ(g_trel_cap_flag & g_trel_fab_cm_cap_flag & g_trel_hps_cap_flag & g_trel_lc_and_hps_cap_flag, 1U);
    EXPECT_EQ(g_trel_cap_config_reconnect, 1);
    EXPECT_THAT(platform.events(), ::testing::IsEmpty());
}

}  // namespace
}  // namespace trel_cap_tests
