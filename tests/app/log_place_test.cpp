// The line that a message names leads into the function that it names, also where a helper of all has found the fault.

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

#include "library_test.h"

namespace trel_cap_tests {
namespace {

struct Body {
    std::string file;
    long first = 0;
    long last = 0;
};

// Where the functions of a source folder are defined.
std::map<std::string, Body> definitions(const std::string &folder) {
    static const std::regex beginning("^[A-Za-z].*?(trel_cap_[a-z0-9_]+)\\(.*[{,]$");
    std::map<std::string, Body> found;
    for (const auto &file : std::filesystem::directory_iterator(std::filesystem::path(PROJECT_SOURCE_DIR) / folder)) {
        std::ifstream source(file.path());
        std::string function;
        long number = 0;
        for (std::string line; std::getline(source, line);) {
            ++number;
            std::smatch match;
            if (std::regex_match(line, match, beginning)) {
                function = match[1];
                found[function] = {file.path().filename(), number, number};
            } else if (line == "}" && !function.empty()) {
                found[function].last = number;
                function.clear();
            }
        }
    }
    return found;
}

class LogPlace : public LibraryTest {
protected:
    LogPlace() { trel_cap_dbg_inited = 1; }

    // Of all messages since the latest look.
    void expect_in_their_functions(size_t at_least) {
        const std::vector<Log> logs = platform.logs();
        const std::vector<long> lines = platform.log_lines();
        ASSERT_EQ(logs.size(), lines.size());
        EXPECT_GE(logs.size(), at_least);
        for (size_t i = 0; i < logs.size(); ++i) {
            const auto functions = definitions(logs[i].place);
            const auto function = functions.find(logs[i].function);
            ASSERT_NE(function, functions.end()) << logs[i];
            const Body &body = function->second;
            EXPECT_TRUE(body.first <= lines[i] && lines[i] <= body.last)
                << logs[i] << " names line " << lines[i] << ", " << body.file << " has the function from " << body.first
                << " to " << body.last;
        }
        platform.forget();
    }
};

TEST_F(LogPlace, OfARefusedArgumentIsInTheFunctionThatRefusesIt) {
    g_trel_cap_zlog_level = 1;
    uint8_t boolean = 0;
    int32_t integer = 0;
    uint32_t length = 0;
    char text[8] = "";
    const std::string long_url = url_of_length(256);

    trel_cap_init(client, nullptr);
    trel_cap_init(nullptr, "router");
    trel_cap_get_app_name(1, nullptr, 8);
    trel_cap_zlog_init(nullptr);
    trel_cap_reconnect_db_config(nullptr, 1, 1);
    trel_cap_set_g_cap_db_reconnect_cb(nullptr, nullptr, nullptr);
    trel_cap_sub(nullptr);
    trel_cap_quib_init(nullptr, "router");
    trel_cap_quib_init(client, nullptr);
    expect_in_their_functions(9);

    trel_cap_ce_get_g_cap_bool(nullptr, "/a", &boolean);
    trel_cap_ce_get_g_cap_int32(client, nullptr, &integer);
    trel_cap_ce_get_cm_g_cap_bool(client, long_url.c_str(), &boolean);
    trel_cap_ce_get_fe_cap_int32(client, 1, "/a", nullptr);
    trel_cap_ce_get_cm_cap_str(client, 1, "/a", 0, text, &length);
    trel_cap_ce_set_g_cap_state(nullptr, "/a", 1);
    trel_cap_ce_subscribe_g_cap_bool_ext(client, "/a", nullptr, nullptr);
    trel_cap_ce_get_g_cap_bool_by_pmsg(nullptr, 8, text, &boolean, &length);
    trel_cap_ce_get_hps_glb_ready(client, nullptr);
    expect_in_their_functions(9);

    trel_cap_event_callback_reg(nullptr, nullptr, 0);
    trel_cap_sw_node_init({}, nullptr);
    trel_cap_judge_node_ready(nullptr, nullptr);
    trel_cap_notify_pre_install_node_ready(nullptr, nullptr);
    trel_cap_calc_node_list_mem(nullptr, nullptr);
    for (const auto processor : {trel_cap_install_node_pmsg_f, trel_cap_app_df_pmsg_f, trel_cap_fe_node_pmsg_f,
                                 trel_cap_ce_cm_glb_ready_pmsg_f}) {
        processor(client, nullptr);
    }
    trel_cap_install_node_pmsg_f(client, Message(3).get());
    expect_in_their_functions(10);
}

TEST_F(LogPlace, OfARepeatedFailureIsInTheFunctionThatReportsIt) {
    g_trel_cap_zlog_level = 1;
    g_trel_cap_flag = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE);
    platform.subscribe.always(-110);
    trel_cap_sub(client);
    expect_in_their_functions(1);
    trel_cap_init(client, "router");
    trel_cap_reconnect_db_config(client, 28, 1);
    expect_in_their_functions(2);
    platform.scan_sync.always({-110, {}});
    trel_cap_install_node_pmsg_f(client, Message(29).get());
    trel_cap_hps_node_pmsg_f(client, Message(29).get());
    expect_in_their_functions(2);
    uint8_t value = 0;
    trel_cap_ce_get_glb_view_bool(client, nullptr, &value);
    trel_cap_ce_set_cap_view_state(client, nullptr, 1);
    expect_in_their_functions(8);
    g_trel_cap_flag = 0;
}

}  // namespace
}  // namespace trel_cap_tests
