// Which records trel_cap_sub() subscribes, and what it does when it cannot.

#include <bit>
#include <thread>

#include "allocations.h"
#include "library_test.h"
#include "thread_stack.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The thread's flags, as one value.
struct Flags {
    uint32_t fe = 0;
    uint32_t fab_cm = 0;
    uint32_t hps = 0;
    uint32_t lc_and_hps = 0;

    Flags operator|(const Flags &other) const {
        return {fe | other.fe, fab_cm | other.fab_cm, hps | other.hps, lc_and_hps | other.lc_and_hps};
    }
    bool operator&(const Flags &other) const {
        return ((fe & other.fe) | (fab_cm & other.fab_cm) | (hps & other.hps) | (lc_and_hps & other.lc_and_hps)) != 0;
    }
    void set() const {
        g_trel_cap_flag = fe;
        g_trel_fab_cm_cap_flag = fab_cm;
        g_trel_hps_cap_flag = hps;
        g_trel_lc_and_hps_cap_flag = lc_and_hps;
    }
};
std::ostream &operator<<(std::ostream &out, const Flags &flags) {
    return out << std::hex << "fe " << flags.fe << " fab_cm " << flags.fab_cm << " hps " << flags.hps << " lc_and_hps "
               << flags.lc_and_hps << std::dec;
}

constexpr Flags kSystem = {.fe = 0x1};
constexpr Flags kFeNode = {.fe = 0x2};
constexpr Flags kCm = {.fab_cm = 0x4};
constexpr Flags kFab = {.fab_cm = 0x8};
constexpr Flags kFabNode = {.fab_cm = 0x10};
constexpr Flags kCmNode = {.fab_cm = 0x20};
constexpr Flags kHpsNode = {.hps = 0x40};
constexpr Flags kHps = {.hps = 0x80};
constexpr Flags kLcAndHps = {.lc_and_hps = 0x100};
constexpr std::array kEveryFlag = {kSystem, kFeNode, kCm, kFab, kFabNode, kCmNode, kHpsNode, kHps, kLcAndHps};

Flags all_flags() { return {0xffffffff, 0xffffffff, 0xffffffff, 0xffffffff}; }

// Each subscription in its order: any of which flags it needs, and what it asks for.
struct Subscription {
    Flags needs;
    int32_t db;
    const ProtobufCMessageDescriptor &type;
    bool has_index;
    MomMsgCb processor;

    Call to(MomClient *client) const {
        const Record empty = Record::of(type);
        return call::subscribe(client, db, has_index ? empty.with_index({}) : empty, 0, processor, nullptr);
    }
};

std::vector<Subscription> all_subscriptions() {
    const Flags any_node = kFeNode | kFabNode | kCmNode | kHpsNode;
    return {
        {any_node, 28, app_df_card_deny_check_result__descriptor, true, trel_cap_app_df_pmsg_f},
        {any_node, 1, card_info__descriptor, true, trel_cap_install_node_pmsg_f},
        {kFeNode, 28, cap_fe_ready__descriptor, true, trel_cap_fe_node_pmsg_f},
        {kCmNode, 28, cap_cm_ready__descriptor, true, trel_cap_cm_node_pmsg_f},
        {kFabNode, 28, cap_fe_ready__descriptor, true, trel_cap_fab_node_pmsg_f},
        {kHpsNode, 28, cap_fe_ready__descriptor, true, trel_cap_hps_node_pmsg_f},
        {kSystem | kFeNode | kLcAndHps, 28, cap_glb_state__descriptor, false, trel_cap_ce_glb_ready_pmsg_f},
        {kCm | kCmNode, 28, cap_cm_glb_state__descriptor, false, trel_cap_ce_cm_glb_ready_pmsg_f},
        {kFab | kFabNode, 28, cap_fab_glb_state__descriptor, false, trel_cap_ce_fab_glb_ready_pmsg_f},
        {kHpsNode | kHps | kLcAndHps, 28, cap_hps_glb_state__descriptor, false, trel_cap_ce_hps_glb_ready_pmsg_f},
    };
}

