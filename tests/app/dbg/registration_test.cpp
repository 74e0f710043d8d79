// The module and its commands, as the console is told of them.

#include "level_files.h"
#include "library_test.h"
#include "printed.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

template <class Function>
QuibHandler handler(Function *function) {
    return reinterpret_cast<QuibHandler>(function);
}

class Registration : public LibraryTest {
protected:
    static Log error(const std::string &message) { return {100, "trel_cap_quib_init", message, kDiagnostics}; }
    static Log detail(const std::string &message) { return {40, "trel_cap_quib_init", message, kDiagnostics}; }

    static std::vector<Event> all_commands(const std::string &module) {
        const auto command = [&](const char *name, const char *format, QuibHandler its_handler) -> Event {
            return call::quib_reg_mod_cmd(module, name, 0, format, its_handler);
        };
        return {
            command("log-level", "%d", handler(trel_cap_log_level)),
            command("dump_status", "void", handler(trel_cap_dbg_dump_status)),
            command("set_g_cap_state", "url=%s state=%d", handler(trel_cap_dbg_ce_set_g_cap_state)),
            command("ce_set_g_cap_bool", "url=%s val=%d", handler(trel_cap_dbg_ce_set_g_cap_bool)),
            command("ce_set_g_cap_int32", "url=%s val=%d", handler(trel_cap_dbg_ce_set_g_cap_int32)),
            command("ce_get_g_cap_int32", "url=%s", handler(trel_cap_dbg_ce_get_g_cap_int32)),
            command("ce_get_g_cap_bool", "url=%s", handler(trel_cap_dbg_ce_get_g_cap_bool)),
            command("ce_get_fe_cap_bool", "node=%d url=%s", handler(trel_cap_dbg_ce_get_fe_cap_bool)),
            command("ce_get_fe_cap_int32", "node=%d url=%s", handler(trel_cap_dbg_ce_get_fe_cap_int32)),
            command("ce_get_fe_cap_str", "node=%d url=%s", handler(trel_cap_dbg_ce_get_fe_cap_str)),
            command("show_memory", "void", handler(trel_cap_dbg_show_memory)),
            command("dump_node", "void", handler(trel_cap_sw_dump_all_node)),
            command("dump_all", "void", handler(trel_cap_dbg_dump_all)),
            command("collect", "void", handler(trel_cap_dbg_collect)),
        };
    }
    std::vector<Event> whole(MomClient *of, const std::string &module) const {
        std::vector<Event> events = all_commands(module);
        events.insert(events.begin(), {call::quib_lib_init(of, module), detail("quib_lib_init ok")});
        return events;
    }
};

TEST_F(Registration, TellsTheModuleAndItsFourteenCommandsInOrder) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_quib_init(client, "router"), 0);
        expect_events(whole(client, "trel_cap_router"));
    });
}

TEST_F(Registration, IsMadeForTheClientAndNameItIsGiven) {
    g_trel_cap_global = client;
    EXPECT_EQ(trel_cap_quib_init(other_client, ""), 0);
    expect_events(whole(other_client, "trel_cap_"));
}

TEST_F(Registration, CutsTheModulesNameAt126Bytes) {
    const std::string prefix = "trel_cap_";
    const std::string name(200, 'n');
    for (const size_t length : {size_t{116}, size_t{117}, size_t{118}, size_t{200}}) {
        EXPECT_EQ(trel_cap_quib_init(client, name.substr(0, length).c_str()), 0);
        expect_events(whole(client, (prefix + name.substr(0, length)).substr(0, 126)));
    }
}

TEST_F(Registration, EndsWithARefusal) {
    for (const int32_t code : {-204, -1, 1, INT32_MIN}) {
        platform.quib_lib_init.always(code);
        at_every_log_level([this, code] {
            EXPECT_EQ(trel_cap_quib_init(client, "router"), -11);
            expect_events({call::quib_lib_init(client, "trel_cap_router"),
                           error("quib_lib_init failed, rv " + std::to_string(code))});
        });
    }
}

