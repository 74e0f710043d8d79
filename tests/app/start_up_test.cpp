// Start-up on one thread.

#include <algorithm>

#include "level_files.h"
#include "library_test.h"

namespace trel_cap_tests {
namespace {

class StartUp : public LibraryTest {
protected:
    static constexpr const char *kName = "router";

    // As a thread finds the library at first.
    StartUp() {
        test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
        g_trel_cap_zlog_category = nullptr;
        g_trel_cap_zlog_level = 1;
    }

    // Logging is there already, at any level.
    void after_logging_set_up(int32_t level) {
        platform.forget();
        g_trel_cap_zlog_category = ScriptedPlatform::category();
        g_trel_cap_zlog_level = level;
        trel_cap_dbg_inited = 1;
    }

    // The events of start-up itself, not those of what it starts.
    std::vector<Event> events() const {
        std::vector<Event> own;
        const auto all = platform.events();
        std::copy_if(all.begin(), all.end(), std::back_inserter(own), [](const Event &event) {
            if (event.log() != nullptr) {
                return event.log()->function == "trel_cap_init";
            }
            const std::string &function = event.call()->function;
            return function == "ox_zlog_init" || function == "ox_mom_client_connect_sync" ||
                   function == "ox_mom_client_set_reconnect_cb";
        });
        return own;
    }
    void expect_start_up_events(const std::vector<Event> &expected) {
        EXPECT_THAT(events(), ::testing::ElementsAreArray(test_support::visible_at(g_trel_cap_zlog_level, expected)));
        platform.forget();
    }

