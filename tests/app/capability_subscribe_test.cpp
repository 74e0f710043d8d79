// Following a capability: one of the device, or of a card class.

#include "allocations.h"
#include "library_test.h"
#include "parameter_name.h"
#include "thread_stack.h"

namespace trel_cap_tests {
namespace {

int32_t callback(MomClient *, MomMsg *, void *) {
    ADD_FAILURE() << "the library called an application's callback";
    return 0;
}

using Extended = int32_t (*)(MomClient *, const char *, MomFieldCb, void *);
using Short = int32_t (*)(MomClient *, const char *, MomFieldCb);

struct Subscriber {
    const char *name;
    const char *logged;  // the name in its messages
    const ProtobufCMessageDescriptor *record;
    int32_t field;
    Extended extended;  // one of the two
    Short without_arg;
};

#define EXTENDED(scope, type, record, field)                                                                           \
    {                                                                                                                  \
        "trel_cap_ce_subscribe_" #scope "_" #type "_ext", "trel_cap_ce_subscribe_" #scope "_" #type "_ext",            \
            &record##__descriptor, field, trel_cap_ce_subscribe_##scope##_##type##_ext, nullptr                        \
    }
#define SHORT(scope, type, target, record, field)                                                                      \
    {                                                                                                                  \
        "trel_cap_ce_subscribe_" #scope "_" #type, "trel_cap_ce_subscribe_" #target "_" #type "_ext",                  \
            &record##__descriptor, field, nullptr, trel_cap_ce_subscribe_##scope##_##type                              \
    }

const Subscriber kSubscribers[] = {
    EXTENDED(g_cap, bool, cap_table, 6),
    EXTENDED(g_cap, int32, cap_table, 7),
    EXTENDED(hps_g_cap, bool, cap_hps_table, 6),
    EXTENDED(hps_g_cap, int32, cap_hps_table, 7),
    EXTENDED(fab_g_cap, bool, cap_fab_table, 6),
    EXTENDED(fab_g_cap, int32, cap_fab_table, 7),
    EXTENDED(cm_g_cap, bool, cap_cm_table, 6),
    EXTENDED(cm_g_cap, int32, cap_cm_table, 7),
    SHORT(g_cap, bool, g_cap, cap_table, 6),
    SHORT(g_cap, int32, g_cap, cap_table, 7),
    SHORT(hps_g_cap, bool, hps_g_cap, cap_hps_table, 6),
    SHORT(hps_g_cap, int32, hps_g_cap, cap_hps_table, 7),
    SHORT(fab_g_cap, bool, g_cap, cap_table, 6),  // the device's, for all its name
    SHORT(fab_g_cap, int32, fab_g_cap, cap_fab_table, 7),
    SHORT(cm_g_cap, bool, cm_g_cap, cap_cm_table, 6),
    SHORT(cm_g_cap, int32, cm_g_cap, cap_cm_table, 7),
};

class CapabilitySubscribe : public LibraryTest, public ::testing::WithParamInterface<Subscriber> {
protected:
    const Subscriber &subscriber = GetParam();
    const std::string url = "/chassis/fan count";
    int user_data = 0;

    // Subscribers without a place for user data leave it out.
    int32_t subscribe(MomClient *with, const char *its_url, MomFieldCb fp, void *arg) const {
        return subscriber.extended != nullptr ? subscriber.extended(with, its_url, fp, arg)
                                              : subscriber.without_arg(with, its_url, fp);
    }
    // The user data that are there to be tried.
    std::vector<void *> args() {
        return subscriber.extended != nullptr ? std::vector<void *>{nullptr, &user_data} : std::vector<void *>{nullptr};
    }

