// The library's commands as operators reach them: over the console of this project's platform.

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "private_root.h"
#include "quib/protocol.h"
#include "trel_cap/trel_cap.h"

namespace trel_cap_tests {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

constexpr char kMemoryOfNone[] = "=========show memory================\n"
                                 "node_list memory is 8\n"
                                 "total memory is 22\n";

// The name by which the library knows this program.
std::string program_name() { return fs::read_symlink("/proc/self/exe").filename(); }
std::string module_name() { return "trel_cap_" + program_name(); }
std::string socket_path(const std::string &module) { return quib::socket_directory() + "/" + module; }

struct Shown {
    std::string text;  // output and diagnostics
    std::string exit_code;

    bool operator==(const Shown &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const Shown &shown) {
        return out << shown.exit_code << " \"" << shown.text << '"';
    }
};

// A client on a store of its own, and the library on it.
class Application {
public:
    Application() : client_(ox_mom_client_create("mem:console"), ox_mom_client_destroy) {
        g_trel_cap_global = nullptr;  // an earlier test's client, which may have had the same address
        EXPECT_EQ(trel_cap_init(client_.get(), "test"), 0);
    }

    // What an operator sees of a line that this thread's module is sent, or another of this thread's.
    Shown ask(const std::string &line, const std::string &module = module_name()) {
        const int operators_side = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        socket_path(module).copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(connect(operators_side, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << module;
        const std::string sent = line + "\n";
        EXPECT_EQ(send(operators_side, sent.data(), sent.size(), MSG_NOSIGNAL), static_cast<ssize_t>(sent.size()));
        Shown shown = answer(operators_side);
        close(operators_side);
        return shown;
    }

private:
    Shown answer(int operators_side) {
        Shown shown;
        std::string frames;
        while (shown.exit_code.empty() && ox_mom_client_process(client_.get(), 40000) > 0) {
            std::array<char, 65536> block{};
            const ssize_t length = recv(operators_side, block.data(), block.size(), MSG_DONTWAIT);
            frames.append(block.data(), length > 0 ? static_cast<size_t>(length) : 0);
            take_frames(frames, shown);
        }
        return shown;
    }

    static void take_frames(std::string &frames, Shown &shown) {
        quib::FrameHeader header{};
        while (frames.size() >= header.size()) {
            frames.copy(header.data(), header.size());
            const size_t length = quib::frame_length(header);
            if (frames.size() < header.size() + length) {
                return;
            }
            (header[0] == quib::kFrameExit ? shown.exit_code : shown.text) += frames.substr(header.size(), length);
            frames.erase(0, header.size() + length);
        }
    }

    std::unique_ptr<MomClient, void (*)(MomClient *)> client_;
};

class Console : public ::testing::Test {
protected:
    // So that a host's own level files are not seen. Where that cannot be had, there are none.
    const std::string no_private_root = test_support::enter_private_root();
    Application application;

    void SetUp() override {
        trel_cap_log_level(0);
        publish_speeds();
    }

    // A string of a node, which no function of the library writes.
    static void publish_speeds() {
        const std::unique_ptr<MomClient, void (*)(MomClient *)> publisher(ox_mom_client_create("mem:console"),
                                                                          ox_mom_client_destroy);
        ASSERT_EQ(ox_mom_client_connect_sync(publisher.get(), TREL_CAP_DB_CAPABILITIES), 0);
        CapGlbTable table;
        CapGlbTableIndex index;
        cap_glb_table__init(&table);
        cap_glb_table_index__init(&index);
        std::string url = "/port/speeds";
        std::string speeds = "10G,25G";
        index.node = 17;
        index.url = url.data();
        table.index = &index;
        table.str_value = speeds.data();
        const int32_t field = 8;
        ASSERT_EQ(ox_mom_hmset_sync(publisher.get(), TREL_CAP_DB_CAPABILITIES, &table.base, &field, 1), 0);
    }

    static std::string status() {
        std::array<char, 64> global{};
        std::snprintf(global.data(), global.size(), "g_trel_cap_global %p\n", static_cast<void *>(g_trel_cap_global));
        return std::string(global.data()) + "trel_cap_dbg_inited 1\n"
                                            "g_trel_cap_zlog_level 0\n"
                                            "g_trel_g_cap_calc_ready 0\n"
                                            "g_trel_cap_flag 0\n"
                                            "g_trel_cap_config_reconnect 0\n"
                                            "g_trel_cap_install_validated 0\n"
                                            "g_trel_cap_fe_node_validated 0\n"
                                            "g_trel_cap_glb_ready_validated 0\n";
    }
    static std::string nodes() {
        return "\n===================CURRENT_NODE_INFO===================\n"
               "g_trel_cap_flag is 0, node_info is valid when bit 1 is set\n";
    }
};

// All but the collection, which has a test of its own.
TEST_F(Console, RunsEveryCommand) {
    const std::vector<std::pair<std::string, Shown>> session = {
        {"log-level 0", {"", "0"}},
        {"dump_status", {status(), "0"}},
        {"ce_set_g_cap_int32 url=/vlan/max val=-4094", {"url /vlan/max, val -4094\n", "0"}},
        {"ce_get_g_cap_int32 url=/vlan/max", {"url /vlan/max\nvalue -4094\n", "0"}},
        {"ce_set_g_cap_bool val=1 url='/stack/of two'", {"url /stack/of two, val 1\n", "0"}},
        {"ce_get_g_cap_bool \"/stack/of two\"", {"url /stack/of two\nvalue 1\n", "0"}},
        {"set_g_cap_state /vlan/max 1", {"url /vlan/max, state 1\n", "0"}},
        {"ce_get_fe_cap_str node=17 url=/port/speeds", {"node 17, url /port/speeds\nstr 10G,25G\n", "0"}},
        {"ce_get_fe_cap_bool 17 /port/speeds", {"node 17, url /port/speeds\nfailed,rv -24\n", "1"}},
        {"ce_get_fe_cap_int32 /port/none node=-17", {"node -17, url /port/none\nfailed,rv -22\n", "1"}},
        {"show_memory", {kMemoryOfNone, "0"}},
        {"dump_node", {nodes(), "0"}},
        {"dump_all", {status() + nodes() + kMemoryOfNone, "0"}},
        {"ce_get_fe_cap_str 17", {"url is missing; usage: ce_get_fe_cap_str node=NUMBER url=TEXT\n", "2"}},
    };
    for (const auto &[line, shown] : session) {
        EXPECT_EQ(application.ask(line), shown) << line;
    }
}

// The state's setter keeps it from its callers when the store refuses, and the other two do not.
TEST_F(Console, TellsOfEveryWriteThatTheStoreRefuses) {
    MomClient *const connected = g_trel_cap_global;
    const std::unique_ptr<MomClient, void (*)(MomClient *)> unconnected(ox_mom_client_create("mem:"),
                                                                        ox_mom_client_destroy);
    g_trel_cap_global = unconnected.get();
    const std::string why = " failed with status -106: the database has not been connected\n";
    EXPECT_EQ(application.ask("set_g_cap_state /a 1"), (Shown{"url /a, state 1\nset_g_cap_state" + why, "1"}));
    EXPECT_EQ(application.ask("ce_set_g_cap_bool /a 1"), (Shown{"url /a, val 1\nfailed,rv -106\n", "1"}));
    EXPECT_EQ(application.ask("ce_set_g_cap_int32 /a 1"), (Shown{"url /a, val 1\nfailed,rv -106\n", "1"}));
    const std::string too_long(256, 'x');
    EXPECT_EQ(application.ask("set_g_cap_state " + too_long + " 1"),
              (Shown{"url " + too_long + ", state 1\nfailed,rv -4\n", "1"}));
    g_trel_cap_global = connected;
    EXPECT_EQ(application.ask("set_g_cap_state /a 1"), (Shown{"url /a, state 1\n", "0"})) << "the refusal is over";
}

TEST_F(Console, TellsInALineWhatEachCommandIsFor) {
    std::istringstream help(application.ask("help").text);
    std::istringstream commands(application.ask(".commands").text);
    int count = 0;
    for (std::string line, command; std::getline(commands, command) && std::getline(help, line); ++count) {
        EXPECT_THAT(line, ::testing::StartsWith(command.substr(0, command.find('\t'))));
        EXPECT_THAT(line, ::testing::ContainsRegex("  (sets|shows|writes|reads|estimates|lists) [a-z0-9, ]*$"));
        EXPECT_LE(line.size(), 100U);
    }
    EXPECT_EQ(count, 14);
}

TEST_F(Console, ChangesWhatARunningProcessLogs) {
    const auto logged = [this](const std::string &line) {
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(application.ask(line).exit_code, "0");
        return ::testing::internal::GetCapturedStderr();
    };
    const std::string read = "ce_get_fe_cap_str 17 /port/speeds";
    const std::string its_message = " INFO trel_cap trel_cap_ce_get_fe_cap_str:";
    EXPECT_EQ(logged(read), "");
    EXPECT_THAT(logged("log-level 4"), HasSubstr(" INFO trel_cap trel_cap_log_level:"));
    EXPECT_THAT(logged(read), HasSubstr(its_message));
    EXPECT_EQ(logged("log-level 3"), "");
    EXPECT_EQ(logged(read), "");
    logged("log-level -1");
    EXPECT_THAT(logged(read), HasSubstr(its_message));
    EXPECT_EQ(logged("log-level 0"), "");
}

// The command redirects what the console has redirected already.
TEST_F(Console, ShowsACollectionOrHasItInTheFile) {
    if (!no_private_root.empty()) {
        GTEST_SKIP() << "a collection needs a /data of its own, which is not to be had: " << no_private_root;
    }
    const std::string path = "/data/collect//data/collect/" + module_name() + ".log";
    const std::string dump = status() + nodes() + kMemoryOfNone;
    EXPECT_EQ(application.ask("collect"), (Shown{path + " open fail\r\n" + dump, "0"}));
    fs::create_directories("/data/collect/data/collect");
    EXPECT_EQ(application.ask("collect"), (Shown{"", "0"}));
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), dump);
    EXPECT_EQ(application.ask("show_memory"), (Shown{kMemoryOfNone, "0"}));
}

TEST_F(Console, HasAModuleForEachThreadThatStartsTheLibrary) {
    std::promise<Shown> seen;
    std::thread([&seen] {
        Application second;
        CapNodeRecord record{};
        record.node = 7;
        EXPECT_NE(trel_cap_sw_node_init_cur(record), nullptr);
        seen.set_value(second.ask("show_memory", module_name() + ".2"));
        EXPECT_EQ(trel_cap_sw_node_del(7, 0), 0);
    }).join();
    EXPECT_THAT(seen.get_future().get().text, HasSubstr("node_list memory is 56\n"));
    EXPECT_EQ(application.ask("show_memory"), (Shown{kMemoryOfNone, "0"}));
}

TEST_F(Console, IsForNobodyElse) {
    struct stat socket {};
    ASSERT_EQ(stat(socket_path(module_name()).c_str(), &socket), 0);
    EXPECT_EQ(socket.st_mode, S_IFSOCK | 0600U);
}

}  // namespace
}  // namespace trel_cap_tests