class Subscribing : public LibraryTest {
protected:
    std::vector<Event> expected(const Flags &flags) const {
        std::vector<Event> calls;
        for (const Subscription &each : all_subscriptions()) {
            if (flags & each.needs) {
                calls.emplace_back(each.to(client));
            }
        }
        return calls;
    }
    // The places, counted from 1, of what is subscribed.
    std::vector<int> steps(const Flags &flags) {
        platform.forget();
        flags.set();
        EXPECT_EQ(trel_cap_sub(client), 0);
        std::vector<int> made;
        const auto all = all_subscriptions();
        for (const Call &call : platform.calls()) {
            const auto found =
                std::find_if(all.begin(), all.end(), [&](const Subscription &each) { return each.to(client) == call; });
            made.push_back(static_cast<int>(found - all.begin()) + 1);
        }
        return made;
    }
    static Log failed(int32_t status) { return {100, "trel_cap_sub", text("failed,rv %d", status)}; }
};

TEST_F(Subscribing, NothingIsAskedForNothing) {
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_sub(client), 0);
        expect_events({});
    });
}

TEST_F(Subscribing, EverythingIsAskedForInOrder) {
    all_flags().set();
    ASSERT_EQ(expected(all_flags()).size(), 10U);
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_sub(client), 0);
        expect_events(expected(all_flags()));
    });
}

// By the numbers, apart from the table above.
TEST_F(Subscribing, EachEventBringsInWhatItNeeds) {
    EXPECT_THAT(steps(kSystem), ElementsAre(7));
    EXPECT_THAT(steps(kFeNode), ElementsAre(1, 2, 3, 7));
    EXPECT_THAT(steps(kCm), ElementsAre(8));
    EXPECT_THAT(steps(kFab), ElementsAre(9));
    EXPECT_THAT(steps(kFabNode), ElementsAre(1, 2, 5, 9));
    EXPECT_THAT(steps(kCmNode), ElementsAre(1, 2, 4, 8));
    EXPECT_THAT(steps(kHpsNode), ElementsAre(1, 2, 6, 10));
    EXPECT_THAT(steps(kHps), ElementsAre(10));
    EXPECT_THAT(steps(kLcAndHps), ElementsAre(7, 10));
}

TEST_F(Subscribing, EveryCombinationOfEvents) {
    for (unsigned combination = 0; combination < 1U << kEveryFlag.size(); ++combination) {
        Flags flags;
        for (size_t i = 0; i < kEveryFlag.size(); ++i) {
            flags = (combination >> i & 1) != 0 ? flags | kEveryFlag[i] : flags;
        }
        flags.set();
        EXPECT_EQ(trel_cap_sub(client), 0);
        SCOPED_TRACE(flags);
        expect_events(expected(flags));
    }
}

// A bit means its event in its own flag word alone.
TEST_F(Subscribing, EveryBitOfEveryFlagWord) {
    for (unsigned bit = 0; bit < 32; ++bit) {
        const uint32_t value = UINT32_C(1) << bit;
        for (const Flags &flags :
             {Flags{.fe = value}, Flags{.fab_cm = value}, Flags{.hps = value}, Flags{.lc_and_hps = value}}) {
            flags.set();
            EXPECT_EQ(trel_cap_sub(client), 0);
            SCOPED_TRACE(flags);
            expect_events(expected(flags));
        }
    }
}

TEST_F(Subscribing, BitsThatMeanNothingAreNotAskedFor) {
    const Flags unused = {~0x3U, ~0x3cU, ~0xc0U, ~0x100U};
    EXPECT_THAT(steps(unused), IsEmpty());
}

TEST_F(Subscribing, IsDoneWithTheClientThatIsGiven) {
    g_trel_cap_global = other_client;
    kHps.set();
    EXPECT_EQ(trel_cap_sub(client), 0);
    EXPECT_THAT(platform.calls(), ElementsAre(all_subscriptions()[9].to(client)));
}

TEST_F(Subscribing, NeedsAClient) {
    all_flags().set();
    at_every_log_level([this] {
        EXPECT_EQ(trel_cap_sub(nullptr), -4);
        expect_events({Log{100, "trel_cap_sub", "global NULL pointer, addr error!\n"}});
    });
}

TEST_F(Subscribing, ChangesNoState) {
    all_flags().set();
    g_trel_cap_install_validated = 1;
    EXPECT_EQ(trel_cap_sub(client), 0);
    EXPECT_EQ(g_trel_cap_flag & g_trel_fab_cm_cap_flag & g_trel_hps_cap_flag & g_trel_lc_and_hps_cap_flag, 0xffffffffU);
    EXPECT_EQ(g_trel_cap_install_validated, 1);
    EXPECT_EQ(g_trel_cap_global, nullptr);
    EXPECT_EQ(g_trel_cap_config_reconnect, 0);
}

