// Which capability functions call others of them, through their exported names.

#include "interposed.h"
#include "library_test.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

int32_t callback(MomClient *, MomMsg *, void *) { return 0; }

class CapabilityCalls : public LibraryTest {
protected:
    interposed::Script &script = interposed::script();
    const char *const url = "/a";

    CapabilityCalls() { interposed::reset(); }

    // One call, with those pointers, and nothing of the platform.
    void expect_call(const char *name, const std::vector<const void *> &arguments) {
        EXPECT_THAT(script.calls, ElementsAre(name));
        EXPECT_EQ(script.arguments, arguments);
        EXPECT_THAT(platform.events(), IsEmpty());
        script.calls.clear();
    }
};

TEST_F(CapabilityCalls, HpsAndFabricBooleansAreTheLineCards) {
    uint8_t value = 0x2a;
    for (const auto getter : {trel_cap_ce_get_hps_cap_bool, trel_cap_ce_get_fab_cap_bool}) {
        for (const int32_t answer : {0, -24, 7}) {
            script.answers = {answer};
            EXPECT_EQ(getter(client, -5, url, &value), answer);
            EXPECT_THAT(script.log_levels, ElementsAre(-5));
            expect_call("trel_cap_ce_get_fe_cap_bool", {client, url, &value});
        }
    }
    EXPECT_EQ(value, 0x2a);
}

TEST_F(CapabilityCalls, HpsAndFabricIntegersAreTheLineCards) {
    int32_t value = 0x2a;
    for (const auto getter : {trel_cap_ce_get_hps_cap_int32, trel_cap_ce_get_fab_cap_int32}) {
        for (const int32_t answer : {0, -24, 7}) {
            script.answers = {answer};
            EXPECT_EQ(getter(client, 513, url, &value), answer);
            EXPECT_THAT(script.log_levels, ElementsAre(513));
            expect_call("trel_cap_ce_get_fe_cap_int32", {client, url, &value});
        }
    }
    EXPECT_EQ(value, 0x2a);
}

// Whatever the arguments: they are the line card getter's business.
TEST_F(CapabilityCalls, HpsAndFabricStringsAreTheLineCards) {
    std::array<char, 8> str{};
    uint32_t length = 0x2a;
    for (const auto getter : {trel_cap_ce_get_hps_cap_str, trel_cap_ce_get_fab_cap_str}) {
        script.answers = {-24, -4};
        EXPECT_EQ(getter(client, 513, url, 8, str.data(), &length), -24);
        EXPECT_THAT(script.log_levels, ElementsAre(513, 8));
        expect_call("trel_cap_ce_get_fe_cap_str", {client, url, str.data(), &length});
        EXPECT_EQ(getter(nullptr, 0, nullptr, -1, nullptr, nullptr), -4);
        EXPECT_THAT(script.log_levels, ElementsAre(0, -1));
        expect_call("trel_cap_ce_get_fe_cap_str", {nullptr, nullptr, nullptr, nullptr});
    }
    EXPECT_EQ(length, 0x2aU);
}

struct ShortForm {
    const char *target;
    int32_t (*subscribe)(MomClient *, const char *, MomFieldCb);
};

const ShortForm kShortForms[] = {
    {"trel_cap_ce_subscribe_g_cap_bool_ext", trel_cap_ce_subscribe_g_cap_bool},
    {"trel_cap_ce_subscribe_g_cap_int32_ext", trel_cap_ce_subscribe_g_cap_int32},
    {"trel_cap_ce_subscribe_hps_g_cap_bool_ext", trel_cap_ce_subscribe_hps_g_cap_bool},
    {"trel_cap_ce_subscribe_hps_g_cap_int32_ext", trel_cap_ce_subscribe_hps_g_cap_int32},
    {"trel_cap_ce_subscribe_g_cap_bool_ext", trel_cap_ce_subscribe_fab_g_cap_bool},
    {"trel_cap_ce_subscribe_fab_g_cap_int32_ext", trel_cap_ce_subscribe_fab_g_cap_int32},
    {"trel_cap_ce_subscribe_cm_g_cap_bool_ext", trel_cap_ce_subscribe_cm_g_cap_bool},
    {"trel_cap_ce_subscribe_cm_g_cap_int32_ext", trel_cap_ce_subscribe_cm_g_cap_int32},
};

TEST_F(CapabilityCalls, AShortFormCallsTheLongOneWithoutUserData) {
    for (const ShortForm &form : kShortForms) {
        // The function that stands in front of the first is passed through.
        const bool is_stood_in_front_of = form.subscribe == trel_cap_ce_subscribe_g_cap_bool;
        for (const int32_t answer : {0, -110, 7}) {
            script.answers = {answer};
            if (is_stood_in_front_of) {
                script.answers.push_front(std::nullopt);
            }
            EXPECT_EQ(form.subscribe(client, url, callback), answer) << form.target;
            if (is_stood_in_front_of) {
                script.calls.erase(script.calls.begin());
            }
            expect_call(form.target, {client, url, reinterpret_cast<const void *>(callback), nullptr});
        }
    }
}

TEST_F(CapabilityCalls, TheViewSubscribesThroughTheShortForm) {
    g_trel_cap_zlog_level = 1;
    script.answers = {-1, -2, -3};
    EXPECT_EQ(trel_cap_subscribe_glb_view_bool(client, url, callback), -3);
    const char *const target = "trel_cap_ce_subscribe_g_cap_bool";
    EXPECT_THAT(script.calls, ElementsAre(target, target, target));
    EXPECT_THAT(script.arguments, ElementsAre(client, url, reinterpret_cast<const void *>(callback)));
    EXPECT_THAT(platform.logs(), ElementsAre(Log{100, "trel_cap_subscribe_glb_view_bool", "failed,rv -2"}));
}

// A message that is not let out is not put together either.
TEST_F(CapabilityCalls, AClosedLogFormatsNothing) {
    const auto formatted_at = [this](int32_t level) {
        g_trel_cap_zlog_level = level;
        script.formatted = 0;
        platform.forget();
        uint8_t boolean = 0;
        int32_t integer = 0;
        std::array<char, 8> str{};
        uint32_t length = 0;
        const Record record =
            Record::of(cap_glb_table__descriptor, {{6, 1}}).with_index({{1, 1}, {2, std::string(url)}});
        platform.hgetall_sync.then(HashAnswer::found(record, {6, 7, 8}));
        trel_cap_ce_get_fe_cap_str(client, 1, url, 8, str.data(), &length);
        platform.hgetall_sync.then(HashAnswer::no_record());
        trel_cap_ce_get_cm_cap_int32(client, 1, url, &integer);
        platform.hgetall_sync.then(HashAnswer::found(record, {}));
        trel_cap_ce_get_hps_cap_bool(client, 1, url, &boolean);
        trel_cap_ce_get_cm_g_cap_bool(client, url, &boolean);
        trel_cap_ce_get_fe_cap_str(client, 1, url, 0, str.data(), &length);
        platform.subscribe_field.then(-110);
        trel_cap_ce_subscribe_hps_g_cap_bool(client, url, callback);
        trel_cap_ce_subscribe_cm_g_cap_int32_ext(client, url, callback, &length);
        return static_cast<size_t>(script.formatted);
    };
    EXPECT_EQ(formatted_at(0), 0U);
    for (const int32_t level : {1, 2, 3, 4, -1}) {
        EXPECT_GT(formatted_at(level), 0U) << level;
        EXPECT_EQ(formatted_at(level), platform.logs().size()) << level;
    }
}

}  // namespace
}  // namespace trel_cap_tests