    Record table(const std::string &its_url) const { return Record::of(*subscriber.record).with_index({{1, its_url}}); }
    Call request(const std::string &its_url, void *arg) const {
        const Call::Argument none = static_cast<const void *>(nullptr);
        return call::subscribe_field(client, 28, table(its_url), 1, {subscriber.field}, {callback},
                                     arg == nullptr ? none : Call::Argument(Call::Pointers{arg}));
    }
    Log error(const std::string &message) const { return {100, subscriber.logged, message}; }
    Log progress(const std::string &message) const { return {80, subscriber.logged, message}; }
    std::string leave(const char *separator, void *arg) const {
        return text("global %p, sub url /chassis/fan count leave, fp %p%s arg %p", static_cast<void *>(client),
                    reinterpret_cast<void *>(callback), separator, arg);
    }
};

INSTANTIATE_TEST_SUITE_P(Subscribers, CapabilitySubscribe, ::testing::ValuesIn(kSubscribers), test_support::name_of);

TEST_P(CapabilitySubscribe, HandsTheCallbackToTheClient) {
    for (void *const arg : args()) {
        at_every_log_level([&] {
            EXPECT_EQ(subscribe(client, url.c_str(), callback, arg), 0);
            expect_events({request(url, arg), progress(leave("", arg))});
        });
    }
}

TEST_P(CapabilitySubscribe, AnswersWhatTheClientAnswers) {
    for (void *const arg : args()) {
        for (const int32_t status : {-110, -1, 5}) {
            platform.subscribe_field.always(status);
            at_every_log_level([&] {
                EXPECT_EQ(subscribe(client, url.c_str(), callback, arg), status);
                const std::string failed = leave(",", arg) + " failed rv ";
                expect_events({request(url, arg), error(failed + std::to_string(status))});
            });
        }
    }
}

TEST_P(CapabilitySubscribe, TheSameAgainIsAnotherSubscription) {
    EXPECT_EQ(subscribe(client, url.c_str(), callback, nullptr), 0);
    EXPECT_EQ(subscribe(client, url.c_str(), callback, nullptr), 0);
    EXPECT_THAT(platform.calls(), ::testing::ElementsAre(request(url, nullptr), request(url, nullptr)));
}

// After a loss, too: the library subscribes anew only what it follows for itself.
TEST_P(CapabilitySubscribe, IsTheClientsToKeep) {
    EXPECT_EQ(subscribe(client, url.c_str(), callback, nullptr), 0);
    platform.forget();
    EXPECT_EQ(trel_cap_reconnect_db_config(client, 28, 1), 0);
    EXPECT_THAT(platform.calls("ox_mom_subscribe_field"), ::testing::IsEmpty());
}

TEST_P(CapabilitySubscribe, TakesUrlsOfUpTo255Bytes) {
    for (const size_t length : {size_t{0}, size_t{1}, size_t{254}, size_t{255}}) {
        const std::string wanted = url_of_length(length).substr(0, length);
        platform.forget();
        EXPECT_EQ(subscribe(client, wanted.c_str(), callback, nullptr), 0) << length;
        EXPECT_THAT(platform.calls(), ::testing::ElementsAre(request(wanted, nullptr)));
    }
}

// Each combination of bad arguments reports the first of: client, URL, length of the URL, callback.
TEST_P(CapabilitySubscribe, ReportsTheFirstBadArgumentOnly) {
    const std::string too_long = url_of_length(256);
    struct {
        MomClient *client;
        const char *url;
        MomFieldCb fp;
        const char *expected;
    } const cases[] = {
        {nullptr, nullptr, nullptr, "global NULL pointer, addr error!\n"},
        {nullptr, too_long.c_str(), nullptr, "global NULL pointer, addr error!\n"},
        {nullptr, url.c_str(), callback, "global NULL pointer, addr error!\n"},
        {client, nullptr, nullptr, "url NULL pointer, addr error!\n"},
        {client, nullptr, callback, "url NULL pointer, addr error!\n"},
        {client, too_long.c_str(), nullptr, "url len too long 256!\n"},
        {client, too_long.c_str(), callback, "url len too long 256!\n"},
        {client, url.c_str(), nullptr, "fp NULL pointer, addr error!\n"},
    };
    for (const auto &one : cases) {
        for (void *const arg : args()) {
            at_every_log_level([&] {
                EXPECT_EQ(subscribe(one.client, one.url, one.fp, arg), -4);
                expect_events({error(one.expected)});
            });
        }
    }
}

TEST_P(CapabilitySubscribe, AsksTheClientItIsGiven) {
    g_trel_cap_global = client;
    EXPECT_EQ(subscribe(other_client, url.c_str(), callback, nullptr), 0);
    EXPECT_THAT(platform.calls(),
                ::testing::ElementsAre(call::subscribe_field(other_client, 28, table(url), 1, {subscriber.field},
                                                             {callback}, static_cast<const void *>(nullptr))));
}

TEST_P(CapabilitySubscribe, BuildsItsRequestOnTheStackAroundTheCallersUrl) {
    const char *const given = url.c_str();
    platform.on_call = [given](const Call &, const ProtobufCMessage *request) {
        const auto *record = reinterpret_cast<const CapTable *>(request);  // its index is where every type has it
        EXPECT_TRUE(test_support::is_on_this_stack(record));
        EXPECT_TRUE(test_support::is_on_this_stack(record->index));
        EXPECT_EQ(static_cast<const void *>(record->index->url), static_cast<const void *>(given));
    };
    EXPECT_EQ(subscribe(client, given, callback, nullptr), 0);
    EXPECT_EQ(platform.calls().size(), 1U);
}

TEST_P(CapabilitySubscribe, AllocatesNothing) {
    platform.subscribe_field.then(0).then(-110);
    const test_support::AllocationCount allocations;
    EXPECT_EQ(subscribe(client, url.c_str(), callback, &user_data), 0);
    EXPECT_EQ(subscribe(client, url.c_str(), callback, &user_data), -110);
    EXPECT_EQ(allocations.count(), 0);
}

class SubscribeView : public LibraryTest {
protected:
    const char *const url = "/a";

