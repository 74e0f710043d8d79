// Which calls go through exported names, so that a program may stand in front of them, and what a closed log saves.

#include <unistd.h>

#include "interposed.h"
#include "level_files.h"
#include "library_test.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Calls : public LibraryTest {
protected:
    interposed::Script &script = interposed::script();
    uint8_t value = 0x2a;

    Calls() {
        test_support::enter_private_root();  // where it can be had, so that a host's own level files are not seen
        interposed::reset();
        g_trel_cap_zlog_level = 1;
    }
    // Of a function that has `n` pointers.
    void expect_arguments(std::initializer_list<const void *> expected) {
        EXPECT_THAT(script.arguments, ::testing::ElementsAreArray(expected));
    }
};

TEST_F(Calls, StartUpNamesTheApplicationAndSetsUpLogging) {
    script.app_name = "some application";
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_EQ(script.app_name_pid, getpid());
    EXPECT_EQ(script.app_name_size, 128U);
    EXPECT_EQ(script.zlog_init_name, "some application");
    EXPECT_THAT(script.calls, ::testing::IsSupersetOf({"trel_cap_get_app_name", "trel_cap_zlog_init"}));
}

TEST_F(Calls, StartUpTriesToSetUpLoggingOnce) {
    script.answers = {std::nullopt, -4};
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_EQ(trel_cap_dbg_inited, 1);
    EXPECT_EQ(g_trel_cap_global, client);
    script.calls.clear();
    EXPECT_EQ(trel_cap_init(other_client, "router"), 0);
    EXPECT_THAT(script.calls, ::testing::Not(::testing::Contains("trel_cap_zlog_init")));
}

TEST_F(Calls, ANameOf127BytesReachesLoggingWhole) {
    script.app_name = std::string(200, 'n');
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_EQ(script.zlog_init_name, std::string(127, 'n'));
}

TEST_F(Calls, LevelFilesSetTheLevel) {
    TREL_CAP_NEEDS_PRIVATE_ROOT();
    write_level_file(kCommonLevelFile, "2");
    write_level_file("router", "-7");
    EXPECT_EQ(trel_cap_zlog_init("router"), 0);
    EXPECT_THAT(script.log_levels, ElementsAre(2, -7));
    script.log_levels.clear();
    std::filesystem::remove_all("/data/.oxos");
    EXPECT_EQ(trel_cap_zlog_init("router"), 0);
    EXPECT_THAT(script.log_levels, IsEmpty());
}

// Nobody sees the message, as there is no category then; the level decides all the same whether it is put together.
TEST_F(Calls, ACategoryThatCannotBeOpenedIsPutIntoWords) {
    platform.zlog_init.always(nullptr);
    const std::string name(127, 'n');
    EXPECT_EQ(trel_cap_zlog_init("router"), 0);
    EXPECT_STREQ(script.latest_text.data(), "trel_cap_router.zlog init fail");
    EXPECT_EQ(trel_cap_zlog_init(name.c_str()), 0);
    EXPECT_EQ(script.latest_text.data(), ("trel_cap_" + name).substr(0, 127) + " init fail");
    g_trel_cap_zlog_level = 0;
    EXPECT_EQ(trel_cap_zlog_init("router"), 0);
    EXPECT_STREQ(script.latest_text.data(), "trel_cap_router.zlog");
    EXPECT_THAT(platform.logs(), IsEmpty());
}

TEST_F(Calls, TheBooleanViewReads) {
    script.answers = {-21, -22, -24};
    const char *const url = "/a";
    EXPECT_EQ(trel_cap_ce_get_glb_view_bool(client, url, &value), -24);
    EXPECT_THAT(script.calls, ::testing::Each("trel_cap_ce_get_g_cap_bool"));
    EXPECT_EQ(script.calls.size(), 3U);
    expect_arguments({client, url, &value});
    EXPECT_THAT(platform.logs(), ElementsAre(Log{100, "trel_cap_ce_get_glb_view_bool", "failed,rv -22"}));
}

TEST_F(Calls, TheIntegerViewReadsOnce) {
    int32_t integer = 0;
    const char *const url = "/a";
    for (const int32_t answer : {-22, 0, 3}) {
        script.calls.clear();
        script.answers = {answer};
        EXPECT_EQ(trel_cap_ce_get_glb_view_int32(client, url, &integer), answer);
        EXPECT_THAT(script.calls, ElementsAre("trel_cap_ce_get_g_cap_int32"));
        expect_arguments({client, url, &integer});
    }
    EXPECT_THAT(platform.events(), IsEmpty());
}

