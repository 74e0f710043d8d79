// The wrappers that repeat what failed: once for their message, once for their result.

#include <array>
#include <cstring>

#include "library_test.h"

namespace trel_cap_tests {
namespace {

class View : public LibraryTest {
protected:
    static constexpr const char *kUrl = "/a";
    uint8_t value = 0x2a;

    int32_t get() {
        value = 0x2a;
        return trel_cap_ce_get_glb_view_bool(client, kUrl, &value);
    }
    HashAnswer found(int32_t stored) const { return HashAnswer::found(cap_table(kUrl, {{6, stored}}), {6}); }

    static Log failed(const char *wrapper, int32_t status) { return {100, wrapper, text("failed,rv %d", status)}; }
    static Log get_failed(int32_t status) { return failed("trel_cap_ce_get_glb_view_bool", status); }
    static Log error(const char *message) { return {100, "trel_cap_ce_get_g_cap_bool", message}; }
    Log enter() const {
        return {40, "trel_cap_ce_get_g_cap_bool", text("global %p, enter url %s", static_cast<void *>(client), kUrl)};
    }
    Call request() const { return call::hgetall_sync(client, 28, cap_table(kUrl)); }
    size_t reads() const { return platform.calls("ox_mom_hgetall_sync").size(); }
};

TEST_F(View, AReadThatSucceedsIsMadeOnce) {
    platform.hgetall_sync.always(found(1));
    at_every_log_level([this] {
        EXPECT_EQ(get(), 0);
        EXPECT_EQ(value, 1);
        expect_events({enter(), request(), Log{40, "trel_cap_ce_get_g_cap_bool", "url /a value 1"},
                       call::hash_res_free(), Log{40, "trel_cap_ce_get_g_cap_bool", "leave"}});
    });
}

TEST_F(View, AReadThatFailsIsMadeThreeTimesAndTwiceWhenTheLogIsClosed) {
    platform.hgetall_sync.always(HashAnswer::no_record());
    at_every_log_level([this] {
        EXPECT_EQ(get(), -22);
        EXPECT_EQ(value, 0x2a);
        const std::vector<Event> attempt = {enter(), request(), error("url /a, tmp NULL"), call::hash_res_free()};
        std::vector<Event> expected = attempt;
        if (log_is_open()) {
            expected.insert(expected.end(), attempt.begin(), attempt.end());
            expected.emplace_back(get_failed(-22));
        }
        expected.insert(expected.end(), attempt.begin(), attempt.end());
        expect_events(expected);
    });
}

TEST_F(View, TheMessageHasTheSecondCodeAndTheCallerTheThird) {
    g_trel_cap_zlog_level = 1;
    platform.hgetall_sync.then(HashAnswer::none());
    platform.hgetall_sync.then(HashAnswer::no_record());
    platform.hgetall_sync.then(HashAnswer::found(cap_table(kUrl), {5}));
    EXPECT_EQ(get(), -24);
    EXPECT_THAT(platform.logs(), ::testing::ElementsAre(error("url /a, result NULL"), error("url /a, tmp NULL"),
                                                        get_failed(-22), error("url /a, value field invalid")));
}

TEST_F(View, WithTheLogClosedTheCallerGetsTheSecondCode) {
    g_trel_cap_zlog_level = 0;
    platform.hgetall_sync.then(HashAnswer::none());
    platform.hgetall_sync.then(HashAnswer::no_record());
    EXPECT_EQ(get(), -22);
    EXPECT_EQ(reads(), 2U);
}

TEST_F(View, ASecondReadThatSucceedsIsReportedAndRepeated) {
    g_trel_cap_zlog_level = 1;
    platform.hgetall_sync.then(HashAnswer::none());
    platform.hgetall_sync.then(found(1));
    platform.hgetall_sync.then(HashAnswer::no_record());
    EXPECT_EQ(get(), -22);
    EXPECT_EQ(value, 1) << "the second read wrote it, the third left it alone";
    EXPECT_THAT(platform.logs(),
                ::testing::ElementsAre(error("url /a, result NULL"), get_failed(0), error("url /a, tmp NULL")));
}

TEST_F(View, ALastReadThatSucceedsIsASuccess) {
    for (const int32_t level : kLogLevels) {
        g_trel_cap_zlog_level = level;
        platform.forget();
        platform.hgetall_sync.then(HashAnswer::none());
        if (log_is_open()) {
            platform.hgetall_sync.then(HashAnswer::none());
        }
        platform.hgetall_sync.then(found(1));
        EXPECT_EQ(get(), 0) << level;
        EXPECT_EQ(value, 1) << level;
        EXPECT_EQ(reads(), log_is_open() ? 3U : 2U);
    }
}

// The level alone decides; that there is nowhere to log to yet does not.
TEST_F(View, TheRepetitionForTheMessageIsMadeWithoutACategoryToo) {
    g_trel_cap_zlog_category = nullptr;
    g_trel_cap_zlog_level = 1;
    EXPECT_EQ(get(), -21);
    EXPECT_EQ(reads(), 3U);
    EXPECT_THAT(platform.logs(), ::testing::IsEmpty());
}

TEST_F(View, PassesItsArgumentsOn) {
    g_trel_cap_zlog_level = 1;
    const auto expect_three = [this](const char *message) {
        EXPECT_THAT(platform.logs(),
                    ::testing::ElementsAre(error(message), error(message), get_failed(-4), error(message)));
        platform.forget();
    };
    EXPECT_EQ(trel_cap_ce_get_glb_view_bool(nullptr, nullptr, nullptr), -4);
    expect_three("global NULL pointer, addr error!\n");
    EXPECT_EQ(trel_cap_ce_get_glb_view_bool(client, nullptr, nullptr), -4);
    expect_three("url NULL pointer, addr error!\n");
    EXPECT_EQ(trel_cap_ce_get_glb_view_bool(client, url_of_length(256).c_str(), nullptr), -4);
    expect_three("url len too long 256!\n");
    EXPECT_EQ(trel_cap_ce_get_glb_view_bool(client, kUrl, nullptr), -4);
    expect_three("value NULL pointer, addr error!\n");
    EXPECT_EQ(trel_cap_ce_get_glb_view_bool(nullptr, kUrl, &value), -4);
    expect_three("global NULL pointer, addr error!\n");
}

TEST_F(View, TheIntegerReadIsNeverRepeated) {
    const std::string name = "trel_cap_ce_get_g_cap_int32";
    at_every_log_level([&] {
        int32_t integer = 0x2a;
        platform.hgetall_sync.always(HashAnswer::no_record());
        EXPECT_EQ(trel_cap_ce_get_glb_view_int32(client, kUrl, &integer), -22);
        EXPECT_EQ(integer, -1);
        const Log entered = {40, name, text("global %p, enter url %s", static_cast<void *>(client), kUrl)};
        expect_events({entered, request(), Log{100, name, "url /a, tmp NULL"}, call::hash_res_free()});
        platform.hgetall_sync.always(HashAnswer::found(cap_table(kUrl, {{7, 42}}), {7}));
        EXPECT_EQ(trel_cap_ce_get_glb_view_int32(client, kUrl, &integer), 0);
        EXPECT_EQ(integer, 42);
        expect_events(
            {entered, request(), Log{40, name, "url /a value 42"}, call::hash_res_free(), Log{40, name, "leave"}});
        EXPECT_EQ(trel_cap_ce_get_glb_view_int32(nullptr, nullptr, nullptr), -4);
        expect_events({Log{100, name, "global NULL pointer, addr error!\n"}});
        EXPECT_EQ(trel_cap_ce_get_glb_view_int32(client, kUrl, nullptr), -4);
        expect_events({Log{100, name, "value NULL pointer, addr error!\n"}});
    });
}

class NotificationView : public View {
protected:
    static constexpr uint32_t kSize = 64;
    std::array<char, kSize> url{};
    uint32_t length = 77;

