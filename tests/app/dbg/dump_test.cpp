// The dumps: the thread's status, the memory estimate, and all of it.

#include <cstdio>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

#include "nodes.h"
#include "printed.h"

namespace trel_cap_tests {
namespace {

using ::testing::IsEmpty;

std::string status_text(const std::vector<std::string> &values) {
    const char *const names[] = {"g_trel_cap_global",
                                 "trel_cap_dbg_inited",
                                 "g_trel_cap_zlog_level",
                                 "g_trel_g_cap_calc_ready",
                                 "g_trel_cap_flag",
                                 "g_trel_cap_config_reconnect",
                                 "g_trel_cap_install_validated",
                                 "g_trel_cap_fe_node_validated",
                                 "g_trel_cap_glb_ready_validated"};
    std::string lines;
    size_t i = 0;
    for (const char *name : names) {
        lines += std::string(name) + ' ' + values.at(i++) + '\n';
    }
    return lines;
}

std::string memory_text(size_t list, size_t total) {
    return text("=========show memory================\nnode_list memory is %zu\ntotal memory is %zu\n", list, total);
}

std::string heading(uint32_t flag) {
    return text("\n===================CURRENT_NODE_INFO===================\n"
                "g_trel_cap_flag is %d, node_info is valid when bit 1 is set\n",
                static_cast<int32_t>(flag));
}

class Dump : public NodeListTest {
protected:
    // Different values for all that is shown, and for what is kept beside it.
    void set_state() const {
        g_trel_cap_global = client;
        trel_cap_dbg_inited = 1;
        g_trel_cap_zlog_level = 2;
        g_trel_g_cap_calc_ready = 3;
        g_trel_cap_flag = 4;
        g_trel_cap_config_reconnect = 5;
        g_trel_cap_install_validated = 6;
        g_trel_cap_fe_node_validated = 7;
        g_trel_cap_glb_ready_validated = 8;
        g_trel_g_fab_cap_calc_ready = g_trel_g_cm_cap_calc_ready = g_trel_g_hps_cap_calc_ready = 91;
        g_trel_fab_cm_cap_flag = g_trel_hps_cap_flag = g_trel_lc_and_hps_cap_flag = 92;
        g_trel_cap_rec_disable_validated = g_trel_cap_cm_node_validated = g_trel_cap_fab_glb_ready_validated = 93;
        g_trel_cap_cm_glb_ready_validated = g_trel_cap_hps_glb_ready_validated = 94;
    }
    std::string status_of_set_state() const {
        return status_text({text("%p", static_cast<void *>(client)), "1", "2", "3", "4", "5", "6", "7", "8"});
    }
};

using DumpStatus = Dump;

TEST_F(DumpStatus, IsNineLinesAndReturnsTheLengthOfTheLast) {
    set_state();
    EXPECT_EQ(print(trel_cap_dbg_dump_status), (Printed{33, status_of_set_state()}));
    g_trel_cap_glb_ready_validated = 255;
    EXPECT_EQ(print(trel_cap_dbg_dump_status).status, 35);
    EXPECT_THAT(platform.events(), IsEmpty());
}

TEST_F(DumpStatus, IsTheCallingThreads) {
    set_state();
    Printed printed;
    std::thread([&] { printed = print(trel_cap_dbg_dump_status); }).join();
    EXPECT_EQ(printed, (Printed{33, status_text({"(nil)", "0", "2", "0", "0", "0", "0", "0", "0"})}));
}

TEST_F(DumpStatus, ShowsTheLevelAndTheFlagsAsSignedNumbers) {
    g_trel_cap_zlog_level = -1;
    g_trel_cap_flag = 0x80000000U;
    const std::string output = print(trel_cap_dbg_dump_status).output;
    EXPECT_THAT(output, ::testing::HasSubstr("\ng_trel_cap_zlog_level -1\n"));
    EXPECT_THAT(output, ::testing::HasSubstr("\ng_trel_cap_flag -2147483648\n"));
}

// Standard output with nothing between it and a full device.
TEST_F(DumpStatus, TellsThatTheLastLineCouldNotBePrinted) {
    std::fflush(stdout);
    const int kept = dup(STDOUT_FILENO);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    dup2(full, STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const int32_t result = trel_cap_dbg_dump_status();
    std::clearerr(stdout);
    dup2(kept, STDOUT_FILENO);
    close(kept);
    close(full);
    EXPECT_LT(result, 0);
}

using ShowMemory = Dump;

TEST_F(ShowMemory, OfAnEmptyList) {
    at_every_log_level([this] {
        EXPECT_EQ(print(trel_cap_dbg_show_memory), (Printed{0, memory_text(8, 22)}));
        EXPECT_THAT(platform.events(), IsEmpty());
    });
}

TEST_F(ShowMemory, CountsEachNode) {
    add_nodes({full_record(7), full_record(-7), node_record(7)});
    at_every_log_level([this] {
        EXPECT_EQ(print(trel_cap_dbg_show_memory), (Printed{0, memory_text(152, 166)}));
        expect_events({dumped(full_record(-7)), dumped(full_record(7)), dumped(node_record(7))});
    });
}

TEST_F(ShowMemory, OfTheCallingThreadsList) {
    add_nodes({node_record(1)});
    Printed printed;
    std::thread([&] { printed = print(trel_cap_dbg_show_memory); }).join();
    EXPECT_EQ(printed, (Printed{0, memory_text(8, 22)}));
}

TEST_F(ShowMemory, TheVisitorAdds48ForAnEntry) {
    CapNode node{};
    size_t counter = SIZE_MAX - 50;
    EXPECT_EQ(trel_cap_calc_node_list_mem(&node, &counter), 0);
    EXPECT_EQ(counter, SIZE_MAX - 2);
    EXPECT_THAT(platform.events(), IsEmpty());
}

TEST_F(ShowMemory, TheVisitorTestsItsArgumentsInOrder) {
    const auto error = [](const char *message) {
        return Log{100, "trel_cap_calc_node_list_mem", message, kDiagnostics};
    };
    CapNode node{};
    size_t counter = 5;
    at_every_log_level([&] {
        EXPECT_EQ(trel_cap_calc_node_list_mem(nullptr, nullptr), -4);
        expect_events({error("pos NULL pointer, addr error!\n")});
        EXPECT_EQ(trel_cap_calc_node_list_mem(nullptr, &counter), -4);
        expect_events({error("pos NULL pointer, addr error!\n")});
        EXPECT_EQ(trel_cap_calc_node_list_mem(&node, nullptr), -4);
        expect_events({error("param NULL pointer, addr error!\n")});
    });
    EXPECT_EQ(counter, 5U);
}

using DumpAll = Dump;

TEST_F(DumpAll, IsTheStatusTheNodesAndTheMemory) {
    set_state();
    add_nodes({full_record(7), full_record(-7)});
    EXPECT_EQ(print(trel_cap_dbg_dump_all),
              (Printed{0, status_of_set_state() + heading(4) + dump_line(full_record(-7)) + dump_line(full_record(7)) +
                              memory_text(104, 118)}));
}

TEST_F(DumpAll, OfAThreadThatKnowsNothing) {
    set_state();
    add_nodes({node_record(1)});
    Printed printed;
    std::thread([&] { printed = print(trel_cap_dbg_dump_all); }).join();
    EXPECT_EQ(printed, (Printed{0, status_text({"(nil)", "0", "2", "0", "0", "0", "0", "0", "0"}) + heading(0) +
                                       memory_text(8, 22)}));
}

}  // namespace
}  // namespace trel_cap_tests