    static Log error(const std::string &message) { return {100, "trel_cap_init", message}; }
    static Log progress(const std::string &message) { return {80, "trel_cap_init", message}; }
    static Log success() { return progress("reg_name router trel_cap_init success"); }
    static Call connect(MomClient *to, int32_t db) { return call::client_connect_sync(to, db); }
    static Call handler(MomClient *of, int32_t db) {
        return call::client_set_reconnect_cb(of, db, trel_cap_reconnect_db_config, nullptr);
    }
    std::vector<Event> whole(MomClient *of) const {
        return {progress("enter"), connect(of, 1), connect(of, 28), handler(of, 1), handler(of, 28), success()};
    }
};

TEST_F(StartUp, TheFirstOneSetsUpLoggingToo) {
    g_trel_cap_zlog_level = 2;
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    std::vector<Event> expected = whole(client);
    expected.insert(expected.begin(), call::zlog_init("trel_cap"));
    expect_start_up_events(expected);
    EXPECT_EQ(g_trel_cap_global, client);
    EXPECT_EQ(trel_cap_dbg_inited, 1);
    EXPECT_EQ(g_trel_cap_zlog_category, ScriptedPlatform::category());
    EXPECT_EQ(g_trel_cap_config_reconnect, 0);
}

TEST_F(StartUp, ConnectsInstallsItsHandlersAndSaysSo) {
    for (const int32_t level : kLogLevels) {
        SCOPED_TRACE(level);
        after_logging_set_up(level);
        g_trel_cap_global = nullptr;
        EXPECT_EQ(trel_cap_init(client, kName), 0);
        EXPECT_EQ(g_trel_cap_global, client);
        expect_start_up_events(whole(client));
    }
}

// Whatever is called on the way sees the thread as not started.
TEST_F(StartUp, TheClientIsStoredLastBeforeSuccessIsReported) {
    after_logging_set_up(4);
    int calls_seen = 0;
    platform.on_call = [&](const Call &, const ProtobufCMessage *) {
        ++calls_seen;
        EXPECT_EQ(g_trel_cap_global, nullptr);
    };
    bool success_seen = false;
    platform.on_log = [&](const Log &log, const char *) {
        const bool is_success = log == success();
        EXPECT_EQ(g_trel_cap_global, is_success ? client : nullptr) << log;
        success_seen = success_seen || is_success;
    };
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    EXPECT_GE(calls_seen, 4);
    EXPECT_TRUE(success_seen);
}

TEST_F(StartUp, ReportsTheNameBeforeTheClient) {
    for (const int32_t level : kLogLevels) {
        SCOPED_TRACE(level);
        after_logging_set_up(level);
        EXPECT_EQ(trel_cap_init(nullptr, nullptr), -4);
        expect_events({error("reg_name NULL pointer, addr error!\n")});
        EXPECT_EQ(trel_cap_init(client, nullptr), -4);
        expect_events({error("reg_name NULL pointer, addr error!\n")});
        EXPECT_EQ(trel_cap_init(nullptr, kName), -4);
        expect_events({error("global NULL pointer, addr error!\n")});
        EXPECT_EQ(g_trel_cap_global, nullptr);
    }
}

TEST_F(StartUp, BadArgumentsSetUpNothing) {
    EXPECT_EQ(trel_cap_init(nullptr, nullptr), -4);
    EXPECT_EQ(trel_cap_init(client, nullptr), -4);
    EXPECT_EQ(trel_cap_init(nullptr, kName), -4);
    EXPECT_EQ(trel_cap_dbg_inited, 0);
    EXPECT_THAT(platform.events(), ::testing::IsEmpty());
}

TEST_F(StartUp, BadArgumentsCountOnAStartedThreadToo) {
    after_logging_set_up(2);
    g_trel_cap_global = client;
    EXPECT_EQ(trel_cap_init(client, nullptr), -4);
    EXPECT_EQ(trel_cap_init(nullptr, kName), -4);
    EXPECT_EQ(g_trel_cap_global, client);
    expect_events({error("reg_name NULL pointer, addr error!\n"), error("global NULL pointer, addr error!\n")});
}

TEST_F(StartUp, TheSameClientAgainIsNothingToDo) {
    for (const int32_t level : kLogLevels) {
        SCOPED_TRACE(level);
        after_logging_set_up(level);
        g_trel_cap_global = client;
        EXPECT_EQ(trel_cap_init(client, "another name"), 0);
        expect_events({progress(text("global %p inited", static_cast<void *>(client)))});
        EXPECT_EQ(g_trel_cap_global, client);
    }
}

TEST_F(StartUp, TheSameClientAgainDoesNotEvenSetUpLogging) {
    g_trel_cap_global = client;
    trel_cap_dbg_inited = 0;
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    EXPECT_EQ(trel_cap_dbg_inited, 0);
    EXPECT_THAT(platform.events(), ::testing::IsEmpty());
}

TEST_F(StartUp, AnotherClientIsWarnedOfAndTakesOver) {
    for (const int32_t level : kLogLevels) {
        SCOPED_TRACE(level);
        after_logging_set_up(level);
        g_trel_cap_global = other_client;
        EXPECT_EQ(trel_cap_init(client, kName), 0);
        std::vector<Event> expected = whole(client);
        expected.insert(expected.begin(), error("muli_thread"));
        expect_start_up_events(expected);
        EXPECT_EQ(g_trel_cap_global, client);
    }
}

TEST_F(StartUp, LoggingIsSetUpOnceOnAThread) {
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    EXPECT_EQ(trel_cap_init(other_client, kName), 0);
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    EXPECT_EQ(platform.calls("ox_zlog_init").size(), 1U);
    EXPECT_EQ(platform.calls("ox_mom_client_connect_sync").size(), 6U);
}

// Another client's warning comes before logging is set up, and so it is lost when logging was not.
TEST_F(StartUp, TheWarningPrecedesLogging) {
    g_trel_cap_global = other_client;
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    EXPECT_THAT(platform.logs("trel_cap_init"), ::testing::IsEmpty());

    platform.forget();
    g_trel_cap_zlog_category = ScriptedPlatform::category();
    trel_cap_dbg_inited = 0;
    EXPECT_EQ(trel_cap_init(other_client, kName), 0);
    const auto seen = events();
    ASSERT_GE(seen.size(), 2U);
    EXPECT_EQ(seen[0], Event(error("muli_thread")));
    EXPECT_EQ(seen[1], Event(call::zlog_init("trel_cap")));
}

TEST_F(StartUp, LoggingThatCannotBeOpenedIsNoFailureAndNotTriedAgain) {
    platform.zlog_init.always(nullptr);
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    EXPECT_EQ(trel_cap_dbg_inited, 1);
    EXPECT_EQ(g_trel_cap_global, client);
    EXPECT_EQ(trel_cap_init(other_client, kName), 0);
    EXPECT_EQ(platform.calls("ox_zlog_init").size(), 1U);
    EXPECT_THAT(platform.logs(), ::testing::IsEmpty());
}

// Each step that can fail: what has been done until then, its message, the store's code, and nothing after it.

struct FailingStep {
    const char *name;
    const char *message;
    int n_connects;
    int n_handlers;
};

const FailingStep kFailingSteps[] = {
    {"Database1", "connect tunner_db failed, rv ", 1, 0},
    {"Database28", "connect ce_global failed, rv ", 2, 0},
    {"Handler1", "ox_mom_client_set_reconnect_cb tunner failed, rv ", 2, 1},
    {"Handler28", "ox_mom_client_set_reconnect_cb cap failed, rv ", 2, 2},
};

class StartUpFailure : public StartUp, public ::testing::WithParamInterface<FailingStep> {
protected:
    const FailingStep &step = GetParam();