TEST_F(Registration, DoesNotMindWhatTheConsoleSaysOfACommand) {
    for (const int32_t code : {-201, 1}) {
        platform.quib_reg_mod_cmd.always(code);
        EXPECT_EQ(trel_cap_quib_init(client, "router"), 0);
        expect_events(whole(client, "trel_cap_router"));
    }
}

TEST_F(Registration, TestsItsArgumentsInOrder) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_quib_init(nullptr, nullptr), -4);
        expect_events({error("global NULL pointer, addr error!\n")});
        EXPECT_EQ(trel_cap_quib_init(nullptr, "router"), -4);
        expect_events({error("global NULL pointer, addr error!\n")});
        EXPECT_EQ(trel_cap_quib_init(client, nullptr), -4);
        expect_events({error("app_name NULL pointer, addr error!\n")});
    });
}

// The console takes a status from every handler, those too that are void to applications.
TEST_F(Registration, HandlersThatAreVoidToApplicationsSucceed) {
    const auto set_level = reinterpret_cast<int32_t (*)(int32_t)>(handler(trel_cap_log_level));
    const auto dump_nodes = reinterpret_cast<int32_t (*)()>(handler(trel_cap_sw_dump_all_node));
    for (const int32_t level : kLogLevels) {
        EXPECT_EQ(set_level(level), 0);
        EXPECT_EQ(g_trel_cap_zlog_level, level);
        EXPECT_EQ(print(dump_nodes).status, 0);
    }
}

// Start-up registers the module when everything that it can fail with is behind it.
class StartUpRegistration : public Registration {
protected:
    StartUpRegistration() {
        test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
        trel_cap_dbg_inited = 1;
    }
    static Event handler_of_28(MomClient *of) {
        return call::client_set_reconnect_cb(of, 28, trel_cap_reconnect_db_config, nullptr);
    }
    // From the installation of the last reconnection handler to the end.
    std::vector<Event> last_events() const {
        const auto all = platform.events();
        return {std::find(all.begin(), all.end(), handler_of_28(client)), all.end()};
    }
    void expect_last_events(std::vector<Event> expected) {
        expected.insert(expected.begin(), handler_of_28(client));
        expected.emplace_back(Log{80, "trel_cap_init", "reg_name router trel_cap_init success"});
        EXPECT_THAT(last_events(), ElementsAreArray(test_support::visible_at(g_trel_cap_zlog_level, expected)));
        platform.forget();
    }
    const std::string module_ = "trel_cap_" + program_name();
};

TEST_F(StartUpRegistration, FollowsTheReconnectionHandlersUnderTheProgramsName) {
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    expect_last_events(whole(client, module_));
}

TEST_F(StartUpRegistration, ThatIsRefusedDoesNotStopStartUp) {
    platform.quib_lib_init.always(-204);
    for (const int32_t level : kLogLevels) {
        g_trel_cap_zlog_level = level;
        g_trel_cap_global = nullptr;
        EXPECT_EQ(trel_cap_init(client, "router"), 0);
        EXPECT_EQ(g_trel_cap_global, client);
        expect_last_events({call::quib_lib_init(client, module_), error("quib_lib_init failed, rv -204")});
    }
}

TEST_F(StartUpRegistration, IsMadeByEachStartUpThatGetsThere) {
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_THAT(platform.calls("quib_lib_init"), ElementsAre(call::quib_lib_init(client, module_)));
    EXPECT_EQ(trel_cap_init(other_client, "router"), 0);
    EXPECT_EQ(platform.calls("quib_lib_init").size(), 2U);
    EXPECT_EQ(platform.calls("quib_reg_mod_cmd").size(), 28U);

    platform.forget();
    platform.client_set_reconnect_cb.at(2, -107);
    EXPECT_EQ(trel_cap_init(client, "router"), -107);
    EXPECT_THAT(platform.calls("quib_lib_init"), IsEmpty());
}

}  // namespace
}  // namespace trel_cap_tests