TEST_F(Calls, TheNotificationViewReads) {
    Message message(29);
    std::array<char, 16> url{};
    uint32_t length = 0;
    script.answers = {-21, -22, -23};
    EXPECT_EQ(trel_cap_get_glb_view_bool_by_pmsg(message.get(), 16, url.data(), &value, &length), -23);
    EXPECT_THAT(script.calls, ::testing::Each("trel_cap_ce_get_g_cap_bool_by_pmsg"));
    EXPECT_EQ(script.calls.size(), 3U);
    EXPECT_EQ(script.app_name_size, 16U);
    expect_arguments({message.get(), url.data(), &value, &length});
    EXPECT_THAT(platform.logs(), ElementsAre(Log{100, "trel_cap_get_glb_view_bool_by_pmsg", "failed,rv -22"}));
}

TEST_F(Calls, TheStateViewWrites) {
    const char *const url = "/a";
    script.answers = {-4, -5, -6};
    EXPECT_EQ(trel_cap_ce_set_cap_view_state(client, url, 9), -6);
    EXPECT_THAT(script.calls, ::testing::Each("trel_cap_ce_set_g_cap_state"));
    EXPECT_THAT(script.log_levels, ElementsAre(9, 9, 9));
    expect_arguments({client, url});
    EXPECT_THAT(platform.logs(), ElementsAre(Log{100, "trel_cap_ce_set_cap_view_state", "failed,rv -5"}));
}

TEST_F(Calls, EveryViewRepeatsTwiceOnlyWhenTheLogIsClosed) {
    g_trel_cap_zlog_level = 0;
    Message message(29);
    std::array<char, 16> url{};
    uint32_t length = 0;
    script.answers = {-1, -2};
    EXPECT_EQ(trel_cap_ce_get_glb_view_bool(client, "/a", &value), -2);
    script.answers = {-1, -2};
    EXPECT_EQ(trel_cap_get_glb_view_bool_by_pmsg(message.get(), 16, url.data(), &value, &length), -2);
    script.answers = {-1, -2};
    EXPECT_EQ(trel_cap_ce_set_cap_view_state(client, "/a", 1), -2);
    EXPECT_EQ(script.calls.size(), 6U);
}

TEST_F(Calls, ReadinessQueriesReleaseTheirRecord) {
    for (const auto query : {trel_cap_ce_get_glb_ready, trel_cap_ce_get_hps_glb_ready, trel_cap_ce_get_cm_glb_ready,
                             trel_cap_ce_get_fab_glb_ready}) {
        script.calls.clear();
        platform.get_sync.then({Record::of(cap_glb_state__descriptor, {{5, 1}}), 0});
        EXPECT_EQ(query(client, &value), 0);
        EXPECT_THAT(script.calls, ElementsAre("trel_cap_ox_obj_free"));

        script.calls.clear();
        platform.get_sync.then({Record::of(cap_glb_state__descriptor), -112});
        EXPECT_EQ(query(client, &value), -21);
        EXPECT_THAT(script.calls, ElementsAre("trel_cap_ox_obj_free"));
    }
}

// The link to the executable, as the system would answer it.
class Link : public Calls {
protected:
    std::string name(pid_t pid, ssize_t length, const std::string &link) {
        script.link_length = length;
        script.link_text = link;
        std::array<char, 128> buffer;
        buffer.fill('x');
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(trel_cap_get_app_name(pid, buffer.data(), buffer.size()), buffer.data());
        errors = ::testing::internal::GetCapturedStderr();
        script.link_length.reset();
        return buffer.data();
    }
    std::string errors;
};

TEST_F(Link, IsReadOnceByTheProcessesNumber) {
    EXPECT_EQ(name(4711, 16, "/usr/bin/router"), "router");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(script.links_read, 1);
    EXPECT_EQ(script.link_path, "/proc/4711/exe");
    EXPECT_EQ(script.link_room, 127U);
}

TEST_F(Link, WithoutASlashIsTheName) { EXPECT_EQ(name(1, 6, "router"), "router"); }

TEST_F(Link, EndsWhereTheSystemSays) {
    EXPECT_EQ(name(1, 9, "/bin/route-and-more"), "rout");
    EXPECT_EQ(name(1, 5, "/bin/"), "");
    EXPECT_EQ(name(1, 0, ""), "");
}

TEST_F(Link, MayBe127BytesLong) {
    EXPECT_EQ(name(1, 127, std::string(127, 'n')), std::string(127, 'n'));
    EXPECT_EQ(name(1, 127, "/" + std::string(126, 'n')), std::string(126, 'n'));
    EXPECT_EQ(errors, "");
}

