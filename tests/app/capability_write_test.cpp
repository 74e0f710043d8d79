// Writing a capability and its state.

#include "allocations.h"
#include "library_test.h"
#include "parameter_name.h"
#include "thread_stack.h"

namespace trel_cap_tests {
namespace {

struct Setter {
    const char *name;
    int32_t (*set)(MomClient *client, const char *url, int32_t value);
    int32_t field;
    const char *value_text;  // what stands before the value in the messages
    bool tells_of_refusals;
};

const Setter kSetters[] = {
    {"trel_cap_ce_set_g_cap_bool", trel_cap_ce_set_g_cap_bool, 6, ", value ", true},
    {"trel_cap_ce_set_g_cap_int32", trel_cap_ce_set_g_cap_int32, 7, ", ", true},
    {"trel_cap_ce_set_g_cap_state", trel_cap_ce_set_g_cap_state, 22, " state ", false},
};

class CapabilityWrite : public LibraryTest, public ::testing::WithParamInterface<Setter> {
protected:
    const Setter &setter = GetParam();

    Log error(const std::string &message) const { return {100, setter.name, message}; }
    Log detail(const std::string &message) const { return {40, setter.name, message}; }
    std::string progress(const std::string &url, int32_t value) const {
        return text("global %p, url %s", static_cast<void *>(client), url.c_str()) + setter.value_text +
               std::to_string(value);
    }
    // One value field and the index, nothing else.
    Call write(const std::string &url, int32_t value) const {
        const auto field = static_cast<uint32_t>(setter.field);
        return call::hmset_sync(client, 28, cap_table(url, {{field, value}}), {setter.field});
    }
};

INSTANTIATE_TEST_SUITE_P(Setters, CapabilityWrite, ::testing::ValuesIn(kSetters), test_support::name_of);

TEST_P(CapabilityWrite, WritesTheOneField) {
    for (const int32_t value : {1, 0, 5, -3, INT32_MAX, INT32_MIN}) {
        at_every_log_level([this, value] {
            EXPECT_EQ(setter.set(client, "/a b", value), 0);
            expect_events({detail(progress("/a b", value)), write("/a b", value), detail("leave")});
        });
    }
}

TEST_P(CapabilityWrite, ARefusalIsLoggedAndToldExceptOfAState) {
    for (const int32_t code : {-110, 3}) {
        platform.hmset_sync.always(code);
        at_every_log_level([this, code] {
            EXPECT_EQ(setter.set(client, "/a", 1), setter.tells_of_refusals ? code : 0);
            std::vector<Event> expected = {detail(progress("/a", 1)), write("/a", 1),
                                           error(progress("/a", 1) + ", rv " + std::to_string(code))};
            if (!setter.tells_of_refusals) {
                expected.emplace_back(detail("leave"));
            }
            expect_events(expected);
        });
    }
}

TEST_P(CapabilityWrite, TakesUrlsOfUpTo255Bytes) {
    for (const std::string &url : {std::string(), url_of_length(254), url_of_length(255)}) {
        platform.forget();
        EXPECT_EQ(setter.set(client, url.c_str(), 1), 0);
        EXPECT_THAT(platform.calls(), ::testing::ElementsAre(write(url, 1)));
    }
}

TEST_P(CapabilityWrite, RefusesLongerUrlsBeforeAskingTheStore) {
    for (const size_t length : {size_t{256}, size_t{257}, size_t{5000}}) {
        at_every_log_level([this, length] {
            EXPECT_EQ(setter.set(client, url_of_length(length).c_str(), 1), -4);
            expect_events({error("url len too long " + std::to_string(length) + "!\n")});
        });
    }
}

TEST_P(CapabilityWrite, ReportsTheFirstBadArgumentOnly) {
    const std::string long_url = url_of_length(256);
    at_every_log_level([&] {
        for (const char *const url : {static_cast<const char *>(nullptr), long_url.c_str(), "/a"}) {
            EXPECT_EQ(setter.set(nullptr, url, 1), -4);
            expect_events({error("global NULL pointer, addr error!\n")});
        }
        EXPECT_EQ(setter.set(client, nullptr, 1), -4);
        expect_events({error("url NULL pointer, addr error!\n")});
    });
}

TEST_P(CapabilityWrite, WritesToTheClientItIsGiven) {
    g_trel_cap_global = other_client;
    EXPECT_EQ(setter.set(client, "/a", 1), 0);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(write("/a", 1)));
}

TEST_P(CapabilityWrite, BuildsItsRecordOnTheStackAroundTheCallersUrlAndAllocatesNothing) {
    const std::string url = "/a";
    const char *const given = url.c_str();
    platform.on_call = [given](const Call &, const ProtobufCMessage *record) {
        const auto *table = reinterpret_cast<const CapTable *>(record);
        EXPECT_TRUE(test_support::is_on_this_stack(table));
        EXPECT_TRUE(test_support::is_on_this_stack(table->index));
        EXPECT_EQ(static_cast<const void *>(table->index->url), static_cast<const void *>(given));
    };
    platform.hmset_sync.then(-110);
    const test_support::AllocationCount allocations;
    setter.set(client, given, 1);
    setter.set(client, given, 1);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(platform.calls("ox_mom_hmset_sync").size(), 2U);
}

}  // namespace
}  // namespace trel_cap_tests