    void fail_with(int32_t code) {
        if (step.n_handlers > 0) {
            platform.client_set_reconnect_cb.at(step.n_handlers, code);
        } else {
            platform.client_connect_sync.at(step.n_connects, code);
        }
    }
    std::vector<Event> until_failure(int32_t code) const {
        const std::vector<Event> all = whole(client);
        std::vector<Event> some(all.begin(), all.begin() + 1 + step.n_connects + step.n_handlers);
        some.emplace_back(error(step.message + std::to_string(code)));
        return some;
    }
};

INSTANTIATE_TEST_SUITE_P(Steps, StartUpFailure, ::testing::ValuesIn(kFailingSteps),
                         [](const auto &step) { return step.param.name; });

TEST_P(StartUpFailure, ReturnsTheStoresCode) {
    for (const int32_t code : {-107, -1, 5}) {
        for (const int32_t level : kLogLevels) {
            SCOPED_TRACE(level);
            after_logging_set_up(level);
            fail_with(code);
            EXPECT_EQ(trel_cap_init(client, kName), code);
            EXPECT_EQ(g_trel_cap_global, nullptr);
            expect_start_up_events(until_failure(code));
        }
    }
}

TEST_P(StartUpFailure, CanBeTriedAgainFromTheBeginning) {
    fail_with(-107);
    EXPECT_EQ(trel_cap_init(client, kName), -107);
    EXPECT_EQ(trel_cap_dbg_inited, 1);
    platform.forget();
    g_trel_cap_zlog_level = 2;
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    expect_start_up_events(whole(client));
    EXPECT_EQ(g_trel_cap_global, client);
}

TEST_P(StartUpFailure, LeavesThePreviousClientInPlace) {
    after_logging_set_up(1);
    g_trel_cap_global = other_client;
    fail_with(-107);
    EXPECT_EQ(trel_cap_init(client, kName), -107);
    EXPECT_EQ(g_trel_cap_global, other_client);
}

// Level files are looked for by the name of the program.

using StartUpLevel = StartUp;

TEST_F(StartUpLevel, ComesFromTheProgramsFile) {
    TREL_CAP_NEEDS_PRIVATE_ROOT();
    write_level_file(program_name(), "2");
    write_level_file(kName, "3");
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 2);
    EXPECT_THAT(platform.logs("trel_cap_init"), ::testing::ElementsAre(progress("enter"), success()));
}

TEST_F(StartUpLevel, ComesFromTheCommonFileToo) {
    TREL_CAP_NEEDS_PRIVATE_ROOT();
    write_level_file(kCommonLevelFile, "0");
    platform.client_connect_sync.always(-107);
    EXPECT_EQ(trel_cap_init(client, kName), -107);
    EXPECT_EQ(g_trel_cap_zlog_level, 0);
    EXPECT_THAT(platform.logs(), ::testing::IsEmpty());
}

TEST_F(StartUpLevel, IsReadOnceOnAThread) {
    TREL_CAP_NEEDS_PRIVATE_ROOT();
    write_level_file(kCommonLevelFile, "2");
    EXPECT_EQ(trel_cap_init(client, kName), 0);
    write_level_file(kCommonLevelFile, "3");
    EXPECT_EQ(trel_cap_init(other_client, kName), 0);
    EXPECT_EQ(g_trel_cap_zlog_level, 2);
}

}  // namespace
}  // namespace trel_cap_tests
