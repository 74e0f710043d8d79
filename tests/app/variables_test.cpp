// The exported variables are the same to C, to C++ and to the library.

#include "variables.h"

#include <thread>

#include "library_test.h"

namespace trel_cap_tests {
namespace {

using Variables = LibraryTest;

void expect_the_same_to_c() {
    const library_variables seen = library_variables_of_this_thread();
    EXPECT_EQ(seen.global, &g_trel_cap_global);
    EXPECT_EQ(seen.dbg_inited, &trel_cap_dbg_inited);
    EXPECT_EQ(seen.config_reconnect, &g_trel_cap_config_reconnect);
    EXPECT_EQ(seen.zlog_level, &g_trel_cap_zlog_level);
    EXPECT_EQ(seen.zlog_category, &g_trel_cap_zlog_category);
    EXPECT_EQ(seen.callback_reg_mem, &g_trel_callback_reg_mem);
    EXPECT_EQ(seen.nodes, &cap_nodes_list);
    EXPECT_THAT(seen.flags, ::testing::ElementsAre(&g_trel_cap_flag, &g_trel_fab_cm_cap_flag, &g_trel_hps_cap_flag,
                                                   &g_trel_lc_and_hps_cap_flag));
    EXPECT_THAT(seen.validated,
                ::testing::ElementsAre(&g_trel_cap_install_validated, &g_trel_cap_rec_disable_validated,
                                       &g_trel_cap_fe_node_validated, &g_trel_cap_cm_node_validated,
                                       &g_trel_cap_glb_ready_validated, &g_trel_cap_fab_glb_ready_validated,
                                       &g_trel_cap_cm_glb_ready_validated, &g_trel_cap_hps_glb_ready_validated));
    EXPECT_THAT(seen.calc_ready, ::testing::ElementsAre(&g_trel_g_cap_calc_ready, &g_trel_g_fab_cap_calc_ready,
                                                        &g_trel_g_cm_cap_calc_ready, &g_trel_g_hps_cap_calc_ready));
}

TEST_F(Variables, AreTheSameToC) {
    expect_the_same_to_c();
    std::thread(expect_the_same_to_c).join();
}

TEST_F(Variables, AreThoseOfTheLibrary) {
    trel_cap_dbg_inited = 1;
    platform.hgetall_sync.always(HashAnswer::found(cap_table("/a", {{6, 1}}), {6}));
    uint8_t value = 0;
    EXPECT_EQ(read_through_c(client, "/a", &value), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(*library_variables_of_this_thread().global, client);
}

TEST_F(Variables, OfAThreadAreItsOwn) {
    const library_variables here = library_variables_of_this_thread();
    std::thread([&here] {
        const library_variables there = library_variables_of_this_thread();
        EXPECT_NE(here.global, there.global);
        EXPECT_NE(here.dbg_inited, there.dbg_inited);
        EXPECT_NE(here.config_reconnect, there.config_reconnect);
        EXPECT_NE(here.nodes, there.nodes);
        EXPECT_NE(here.flags[0], there.flags[0]);
        EXPECT_NE(here.validated[0], there.validated[0]);
        EXPECT_NE(here.calc_ready[0], there.calc_ready[0]);
        EXPECT_EQ(here.zlog_level, there.zlog_level);
        EXPECT_EQ(here.zlog_category, there.zlog_category);
        EXPECT_EQ(here.callback_reg_mem, there.callback_reg_mem);
    }).join();
}

}  // namespace
}  // namespace trel_cap_tests
