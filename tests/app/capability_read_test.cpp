// Reading a capability by URL: one of the device, or of a card class.

#include <cstring>

#include "allocations.h"
#include "library_test.h"
#include "parameter_name.h"
#include "thread_stack.h"

namespace trel_cap_tests {
namespace {

// A variable of the caller with neighbours that nobody may touch.
template <class Value>
struct Guarded {
    Value before = 0x55;
    Value value;
    Value after = 0x55;
};

// Calls a getter with `value` as the caller's variable; a null one stands for a null argument.
template <class Value>
int32_t call_getter(int32_t (*getter)(MomClient *, const char *, Value *), MomClient *client, const char *url,
                    int32_t *value) {
    if (value == nullptr) {
        return getter(client, url, nullptr);
    }
    Guarded<Value> guarded{.value = static_cast<Value>(*value)};
    const int32_t status = getter(client, url, &guarded.value);
    EXPECT_EQ(guarded.before, 0x55);
    EXPECT_EQ(guarded.after, 0x55);
    *value = guarded.value;
    return status;
}

struct Getter {
    const char *name;
    const ProtobufCMessageDescriptor *record;
    int32_t field;
    int32_t other_field;
    bool presets_value;  // to -1, once the store has answered
    int32_t (*get)(MomClient *client, const char *url, int32_t *value);
};

template <auto kFunction>
int32_t with_value(MomClient *client, const char *url, int32_t *value) {
    return call_getter(kFunction, client, url, value);
}

#define BOOL_GETTER(function, record)                                                                                  \
    { #function, &record##__descriptor, 6, 7, false, with_value < function> }
#define INT32_GETTER(function, record)                                                                                 \
    { #function, &record##__descriptor, 7, 6, true, with_value < function> }

const Getter kGetters[] = {
    BOOL_GETTER(trel_cap_ce_get_g_cap_bool, cap_table),
    INT32_GETTER(trel_cap_ce_get_g_cap_int32, cap_table),
    BOOL_GETTER(trel_cap_ce_get_hps_g_cap_bool, cap_hps_table),
    INT32_GETTER(trel_cap_ce_get_hps_g_cap_int32, cap_hps_table),
    BOOL_GETTER(trel_cap_ce_get_fab_g_cap_bool, cap_fab_table),
    INT32_GETTER(trel_cap_ce_get_fab_g_cap_int32, cap_fab_table),
    BOOL_GETTER(trel_cap_ce_get_cm_g_cap_bool, cap_cm_table),
    INT32_GETTER(trel_cap_ce_get_cm_g_cap_int32, cap_cm_table),
};

class CapabilityRead : public LibraryTest, public ::testing::WithParamInterface<Getter> {
protected:
    static constexpr int32_t kHeld = 0x2a;
    const Getter &getter = GetParam();
    const std::string url = "/chassis/fan count";
    int32_t value = kHeld;

    Record table(const std::string &its_url, const Fields &fields = {}) const {
        return Record::of(*getter.record, fields).with_index({{1, its_url}});
    }
    // A record whose other value is another.
    Record holding(int32_t stored, const std::string &its_url) const {
        return table(its_url,
                     {{static_cast<uint32_t>(getter.field), stored}, {static_cast<uint32_t>(getter.other_field), 99}});
    }
    int32_t get(const std::string &wanted) {
        value = kHeld;
        return getter.get(client, wanted.c_str(), &value);
    }
    int32_t value_after_failed_search() const { return getter.presets_value ? -1 : kHeld; }

    Log error(const std::string &message) const { return {100, getter.name, message}; }
    Log detail(const std::string &message) const { return {40, getter.name, message}; }
    Log enter(const std::string &wanted) const {
        return detail(text("global %p, enter url %s", static_cast<void *>(client), wanted.c_str()));
    }
    Call request(const std::string &wanted) const { return call::hgetall_sync(client, 28, table(wanted)); }
};

INSTANTIATE_TEST_SUITE_P(Getters, CapabilityRead, ::testing::ValuesIn(kGetters), test_support::name_of);

TEST_P(CapabilityRead, YieldsTheValueOfTheRecord) {
    platform.hgetall_sync.always(HashAnswer::found(holding(1, url), {5, getter.field}));
    at_every_log_level([this] {
        EXPECT_EQ(get(url), 0);
        EXPECT_EQ(value, 1);
        expect_events({enter(url), request(url), detail("url /chassis/fan count value 1"), call::hash_res_free(),
                       detail("leave")});
    });
}

TEST_P(CapabilityRead, YieldsAWrittenZero) {
    platform.hgetall_sync.always(HashAnswer::found(table(url), {5, getter.field}));
    EXPECT_EQ(get(url), 0);
    EXPECT_EQ(value, 0);
}

TEST_P(CapabilityRead, FindsTheFieldWhereverItStands) {
    const std::vector<int32_t> others = {5, getter.other_field, 8, 21, 22};
    for (size_t place = 0; place <= others.size(); ++place) {
        std::vector<int32_t> ids = others;
        ids.insert(ids.begin() + static_cast<std::ptrdiff_t>(place), getter.field);
        platform.hgetall_sync.then(HashAnswer::found(holding(1, url), ids));
        EXPECT_EQ(get(url), 0) << "at " << place;
        EXPECT_EQ(value, 1) << "at " << place;
    }
}

TEST_P(CapabilityRead, TakesUrlsOfUpTo255Bytes) {
    platform.hgetall_sync.always(HashAnswer::found(holding(1, url), {getter.field}));
    for (const size_t length : {size_t{0}, size_t{1}, size_t{254}, size_t{255}}) {
        const std::string wanted = length == 0 ? "" : url_of_length(length).substr(0, length);
        platform.forget();
        EXPECT_EQ(get(wanted), 0) << length;
        EXPECT_EQ(value, 1) << length;
        EXPECT_THAT(platform.calls("ox_mom_hgetall_sync"), ::testing::ElementsAre(request(wanted)));
    }
}

TEST_P(CapabilityRead, RefusesLongerUrlsBeforeAskingTheStore) {
    for (const size_t length : {size_t{256}, size_t{257}, size_t{5000}}) {
        at_every_log_level([this, length] {
            EXPECT_EQ(get(url_of_length(length)), -4);
            EXPECT_EQ(value, kHeld);
            expect_events({error("url len too long " + std::to_string(length) + "!\n")});
        });
    }
}

// Each combination of bad arguments reports the first of: client, URL, length of the URL, variable.
TEST_P(CapabilityRead, ReportsTheFirstBadArgumentOnly) {
    const std::string long_url = url_of_length(256);
    const char *const urls[] = {nullptr, long_url.c_str(), url.c_str()};
    for (MomClient *const given_client : {static_cast<MomClient *>(nullptr), client}) {
        for (const char *const given_url : urls) {
            for (int32_t *const given_value : {static_cast<int32_t *>(nullptr), &value}) {
                const char *expected = nullptr;
                if (given_client == nullptr) {
                    expected = "global NULL pointer, addr error!\n";
                } else if (given_url == nullptr) {
                    expected = "url NULL pointer, addr error!\n";
                } else if (given_url == long_url.c_str()) {
                    expected = "url len too long 256!\n";
                } else if (given_value == nullptr) {
                    expected = "value NULL pointer, addr error!\n";
                } else {
                    continue;
                }
                at_every_log_level([&] {
                    EXPECT_EQ(getter.get(given_client, given_url, given_value), -4);
                    EXPECT_EQ(value, kHeld);
                    expect_events({error(expected)});
                });
            }
        }
    }
}

TEST_P(CapabilityRead, WithoutAResultThereIsNoAnswer) {
    platform.hgetall_sync.always(HashAnswer::none());
    at_every_log_level([this] {
        EXPECT_EQ(get(url), -21);
        EXPECT_EQ(value, kHeld);
        expect_events({enter(url), request(url), error("url /chassis/fan count, result NULL")});
    });
}

TEST_P(CapabilityRead, AnErrorCodeIsNoAnswer) {
    for (const int32_t code : {-108, 7}) {
        platform.hgetall_sync.always(HashAnswer::error(code));
        at_every_log_level([this, code] {
            EXPECT_EQ(get(url), -21);
            EXPECT_EQ(value, kHeld);
            expect_events({enter(url), request(url),
                           error("url /chassis/fan count, result error_code " + std::to_string(code)),
                           call::hash_res_free()});
        });
    }
}

TEST_P(CapabilityRead, AnErrorCodeCountsMoreThanARecord) {
    HashAnswer answer = HashAnswer::found(holding(1, url), {getter.field});
    answer.error_code = -108;
    platform.hgetall_sync.always(answer);
    EXPECT_EQ(get(url), -21);
    EXPECT_EQ(value, kHeld);
}

TEST_P(CapabilityRead, AResultWithoutARecordIsNoRecord) {
    platform.hgetall_sync.always(HashAnswer::no_record());
    at_every_log_level([this] {
        EXPECT_EQ(get(url), -22);
        EXPECT_EQ(value, value_after_failed_search());
        expect_events({enter(url), request(url), error("url /chassis/fan count, tmp NULL"), call::hash_res_free()});
    });
}

TEST_P(CapabilityRead, AMissingRecordCountsMoreThanAPresentField) {
    platform.hgetall_sync.always(HashAnswer::found(Record(), {getter.field}));
    EXPECT_EQ(get(url), -22);
}

// The record carries a value all the same: what counts is what the store says is present.
TEST_P(CapabilityRead, AFieldThatIsNotPresentIsNoValue) {
    const std::vector<std::vector<int32_t>> absent = {{}, {5}, {getter.other_field}, {5, 8, getter.other_field, 22}};
    for (const auto &field_ids : absent) {
        platform.hgetall_sync.always(HashAnswer::found(holding(1, url), field_ids));
        at_every_log_level([this] {
            EXPECT_EQ(get(url), -24);
            EXPECT_EQ(value, value_after_failed_search());
            expect_events({enter(url), request(url), error("url /chassis/fan count, value field invalid"),
                           call::hash_res_free()});
        });
    }
}

TEST_P(CapabilityRead, AsksTheClientItIsGiven) {
    g_trel_cap_global = client;
    getter.get(other_client, url.c_str(), &value);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(call::hgetall_sync(other_client, 28, table(url))));
}

TEST_P(CapabilityRead, AsksTheStoreAnewEveryTime) {
    platform.hgetall_sync.then(HashAnswer::found(holding(1, url), {getter.field}));
    platform.hgetall_sync.then(HashAnswer::found(table(url), {getter.field}));
    EXPECT_EQ(get(url), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(get(url), 0);
    EXPECT_EQ(value, 0);
}

TEST_P(CapabilityRead, BuildsItsRequestOnTheStackAroundTheCallersUrl) {
    const char *const given = url.c_str();
    platform.on_call = [given](const Call &, const ProtobufCMessage *request) {
        if (request != nullptr) {
            const auto *record = reinterpret_cast<const CapTable *>(request);  // its index is where every type has it
            EXPECT_TRUE(test_support::is_on_this_stack(record));
            EXPECT_TRUE(test_support::is_on_this_stack(record->index));
            EXPECT_EQ(static_cast<const void *>(record->index->url), static_cast<const void *>(given));
        }
    };
    EXPECT_EQ(getter.get(client, given, &value), -21);
    EXPECT_EQ(platform.calls("ox_mom_hgetall_sync").size(), 1U);
}

TEST_P(CapabilityRead, AllocatesNothing) {
    platform.hgetall_sync.then(HashAnswer::none());
    platform.hgetall_sync.then(HashAnswer::error(-108));
    platform.hgetall_sync.then(HashAnswer::no_record());
    platform.hgetall_sync.then(HashAnswer::found(table(url), {}));
    platform.hgetall_sync.then(HashAnswer::found(table(url), {getter.field}));
    const std::string long_url = url_of_length(300);
    const test_support::AllocationCount allocations;
    EXPECT_EQ(getter.get(client, long_url.c_str(), &value), -4);
    EXPECT_EQ(getter.get(client, url.c_str(), &value), -21);
    EXPECT_EQ(getter.get(client, url.c_str(), &value), -21);
    EXPECT_EQ(getter.get(client, url.c_str(), &value), -22);
    EXPECT_EQ(getter.get(client, url.c_str(), &value), -24);
    EXPECT_EQ(getter.get(client, url.c_str(), &value), 0);
    EXPECT_EQ(allocations.count(), 0);
}

TEST_P(CapabilityRead, ABooleanIsZeroOrOneAndAnIntegerComesUnchanged) {
    for (const int32_t stored : {0, 1, 2, 5, 256, -1, INT32_MAX, INT32_MIN}) {
        platform.hgetall_sync.always(HashAnswer::found(holding(stored, url), {5, getter.field}));
        const int32_t expected = getter.field == 6 ? stored != 0 : stored;
        EXPECT_EQ(get(url), 0);
        EXPECT_EQ(value, expected) << stored;
        EXPECT_THAT(platform.logs(), ::testing::Contains(detail(text("url /chassis/fan count value %d", expected))));
        platform.forget();
    }
}

using CapabilityReadInt32 = LibraryTest;

TEST_F(CapabilityReadInt32, ReadsWhatABooleanReadFindsUnset) {
    platform.hgetall_sync.always(HashAnswer::found(cap_table("/a", {{7, 42}}), {5, 7}));
    uint8_t boolean = 0x2a;
    EXPECT_EQ(trel_cap_ce_get_g_cap_bool(client, "/a", &boolean), -24);
    EXPECT_EQ(boolean, 0x2a);
    int32_t integer = 0;
    EXPECT_EQ(trel_cap_ce_get_g_cap_int32(client, "/a", &integer), 0);
    EXPECT_EQ(integer, 42);
}

}  // namespace
}  // namespace trel_cap_tests