    int32_t subscribe() const { return trel_cap_subscribe_glb_view_bool(client, url, callback); }
    Call request() const {
        return call::subscribe_field(client, 28, cap_table(url), 1, {6}, {callback},
                                     static_cast<const void *>(nullptr));
    }
    Log refused(int32_t status) const {
        return {100, "trel_cap_ce_subscribe_g_cap_bool_ext",
                text("global %p, sub url /a leave, fp %p, arg (nil) failed rv %d", static_cast<void *>(client),
                     reinterpret_cast<void *>(callback), status)};
    }
    Log subscribed() const {
        return {80, "trel_cap_ce_subscribe_g_cap_bool_ext",
                text("global %p, sub url /a leave, fp %p arg (nil)", static_cast<void *>(client),
                     reinterpret_cast<void *>(callback))};
    }
    static Log failed(int32_t status) {
        return {100, "trel_cap_subscribe_glb_view_bool", text("failed,rv %d", status)};
    }
};

TEST_F(SubscribeView, SubscribesOnceWhenThatSucceeds) {
    at_every_log_level([this] {
        EXPECT_EQ(subscribe(), 0);
        expect_events({request(), subscribed()});
    });
}

TEST_F(SubscribeView, SubscribesThreeTimesWhenThatFailsAndTwiceWhenTheLogIsClosed) {
    platform.subscribe_field.always(-110);
    at_every_log_level([this] {
        EXPECT_EQ(subscribe(), -110);
        if (log_is_open()) {
            expect_events({request(), refused(-110), request(), refused(-110), failed(-110), request(), refused(-110)});
        } else {
            expect_events({request(), request()});
        }
    });
}

TEST_F(SubscribeView, TheMessageHasTheSecondCodeAndTheCallerTheThird) {
    platform.subscribe_field.then(-1).then(-2).then(0);
    EXPECT_EQ(subscribe(), 0);
    expect_events({request(), refused(-1), request(), refused(-2), failed(-2), request(), subscribed()});
    platform.subscribe_field.then(-1).then(0).then(-3);
    EXPECT_EQ(subscribe(), -3);
    expect_events({request(), refused(-1), request(), subscribed(), failed(0), request(), refused(-3)});
}

TEST_F(SubscribeView, RepeatsABadArgumentToo) {
    const Log error = {100, "trel_cap_ce_subscribe_g_cap_bool_ext", "fp NULL pointer, addr error!\n"};
    EXPECT_EQ(trel_cap_subscribe_glb_view_bool(client, url, nullptr), -4);
    expect_events({error, error, failed(-4), error});
}

}  // namespace
}  // namespace trel_cap_tests