    int32_t read(Message message) {
        value = 0x2a;
        length = 77;
        return trel_cap_get_glb_view_bool_by_pmsg(message.get(), kSize, url.data(), &value, &length);
    }
    static Log reader(int level, const char *message) { return {level, "trel_cap_ce_get_g_cap_bool_by_pmsg", message}; }
    static Log read_failed(int32_t status) { return failed("trel_cap_get_glb_view_bool_by_pmsg", status); }
};

TEST_F(NotificationView, ANotificationThatReadsIsReadOnce) {
    at_every_log_level([this] {
        EXPECT_EQ(read(Message(4, found(1))), 0);
        EXPECT_STREQ(url.data(), kUrl);
        EXPECT_EQ(value, 1);
        EXPECT_EQ(length, 2U);
        expect_events({reader(40, "enter size 64"), reader(40, "url /a, value is 1 length 2")});
    });
}

TEST_F(NotificationView, ANotificationThatDoesNotReadIsReadThreeTimesAndTwiceWhenTheLogIsClosed) {
    at_every_log_level([this] {
        url.fill('\0');
        std::strcpy(url.data(), "old");
        EXPECT_EQ(read(Message(4, HashAnswer::no_record())), -22);
        EXPECT_STREQ(url.data(), "");
        EXPECT_EQ(value, 0);
        EXPECT_EQ(length, 0U);
        const std::vector<Event> attempt = {reader(40, "enter size 64"), reader(100, "view is NULL, may be not exist")};
        std::vector<Event> expected = attempt;
        if (log_is_open()) {
            expected.insert(expected.end(), attempt.begin(), attempt.end());
            expected.emplace_back(read_failed(-22));
        }
        expected.insert(expected.end(), attempt.begin(), attempt.end());
        expect_events(expected);
    });
}

TEST_F(NotificationView, PassesItsArgumentsOn) {
    g_trel_cap_zlog_level = 1;
    Message message(4, found(1));
    const std::string too_long = url_of_length(256);
    std::array<char, 300> full{};
    std::strcpy(full.data(), too_long.c_str());
    const auto expect_three = [this](const char *text) {
        EXPECT_THAT(platform.logs(),
                    ::testing::ElementsAre(reader(100, text), reader(100, text), read_failed(-4), reader(100, text)));
        platform.forget();
    };
    EXPECT_EQ(trel_cap_get_glb_view_bool_by_pmsg(nullptr, 64, nullptr, nullptr, nullptr), -4);
    expect_three("pmsg NULL pointer, addr error!\n");
    EXPECT_EQ(trel_cap_get_glb_view_bool_by_pmsg(message.get(), 64, nullptr, nullptr, nullptr), -4);
    expect_three("url NULL pointer, addr error!\n");
    EXPECT_EQ(trel_cap_get_glb_view_bool_by_pmsg(message.get(), 300, full.data(), nullptr, nullptr), -4);
    expect_three("url len too long 256!\n");
    EXPECT_EQ(trel_cap_get_glb_view_bool_by_pmsg(message.get(), 64, url.data(), nullptr, nullptr), -4);
    expect_three("value NULL pointer, addr error!\n");
    EXPECT_EQ(trel_cap_get_glb_view_bool_by_pmsg(message.get(), 64, url.data(), &value, nullptr), -4);
    expect_three("length NULL pointer, addr error!\n");
}

TEST_F(NotificationView, TheBufferIsAsLargeAsTheCallerSays) {
    Message message(4, HashAnswer::found(cap_table("/abcdefghijklmnopqrs", {{6, 1}}), {6}));
    EXPECT_EQ(trel_cap_get_glb_view_bool_by_pmsg(message.get(), 10, url.data(), &value, &length), 0);
    EXPECT_STREQ(url.data(), "/abcdefgh");
    EXPECT_EQ(length, 9U);
}

class StateView : public View {
protected:
    static Log setter(int level, const std::string &message) { return {level, "trel_cap_ce_set_g_cap_state", message}; }
    static Log set_failed() { return failed("trel_cap_ce_set_cap_view_state", -4); }
};

// The setter answers 0 whatever the store says, so that a write is never repeated.
TEST_F(StateView, AWriteIsMadeOnceWhateverTheStoreAnswers) {
    at_every_log_level([this] {
        const Call write = call::hmset_sync(client, 28, cap_table(kUrl, {{22, 1}}), {22});
        const std::string progress = text("global %p, url /a state 1", static_cast<void *>(client));
        platform.hmset_sync.always(0);
        EXPECT_EQ(trel_cap_ce_set_cap_view_state(client, kUrl, 1), 0);
        expect_events({setter(40, progress), write, setter(40, "leave")});
        platform.hmset_sync.always(-110);
        EXPECT_EQ(trel_cap_ce_set_cap_view_state(client, kUrl, 1), 0);
        expect_events({setter(40, progress), write, setter(100, progress + ", rv -110"), setter(40, "leave")});
    });
}

TEST_F(StateView, ABadArgumentIsReportedThreeTimesAndNotAtAllWhenTheLogIsClosed) {
    const std::string too_long = url_of_length(256);
    const auto expect_three = [this](const char *message) {
        expect_events({setter(100, message), setter(100, message), set_failed(), setter(100, message)});
    };
    at_every_log_level([&] {
        EXPECT_EQ(trel_cap_ce_set_cap_view_state(nullptr, nullptr, 1), -4);
        expect_three("global NULL pointer, addr error!\n");
        EXPECT_EQ(trel_cap_ce_set_cap_view_state(client, nullptr, 1), -4);
        expect_three("url NULL pointer, addr error!\n");
        EXPECT_EQ(trel_cap_ce_set_cap_view_state(client, too_long.c_str(), 1), -4);
        expect_three("url len too long 256!\n");
    });
}

}  // namespace
}  // namespace trel_cap_tests
