// Reading a capability of one card node.

#include "allocations.h"
#include "node_getters.h"
#include "thread_stack.h"

namespace trel_cap_tests {
namespace {

using NodeCapability = NodeCapabilityTest;

INSTANTIATE_TEST_SUITE_P(Getters, NodeCapability, ::testing::ValuesIn(kNodeGetters), name_of_getter);

TEST_P(NodeCapability, YieldsTheValueOfTheRecord) {
    platform.hgetall_sync.always(found());
    at_every_log_level([this] {
        caller = Caller();
        EXPECT_EQ(get(url), 0);
        EXPECT_EQ(caller, delivered());
        expect_events({enter(url), request(url), delivered_message(), call::hash_res_free(), detail("leave")});
    });
}

TEST_P(NodeCapability, YieldsAWrittenDefault) {
    platform.hgetall_sync.always(HashAnswer::found(table(url), {5, getter.field()}));
    EXPECT_EQ(get(url), 0);
    Caller expected = reset();
    expected.integer[1] = getter.kind == NodeValue::kInt32 ? 0 : Caller::kHeld;
    EXPECT_EQ(caller, expected);
}

TEST_P(NodeCapability, AsksForTheNodeItIsGiven) {
    for (const int32_t node : {0, 1, -1, INT32_MAX, INT32_MIN}) {
        platform.forget();
        EXPECT_EQ(getter.get(client, node, url.c_str(), caller), -21);
        EXPECT_THAT(platform.calls(), ::testing::ElementsAre(call::hgetall_sync(client, 28, table(url, {}, node))));
        EXPECT_THAT(platform.logs(), ::testing::Contains(detail(text("global %p, node %d, url /port/mtu limit",
                                                                     static_cast<void *>(client), node))));
    }
}

TEST_P(NodeCapability, FindsTheFieldWhereverItStands) {
    std::vector<int32_t> others = {5, 6, 7, 8, 21};
    std::erase(others, getter.field());
    for (size_t place = 0; place <= others.size(); ++place) {
        std::vector<int32_t> ids = others;
        ids.insert(ids.begin() + static_cast<std::ptrdiff_t>(place), getter.field());
        platform.hgetall_sync.then(HashAnswer::found(holding(url), ids));
        caller = Caller();
        EXPECT_EQ(get(url), 0) << "at " << place;
        EXPECT_EQ(caller, delivered()) << "at " << place;
    }
}

TEST_P(NodeCapability, TakesUrlsOfUpTo255Bytes) {
    platform.hgetall_sync.always(found());
    for (const size_t length : {size_t{0}, size_t{1}, size_t{254}, size_t{255}}) {
        const std::string wanted = url_of_length(length).substr(0, length);
        platform.forget();
        caller = Caller();
        EXPECT_EQ(get(wanted), 0) << length;
        EXPECT_EQ(caller, delivered()) << length;
        EXPECT_THAT(platform.calls("ox_mom_hgetall_sync"), ::testing::ElementsAre(request(wanted)));
    }
}

TEST_P(NodeCapability, RefusesLongerUrlsBeforeAskingTheStore) {
    for (const size_t length : {size_t{256}, size_t{257}, size_t{5000}}) {
        at_every_log_level([this, length] {
            EXPECT_EQ(get(url_of_length(length)), -4);
            EXPECT_EQ(caller, untouched());
            expect_events({error("url len too long " + std::to_string(length) + "!\n")});
        });
    }
}

// Each combination of bad arguments reports the first of: client, URL, length of the URL, the place of the value, and
// for strings the place of the length, and the size.
TEST_P(NodeCapability, ReportsTheFirstBadArgumentOnly) {
    const bool is_string = getter.kind == NodeValue::kStr;
    const std::string too_long = url_of_length(256);
    struct {
        MomClient *client;
        const char *url;
        bool no_value;
        bool no_length;
        int32_t size;
        const char *expected;
    } const cases[] = {
        {nullptr, nullptr, true, true, 0, "global NULL pointer, addr error!\n"},
        {nullptr, too_long.c_str(), true, true, 0, "global NULL pointer, addr error!\n"},
        {nullptr, url.c_str(), false, false, 64, "global NULL pointer, addr error!\n"},
        {client, nullptr, true, true, 0, "url NULL pointer, addr error!\n"},
        {client, nullptr, false, false, 64, "url NULL pointer, addr error!\n"},
        {client, too_long.c_str(), true, true, 0, "url len too long 256!\n"},
        {client, too_long.c_str(), false, false, 64, "url len too long 256!\n"},
        {client, url.c_str(), true, true, 0,
         is_string ? "str NULL pointer, addr error!\n" : "value NULL pointer, addr error!\n"},
        {client, url.c_str(), true, false, 64,
         is_string ? "str NULL pointer, addr error!\n" : "value NULL pointer, addr error!\n"},
    };
    for (const auto &one : cases) {
        at_every_log_level([&] {
            caller = Caller();
            caller.no_value = one.no_value;
            caller.no_length = one.no_length;
            caller.size = one.size;
            EXPECT_EQ(getter.get(one.client, kNode, one.url, caller), -4);
            EXPECT_EQ(caller, untouched());
            expect_events({error(one.expected)});
        });
    }
}

// The caller's variables hold their own values as the getter enters, and are reset by the time the store is asked.
TEST_P(NodeCapability, ResetsTheCallersVariablesBeforeItAsks) {
    platform.on_log = [this](const Log &log, const char *) {
        if (log == enter(url)) {
            EXPECT_EQ(caller, untouched());
        }
    };
    platform.on_call = [this](const Call &made, const ProtobufCMessage *) {
        if (made.function == "ox_mom_hgetall_sync") {
            EXPECT_EQ(caller, reset());
        }
    };
    EXPECT_EQ(get(url), -21);
    EXPECT_EQ(platform.calls("ox_mom_hgetall_sync").size(), 1U);
}

TEST_P(NodeCapability, WithoutAResultThereIsNoAnswer) {
    platform.hgetall_sync.always(HashAnswer::none());
    at_every_log_level([this] {
        caller = Caller();
        EXPECT_EQ(get(url), -21);
        EXPECT_EQ(caller, reset());
        expect_events({enter(url), request(url), error("url /port/mtu limit, result NULL")});
    });
}

TEST_P(NodeCapability, AnErrorCodeIsNoAnswerWhateverElseComesWithIt) {
    for (const int32_t code : {-108, 7}) {
        HashAnswer answer = found();
        answer.error_code = code;
        platform.hgetall_sync.always(answer);
        at_every_log_level([this, code] {
            caller = Caller();
            EXPECT_EQ(get(url), -21);
            EXPECT_EQ(caller, reset());
            expect_events({enter(url), request(url),
                           error("url /port/mtu limit, result error_code " + std::to_string(code)),
                           call::hash_res_free()});
        });
    }
}

TEST_P(NodeCapability, AResultWithoutARecordIsNoRecordWhateverFieldsItLists) {
    platform.hgetall_sync.always(HashAnswer::found(Record(), {getter.field()}));
    at_every_log_level([this] {
        caller = Caller();
        EXPECT_EQ(get(url), -22);
        EXPECT_EQ(caller, reset());
        expect_events(
            {enter(url), request(url), error("node 513, url /port/mtu limit, tmp NULL"), call::hash_res_free()});
    });
}

// The record carries a value all the same: what counts is what the store says is present.
TEST_P(NodeCapability, AFieldThatIsNotPresentIsNoValue) {
    std::vector<int32_t> others = {5, 6, 7, 8};
    std::erase(others, getter.field());
    for (const std::vector<int32_t> &field_ids : {std::vector<int32_t>(), {5}, others}) {
        platform.hgetall_sync.always(HashAnswer::found(holding(url), field_ids));
        at_every_log_level([this] {
            caller = Caller();
            EXPECT_EQ(get(url), -24);
            EXPECT_EQ(caller, reset());
            expect_events({enter(url), request(url), error("node 513, url /port/mtu limit, value field invalid"),
                           call::hash_res_free()});
        });
    }
}

TEST_P(NodeCapability, AsksTheClientItIsGiven) {
    g_trel_cap_global = client;
    getter.get(other_client, kNode, url.c_str(), caller);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(call::hgetall_sync(other_client, 28, table(url))));
}

TEST_P(NodeCapability, BuildsItsRequestOnTheStackAroundTheCallersUrl) {
    const char *const given = url.c_str();
    platform.on_call = [given](const Call &, const ProtobufCMessage *request) {
        if (request != nullptr) {
            const auto *record = reinterpret_cast<const CapGlbTable *>(request);  // its index is where both have it
            EXPECT_TRUE(test_support::is_on_this_stack(record));
            EXPECT_TRUE(test_support::is_on_this_stack(record->index));
            EXPECT_EQ(static_cast<const void *>(record->index->url), static_cast<const void *>(given));
        }
    };
    EXPECT_EQ(getter.get(client, kNode, given, caller), -21);
    EXPECT_EQ(platform.calls("ox_mom_hgetall_sync").size(), 1U);
}

TEST_P(NodeCapability, AllocatesNothing) {
    platform.hgetall_sync.then(HashAnswer::none());
    platform.hgetall_sync.then(HashAnswer::error(-108));
    platform.hgetall_sync.then(HashAnswer::no_record());
    platform.hgetall_sync.then(HashAnswer::found(table(url), {}));
    platform.hgetall_sync.then(found());
    const std::string long_url = url_of_length(300);
    const test_support::AllocationCount allocations;
    EXPECT_EQ(get(long_url), -4);
    EXPECT_EQ(get(url), -21);
    EXPECT_EQ(get(url), -21);
    EXPECT_EQ(get(url), -22);
    EXPECT_EQ(get(url), -24);
    EXPECT_EQ(get(url), 0);
    EXPECT_EQ(allocations.count(), 0);
}

using NodeNumber = NodeCapabilityTest;

std::vector<NodeGetter> number_getters() {
    std::vector<NodeGetter> getters(std::begin(kNodeGetters), std::end(kNodeGetters));
    std::erase_if(getters, [](const NodeGetter &getter) { return getter.kind == NodeValue::kStr; });
    return getters;
}

INSTANTIATE_TEST_SUITE_P(Getters, NodeNumber, ::testing::ValuesIn(number_getters()), name_of_getter);

TEST_P(NodeNumber, ABooleanIsZeroOrOneAndAnIntegerComesUnchanged) {
    for (const int32_t stored : {0, 1, 2, 5, 256, -1, INT32_MAX, INT32_MIN}) {
        const bool is_bool = getter.kind == NodeValue::kBool;
        const Record record = table(url, {{6, is_bool ? stored : 1}, {7, is_bool ? 1 : stored}});
        platform.hgetall_sync.always(HashAnswer::found(record, {5, 6, 7}));
        EXPECT_EQ(get(url), 0);
        const int32_t expected = is_bool ? stored != 0 : stored;
        EXPECT_EQ(is_bool ? caller.boolean[1] : caller.integer[1], expected);
        EXPECT_THAT(platform.logs(),
                    ::testing::Contains(detail(text("node 513, url /port/mtu limit value %d", expected))));
        platform.forget();
    }
}

}  // namespace
}  // namespace trel_cap_tests
