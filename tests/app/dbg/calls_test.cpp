// Which calls of the commands go through exported names, and what a collection asks of the system.

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

#include "interposed.h"
#include "interposed_system.h"
#include "nodes.h"
#include "printed.h"
#include "private_root.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class DiagnosisCalls : public NodeListTest {
protected:
    interposed::Script &script = interposed::script();

    DiagnosisCalls() {
        interposed::reset();
        g_trel_cap_global = client;
        g_trel_cap_zlog_level = 1;
    }
};

TEST_F(DiagnosisCalls, StartUpRegistersWithItsClientAndApplicationName) {
    test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
    g_trel_cap_global = nullptr;
    for (const int32_t answer : {0, -11, -4, 1}) {
        script.app_name = std::string(200, 'n');
        // After trel_cap_get_app_name, trel_cap_zlog_init, trel_cap_sw_init and trel_cap_sub.
        trel_cap_dbg_inited = 1;
        script.answers = {std::nullopt, std::nullopt, 0, answer};
        EXPECT_EQ(trel_cap_init(client, "router"), 0);
        EXPECT_EQ(g_trel_cap_global, client);
        EXPECT_EQ(script.calls.back(), "trel_cap_quib_init");
        EXPECT_THAT(script.arguments, ElementsAre(client));
        EXPECT_EQ(script.zlog_init_name, std::string(127, 'n'));
        interposed::reset();
        g_trel_cap_global = nullptr;
    }
}

struct CapabilityCall {
    const char *function;  // that the command calls
    int32_t (*run)(const char *url);
    std::vector<int32_t> integers;  // that it is given
};

const CapabilityCall kCapabilityCalls[] = {
    {"trel_cap_ce_set_g_cap_state", [](const char *url) { return trel_cap_dbg_ce_set_g_cap_state(url, 5); }, {5}},
    {"trel_cap_ce_set_g_cap_bool", [](const char *url) { return trel_cap_dbg_ce_set_g_cap_bool(url, 6); }, {6}},
    {"trel_cap_ce_set_g_cap_int32", [](const char *url) { return trel_cap_dbg_ce_set_g_cap_int32(url, 7); }, {7}},
    {"trel_cap_ce_get_g_cap_int32", trel_cap_dbg_ce_get_g_cap_int32, {}},
    {"trel_cap_ce_get_g_cap_bool", trel_cap_dbg_ce_get_g_cap_bool, {}},
    {"trel_cap_ce_get_fe_cap_bool", [](const char *url) { return trel_cap_dbg_ce_get_fe_cap_bool(-8, url); }, {-8}},
    {"trel_cap_ce_get_fe_cap_int32", [](const char *url) { return trel_cap_dbg_ce_get_fe_cap_int32(-9, url); }, {-9}},
    {"trel_cap_ce_get_fe_cap_str",
     [](const char *url) { return trel_cap_dbg_ce_get_fe_cap_str(-10, url); },
     {-10, 256}},
};

class CapabilityCalls : public DiagnosisCalls, public ::testing::WithParamInterface<CapabilityCall> {
protected:
    static constexpr const char *kUrl = "/a";

    // That many calls since the last look, the latest with the client, the URL and the integers.
    void expect_calls(size_t count) {
        EXPECT_EQ(script.calls, std::vector<std::string>(count, GetParam().function));
        const std::vector<int32_t> &integers = GetParam().integers;
        ASSERT_GE(script.log_levels.size(), integers.size());
        EXPECT_TRUE(std::equal(integers.rbegin(), integers.rend(), script.log_levels.rbegin()));
        ASSERT_GE(script.arguments.size(), 2U);
        EXPECT_EQ(script.arguments[0], client);
        EXPECT_EQ(script.arguments[1], kUrl);
        script.calls.clear();
    }
    Printed run(const std::vector<int32_t> &answers) {
        script.answers.assign(answers.begin(), answers.end());
        return print([] { return GetParam().run(kUrl); });
    }
    bool printed_failure(const Printed &printed, const std::string &line) const {
        return printed.output.substr(printed.output.find('\n') + 1) == line;
    }
};

INSTANTIATE_TEST_SUITE_P(Commands, CapabilityCalls, ::testing::ValuesIn(kCapabilityCalls),
                         [](const auto &command) { return command.param.function; });

TEST_P(CapabilityCalls, AreMadeOnceWhenTheySucceed) {
    EXPECT_EQ(run({0}).status, 0);
    expect_calls(1);
}

TEST_P(CapabilityCalls, AreMadeAgainTwiceWhenTheyFail) {
    for (const int32_t level : {0, 1}) {
        g_trel_cap_zlog_level = level;
        const Printed printed = run({-1, -2, -3});
        EXPECT_EQ(printed.status, -3);
        EXPECT_TRUE(printed_failure(printed, "failed,rv -2\n")) << printed;
        expect_calls(3);
    }
}

TEST_P(CapabilityCalls, MaySucceedAtTheSecondOrThirdAttempt) {
    Printed printed = run({3, 0, 4});
    EXPECT_EQ(printed.status, 4);
    EXPECT_TRUE(printed_failure(printed, "failed,rv 0\n")) << printed;
    printed = run({-5, 6, 0});
    EXPECT_EQ(printed.status, 0);
    EXPECT_TRUE(printed_failure(printed, "failed,rv 6\n")) << printed;
    expect_calls(6);
}

