// A program that has one function of its own in place of the library's, and no other: it is called for every entry of
// the node list, also where nothing is logged and the library's own could be left out unnoticed. Which one is a
// matter of the build: SINGLE_WALK, SINGLE_DUMP, SINGLE_JUDGE_NODE_READY or SINGLE_JUDGE_NODE_REAL_TIME.

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "trel_cap/trel_cap.h"

namespace {

int calls = 0;

template <class Function>
Function *behind(Function *, const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// Of the function, in the test below.
struct Expected {
    int in_a_message;
    int in_a_question;
};

}  // namespace

#define BEHIND(function) behind(&(function), #function)

#if defined(SINGLE_WALK)
constexpr Expected kExpected{1, 1};
void trel_cap_sw_node_walk_cur(CapNodeVisitor visitor, void *argument) {
    ++calls;
    BEHIND(trel_cap_sw_node_walk_cur)(visitor, argument);
}
#elif defined(SINGLE_DUMP)
constexpr Expected kExpected{1 + 3, 3};  // and once for the message's own entry
void trel_cap_sw_dump_node(CapNodeRecord record) {
    ++calls;
    BEHIND(trel_cap_sw_dump_node)(record);
}
#elif defined(SINGLE_JUDGE_NODE_READY)
constexpr Expected kExpected{3, 0};
int32_t trel_cap_judge_node_ready(CapNode *pos, void *param) {
    ++calls;
    return BEHIND(trel_cap_judge_node_ready)(pos, param);
}
#elif defined(SINGLE_JUDGE_NODE_REAL_TIME)
constexpr Expected kExpected{0, 3};
int32_t trel_cap_judge_node_real_time(CapNode *pos, void *param) {
    ++calls;
    return BEHIND(trel_cap_judge_node_real_time)(pos, param);
}
#endif

namespace {

TEST(SingleFunction, IsCalledForEveryEntry) {
    for (const int32_t node : {1, 2, 3}) {
        CapNodeRecord record{};
        record.node = node;
        record.dm_install = 1;
        record.app_df_chk = 1;
        ASSERT_NE(trel_cap_sw_node_init_cur(record), nullptr);
    }
    CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
    index.node = 2;
    CapFeReady record = CAP_FE_READY__INIT;
    record.index = &index;
    record.node_type = 3;
    MomHashResult result{};
    result.record = &record.base;
    MomMsg message{nullptr, TREL_CAP_DB_CAPABILITIES, OX_MOM_CMD_DELIVERED, &result};
    for (const int32_t level : {0, 1}) {
        g_trel_cap_zlog_level = level;
        calls = 0;
        EXPECT_EQ(trel_cap_fe_node_pmsg_f(nullptr, &message), 0);
        EXPECT_EQ(calls, kExpected.in_a_message);
        calls = 0;
        EXPECT_EQ(trel_cap_is_preinstall_card(3), 1);
        EXPECT_EQ(calls, kExpected.in_a_question);
    }
}

}  // namespace