TEST_F(Link, ThatCannotBeReadIsApp) {
    EXPECT_EQ(name(1, -1, ""), "app");
    EXPECT_EQ(errors, "readlink: : No such file or directory\n");
}

TEST_F(Link, ThatIsTooLongIsApp) {
    for (const ssize_t length : {128, 129, 4096}) {
        EXPECT_EQ(name(1, length, std::string(127, 'n')), "app");
        EXPECT_THAT(errors, ::testing::StartsWith("readlink: error: "));
    }
}

TEST_F(Link, ThatCannotBeReadAtStartUpLeadsToTheLevelFileOfApp) {
    TREL_CAP_NEEDS_PRIVATE_ROOT();
    write_level_file("app", "3");
    script.link_length = -1;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(trel_cap_init(client, "router"), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "readlink: : No such file or directory\n");
    EXPECT_EQ(g_trel_cap_zlog_level, 3);
    EXPECT_EQ(script.zlog_init_name, "app");
}

// The mark that the system puts behind the name of a file that is no longer there.
class MarkedLink : public Link {
protected:
    std::string level_file_after_start(const std::string &link) {
        script.link_length = static_cast<ssize_t>(link.size());
        script.link_text = link;
        EXPECT_EQ(trel_cap_init(client, "router"), 0);
        script.link_length.reset();
        return script.zlog_init_name;
    }
};

TEST_F(MarkedLink, IsTheNameAsItIs) { EXPECT_EQ(name(1, 26, "/usr/bin/router2 (deleted)"), "router2 (deleted)"); }

TEST_F(MarkedLink, LeadsToTheLevelFileOfTheProgram) {
    EXPECT_EQ(level_file_after_start("/no/such/directory/router (deleted)"), "router");
    EXPECT_EQ(script.links_read, 2);
}

TEST_F(MarkedLink, OfAnotherKindStays) {
    EXPECT_EQ(level_file_after_start("/no/such/directory/router (renamed)"), "router (renamed)");
}

TEST_F(MarkedLink, IsNotLookedForInANameOfTheProgramsOwn) {
    script.app_name = "mine (deleted)";
    EXPECT_EQ(level_file_after_start("/no/such/directory/router (deleted)"), "mine (deleted)");
}

// A message that is not let out is not put together either.
class ClosedLog : public Calls {
protected:
    // How many messages are put together at a level by all that can fail or succeed.
    int formatted_at(int32_t level) {
        // Start-up goes as far as its first step that can fail: what comes behind makes names up, too.
        platform.client_connect_sync.always(-107);
        script.app_name = "router";
        trel_cap_dbg_inited = 1;
        g_trel_cap_global = nullptr;
        g_trel_cap_zlog_level = level;
        Message good(4, HashAnswer::found(cap_table("/a", {{6, 1}}), {6}));
        Message bad(29);
        std::array<char, 16> url{};
        uint32_t length = 0;
        script.formatted = 0;
        trel_cap_init(client, "router");
        g_trel_cap_global = client;
        trel_cap_init(client, "router");
        trel_cap_init(other_client, "router");
        trel_cap_init(nullptr, nullptr);
        trel_cap_reconnect_db_config(client, 1, 1);
        trel_cap_set_g_cap_db_reconnect_cb(client, nullptr, nullptr);
        trel_cap_ce_get_g_cap_bool(client, "/a", &value);
        trel_cap_ce_get_g_cap_bool(nullptr, "/a", &value);
        trel_cap_ce_set_g_cap_bool(client, "/a", 1);
        trel_cap_ce_get_glb_ready(client, &value);
        trel_cap_ce_get_g_cap_bool_by_pmsg(good.get(), 16, url.data(), &value, &length);
        trel_cap_ce_get_g_cap_bool_by_pmsg(bad.get(), 16, url.data(), &value, &length);
        return script.formatted;
    }
};

TEST_F(ClosedLog, FormatsNothing) {
    EXPECT_EQ(formatted_at(0), 0);
    EXPECT_THAT(platform.logs(), IsEmpty());
}

TEST_F(ClosedLog, EachLevelFormatsWhatItLetsOut) {
    for (const int32_t level : {1, 2, 3, 4, -1}) {
        platform.forget();
        const int formatted = formatted_at(level);
        EXPECT_EQ(static_cast<size_t>(formatted), platform.logs().size()) << level;
        EXPECT_GT(formatted, 0) << level;
    }
}

}  // namespace
}  // namespace trel_cap_tests