TEST_F(DiagnosisCalls, EveryDumpIsMadeOfTheSingleOnes) {
    script.answers = {std::nullopt, -1, std::nullopt, std::nullopt, 7};
    EXPECT_EQ(print(trel_cap_dbg_dump_all).status, 7);
    EXPECT_THAT(script.calls,
                ElementsAre("trel_cap_dbg_dump_all", "trel_cap_dbg_dump_status", "trel_cap_sw_dump_all_node",
                            "trel_cap_sw_node_walk_cur", "trel_cap_dbg_show_memory"));
}

TEST_F(DiagnosisCalls, TheMemoryIsCountedByAWalkWithTheVisitor) {
    add_nodes({node_record(1), node_record(2)});
    interposed::reset();
    EXPECT_EQ(print(trel_cap_dbg_show_memory).status, 0);
    EXPECT_THAT(script.calls,
                ElementsAre("trel_cap_dbg_show_memory", "trel_cap_sw_node_walk_cur", "trel_cap_sw_dump_node",
                            "trel_cap_calc_node_list_mem", "trel_cap_sw_dump_node", "trel_cap_calc_node_list_mem"));
}

// What a collection does, in order. Nothing of it happens, except that the dump is printed.
class CollectionCalls : public DiagnosisCalls {
protected:
    static std::string open_call(const std::string &path) {
        return "open(" + path + text(", %#x, 0666)", static_cast<unsigned>(O_RDWR | O_CREAT));
    }
    Printed collect(const interposed::SystemScript &answers) {
        script.app_name = "router";
        return collect_as_named(answers);
    }
    Printed collect_as_named(const interposed::SystemScript &answers) {
        return print([&] {
            interposed::ScriptedSystem system;
            *system.operator->() = answers;
            const int32_t status = trel_cap_dbg_collect();
            calls = system->calls;
            return status;
        });
    }
    std::vector<std::string> calls;
    const std::string path_ = "/data/collect//data/collect/trel_cap_router.log";
};

TEST_F(CollectionCalls, RedirectTheDumpAndRestoreTheOutput) {
    const Printed printed = collect({.dup_answer = 71, .open_answer = 72});
    EXPECT_EQ(printed.status, 0);
    EXPECT_THAT(printed.output, ::testing::StartsWith("g_trel_cap_global "));
    EXPECT_THAT(calls, ElementsAre("system(mkdir -p /data/collect)", "dup(1)", open_call(path_), "dup2(72, 1)",
                                   "close(72)", "fflush(stdout)", "dup2(71, 1)", "close(71)"));
    EXPECT_EQ(script.app_name_pid, getpid());
    EXPECT_EQ(script.app_name_size, 128U);
    EXPECT_THAT(script.calls, ::testing::IsSupersetOf({"trel_cap_get_app_name", "trel_cap_dbg_dump_all"}));
}

TEST_F(CollectionCalls, RedirectNothingWhenTheFileDoesNotOpen) {
    for (const int answer : {-1, -2}) {
        EXPECT_THAT(collect({.dup_answer = 71, .open_answer = answer}).output,
                    ::testing::StartsWith(path_ + " open fail\r\ng_trel_cap_global "));
        EXPECT_THAT(calls, ElementsAre("system(mkdir -p /data/collect)", "dup(1)", open_call(path_), "fflush(stdout)",
                                       "dup2(71, 1)", "close(71)"));
    }
}

TEST_F(CollectionCalls, TakeDescriptor0ForAFile) {
    EXPECT_THAT(collect({.dup_answer = 71, .open_answer = 0}).output, ::testing::StartsWith("g_trel_cap_global "));
    EXPECT_THAT(calls, ::testing::IsSupersetOf({"dup2(0, 1)", "close(0)"}));
}

TEST_F(CollectionCalls, ReturnWhatTheLastCloseReturned) {
    EXPECT_EQ(collect({.dup_answer = 71, .open_answer = 72, .close_answers = {-3, 9}}).status, 9);
    EXPECT_EQ(collect({.dup_answer = 71, .open_answer = -1, .close_answers = {-5}}).status, -5);
}

TEST_F(CollectionCalls, GoOnWhateverTheOthersAnswer) {
    for (const int answer : {-1, 1}) {
        const interposed::SystemScript all{.system_answer = answer,
                                           .dup_answer = answer,
                                           .open_answer = 72,
                                           .dup2_answer = answer,
                                           .close_answers = {-1}};
        script.answers = {std::nullopt, -9};
        EXPECT_EQ(collect(all).status, 0);
        EXPECT_THAT(calls,
                    ElementsAre("system(mkdir -p /data/collect)", "dup(1)", open_call(path_), "dup2(72, 1)",
                                "close(72)", "fflush(stdout)", text("dup2(%d, 1)", answer), text("close(%d)", answer)));
    }
}

TEST_F(CollectionCalls, CutTheOpenPathAt127Bytes) {
    std::string name(120, 'a');
    name += "bcdefgh";
    script.app_name = name;
    const std::string cut = ("/data/collect//data/collect/trel_cap_" + name + ".log").substr(0, 127);
    EXPECT_THAT(collect_as_named({.dup_answer = 71, .open_answer = -1}).output,
                ::testing::StartsWith(cut + " open fail\r\n"));
    EXPECT_THAT(calls, ::testing::Contains(open_call(cut)));
}

}  // namespace
}  // namespace trel_cap_tests