TEST_F(Subscribing, BuildsItsRequestsOnTheStack) {
    all_flags().set();
    int looked_at = 0;
    platform.on_call = [&](const Call &, const ProtobufCMessage *request) {
        ++looked_at;
        EXPECT_TRUE(test_support::is_on_this_stack(request));
    };
    const test_support::AllocationCount allocations;
    EXPECT_EQ(trel_cap_sub(client), 0);
    EXPECT_EQ(allocations.count(), 0);
    EXPECT_EQ(looked_at, 10);
}

TEST_F(Subscribing, IsAboutTheFlagsOfTheCallingThread) {
    all_flags().set();
    std::thread([this] {
        EXPECT_EQ(trel_cap_sub(client), 0);
        EXPECT_THAT(platform.calls(), IsEmpty());
        kCm.set();
        EXPECT_EQ(trel_cap_sub(client), 0);
    }).join();
    EXPECT_THAT(platform.calls(), ElementsAre(all_subscriptions()[7].to(client)));
}

// What registrations ask for is what is subscribed.
int32_t no_callback(int32_t, void *) { return 0; }

TEST_F(Subscribing, FollowsRegistrations) {
    trel_cap_dbg_inited = 1;
    g_trel_cap_zlog_level = 1;
    EXPECT_EQ(trel_cap_event_callback_reg("one", no_callback, 1), 0);
    EXPECT_EQ(trel_cap_event_callback_reg("two", no_callback, 2), 0);
    EXPECT_EQ(trel_cap_sub(client), 0);
    expect_events(expected(kFeNode));
    EXPECT_EQ(trel_cap_event_callback_reg("one", no_callback, 0), 0);
    EXPECT_EQ(trel_cap_cm_event_callback_reg("one", no_callback, 4), 0);
    EXPECT_EQ(trel_cap_sub(client), 0);
    expect_events(expected(kCm));
    EXPECT_EQ(trel_cap_fab_event_callback_reg("one", no_callback, 0x10), 0);
    EXPECT_EQ(trel_cap_hps_event_callback_reg("one", no_callback, 0x80), 0);
    EXPECT_EQ(trel_cap_lc_and_hps_event_callback_reg("one", no_callback, 0x100), 0);
    EXPECT_EQ(trel_cap_sub(client), 0);
    expect_events(expected(kCm | kFabNode | kHps | kLcAndHps));
}

// A subscription that fails, by its place.
class FailingSubscription : public Subscribing, public ::testing::WithParamInterface<int> {
protected:
    const int nth = GetParam();

    FailingSubscription() { all_flags().set(); }

    // Fails and answers the repetitions so; expects what is done at the present log level, and returns the last answer.
    int32_t fail_with(int32_t first, int32_t second, int32_t third) {
        const bool repeated_for_the_log = log_is_open();
        platform.subscribe.at(nth, first);
        platform.subscribe.at(nth + 1, second);
        platform.subscribe.at(nth + 2, third);
        const int32_t status = trel_cap_sub(client);
        const auto all = expected(all_flags());
        std::vector<Event> until(all.begin(), all.begin() + nth);
        if (repeated_for_the_log) {
            until.push_back(until.back());
            until.emplace_back(failed(second));
        }
        until.push_back(all[static_cast<size_t>(nth) - 1]);
        expect_events(until);
        return status;
    }
    // What the last of the attempts is answered, which are two when the log is closed.
    int32_t last(int32_t second, int32_t third) const { return log_is_open() ? third : second; }
};

INSTANTIATE_TEST_SUITE_P(Places, FailingSubscription, ::testing::Range(1, 11));

TEST_P(FailingSubscription, IsRepeatedAndTheLastAnswerReturned) {
    for (const int32_t level : kLogLevels) {
        SCOPED_TRACE(level);
        platform.subscribe = test_support::Script<int32_t>(0);
        g_trel_cap_zlog_level = level;
        EXPECT_EQ(fail_with(-101, -102, -103), last(-102, -103));
    }
}

// Even then nothing further is subscribed.
TEST_P(FailingSubscription, MaySucceedInTheEnd) {
    for (const int32_t level : {0, 1, 4}) {
        SCOPED_TRACE(level);
        platform.subscribe = test_support::Script<int32_t>(0);
        g_trel_cap_zlog_level = level;
        EXPECT_EQ(fail_with(5, 0, 0), 0);
        platform.subscribe = test_support::Script<int32_t>(0);
        EXPECT_EQ(fail_with(5, 0, 7), last(0, 7));
        platform.subscribe = test_support::Script<int32_t>(0);
        EXPECT_EQ(fail_with(5, 7, 0), last(7, 0));
    }
}

}  // namespace
}  // namespace trel_cap_tests
