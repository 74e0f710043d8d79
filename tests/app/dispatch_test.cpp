// Sending events to the registered callbacks.

#include <stdexcept>
#include <thread>

#include "allocations.h"
#include "callbacks.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Dispatch : public EachKindTest {
protected:
    int data = 0;

    // The messages of one dispatch, for registrations of these names and flags, all of whose callbacks return `result`.
    using Registered = std::vector<std::pair<std::string, uint32_t>>;
    std::vector<Event> messages(int32_t event, const Registered &registered, int32_t result = 0) const {
        std::vector<Event> expected;
        if (is_fe(kind)) {
            expected.emplace_back(message(80, text("event:%d", event)));
        }
        for (const auto &[name, flag] : registered) {
            if (!is_fe(kind)) {
                expected.emplace_back(message(80, text("pos->flag:%d, event:%d", static_cast<int32_t>(flag), event)));
            }
            if (is_fe(kind) || (event >= 0 && event < 32 && (flag >> event & 1) != 0)) {
                expected.emplace_back(message(40, text("rv:%d, name:%s", result, name.c_str())));
            }
        }
        return expected;
    }
    Log message(int level, const std::string &what) const { return {level, kind.dispatch_name, what}; }
};

INSTANTIATE_TEST_SUITE_P(Kinds, Dispatch, ::testing::ValuesIn(kKinds), kind_name);

TEST_P(Dispatch, ToNobodyCallsNobody) {
    for (const Kind &other : kKinds) {
        if (other.reg != kind.reg) {
            EXPECT_EQ(register_quietly(other, "router", Callbacks::number<1>, 0xffffffff), 0);
        }
    }
    at_every_log_level([this] {
        EXPECT_EQ(kind.dispatch(4, &data), 0);
        expect_events(messages(4, {}));
    });
    EXPECT_THAT(callbacks.take(), IsEmpty());
}

TEST_P(Dispatch, PassesTheEventAndItsArgumentOn) {
    EXPECT_EQ(register_quietly(kind, "router", Callbacks::number<1>, 0xffffffff), 0);
    for (int32_t event = 0; event < 32; ++event) {
        EXPECT_EQ(kind.dispatch(event, &data), 0);
        EXPECT_EQ(kind.dispatch(event, nullptr), 0);
        EXPECT_THAT(callbacks.take(), ElementsAre(Received{1, event, &data}, Received{1, event, nullptr}));
    }
}

TEST_P(Dispatch, FollowsTheOrderOfRegistration) {
    EXPECT_EQ(register_quietly(kind, "z", Callbacks::number<3>, 1), 0);
    EXPECT_EQ(register_quietly(kind, "a", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(register_quietly(kind, "m", Callbacks::number<2>, 1), 0);
    // The same function may be registered twice.
    EXPECT_EQ(register_quietly(kind, "b", Callbacks::number<3>, 1), 0);
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    EXPECT_THAT(callbacks.take(), ElementsAre(Received{3, 0, nullptr}, Received{1, 0, nullptr}, Received{2, 0, nullptr},
                                              Received{3, 0, nullptr}));
}

// Callbacks must not throw. An exception of one that does arrives where the program catches it, instead of ending the
// process in the library; the next dispatch is like any other.
TEST_P(Dispatch, LetsAnExceptionPassThrough) {
    EXPECT_EQ(register_quietly(kind, "one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(register_quietly(kind, "two", Callbacks::number<2>, 1), 0);
    callbacks.on_event = [](const Received &) -> int32_t { throw std::out_of_range("thrown by a callback"); };
    EXPECT_THROW(kind.dispatch(0, &data), std::out_of_range);
    EXPECT_THAT(callbacks.take(), ElementsAre(Received{1, 0, &data}));
    callbacks.on_event = [](const Received &) { return 0; };
    EXPECT_EQ(kind.dispatch(0, &data), 0);
    EXPECT_THAT(callbacks.take(), ElementsAre(Received{1, 0, &data}, Received{2, 0, &data}));
}

TEST_P(Dispatch, IsReported) {
    const Registered registered = {{"one", 1}, {"two", 0x80000011}, {"three", 0x10}, {"four", 0}};
    for (const auto &[name, flag] : registered) {
        EXPECT_EQ(register_quietly(kind, name, Callbacks::number<1>, flag), 0);
    }
    for (const int32_t event : {0, 4, 8, 31, 32, 1000}) {
        at_every_log_level([&] {
            EXPECT_EQ(kind.dispatch(event, nullptr), 0);
            expect_events(messages(event, registered));
        });
    }
}

// A callback's message follows its call.
TEST_P(Dispatch, ReportsEachCallAfterwards) {
    EXPECT_EQ(register_quietly(kind, "one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(register_quietly(kind, "two", Callbacks::number<2>, 1), 0);
    std::vector<size_t> seen;
    callbacks.on_event = [&](const Received &) {
        seen.push_back(platform.logs().size());
        return 0;
    };
    kind.dispatch(0, nullptr);
    EXPECT_THAT(seen, is_fe(kind) ? ElementsAre(1, 2) : ElementsAre(1, 3));
}

// By the mask of each registration; but on the line cards' list everybody is told of everything.
TEST_P(Dispatch, SelectsByTheMask) {
    const Registered registered = {{"event 4", 0x10}, {"nothing", 0}, {"all but 4", 0xffffffef}, {"31", 0x80000000}};
    EXPECT_EQ(register_quietly(kind, registered[0].first, Callbacks::number<1>, registered[0].second), 0);
    EXPECT_EQ(register_quietly(kind, registered[1].first, Callbacks::number<2>, registered[1].second), 0);
    EXPECT_EQ(register_quietly(kind, registered[2].first, Callbacks::number<3>, registered[2].second), 0);
    EXPECT_EQ(register_quietly(kind, registered[3].first, Callbacks::number<4>, registered[3].second), 0);
    for (int32_t event = 0; event < 32; ++event) {
        kind.dispatch(event, nullptr);
        std::vector<int> reached;
        for (const Received &received : callbacks.take()) {
            reached.push_back(received.who);
        }
        if (is_fe(kind)) {
            EXPECT_THAT(reached, ElementsAre(1, 2, 3, 4)) << event;
        } else if (event == 31) {
            EXPECT_THAT(reached, ElementsAre(3, 4));
        } else {
            EXPECT_THAT(reached, ElementsAre(event == 4 ? 1 : 3)) << event;
        }
    }
}

TEST_P(Dispatch, OfAnEventWithoutABitReachesTheLineCardsOnly) {
    EXPECT_EQ(register_quietly(kind, "router", Callbacks::number<1>, 0xffffffff), 0);
    for (const int32_t event : {32, 33, 63, 64, 255, 256, INT32_MAX, -1, -32, INT32_MIN}) {
        EXPECT_EQ(kind.dispatch(event, nullptr), 0);
        if (is_fe(kind)) {
            EXPECT_THAT(callbacks.take(), ElementsAre(Received{1, event, nullptr}));
        } else {
            EXPECT_THAT(callbacks.take(), IsEmpty()) << event;
        }
    }
}

// The mask of the registration counts, not the flags of the thread.
TEST_P(Dispatch, DoesNotLookAtTheThreadsFlags) {
    EXPECT_EQ(register_quietly(kind, "router", Callbacks::number<1>, 1), 0);
    kind.flags() = 0;
    kind.dispatch(0, nullptr);
    EXPECT_EQ(callbacks.take().size(), 1U);
    kind.flags() = 0xffffffff;
    kind.dispatch(1, nullptr);
    EXPECT_EQ(callbacks.take().size(), is_fe(kind) ? 1U : 0U);
}

TEST_P(Dispatch, GoesOnWhateverACallbackReturns) {
    EXPECT_EQ(register_quietly(kind, "one", Callbacks::number<1>, 1), 0);
    EXPECT_EQ(register_quietly(kind, "two", Callbacks::number<2>, 1), 0);
    for (const int32_t result : {1, -1, INT32_MIN, INT32_MAX}) {
        callbacks.on_event = [result](const Received &) { return result; };
        EXPECT_EQ(kind.dispatch(0, nullptr), 0);
        EXPECT_EQ(callbacks.take().size(), 2U);
        expect_events(messages(0, {{"one", 1}, {"two", 1}}, result));
    }
}

TEST_P(Dispatch, RunsTheCallbacksOfAllThreadsOnItsOwn) {
    std::thread([this] {
        trel_cap_dbg_inited = 1;
        register_quietly(kind, "elsewhere", Callbacks::number<1>, 1);
    }).join();
    EXPECT_EQ(register_quietly(kind, "here", Callbacks::number<2>, 1), 0);
    std::thread([this] {
        std::vector<std::thread::id> on;
        callbacks.on_event = [&](const Received &) {
            on.push_back(std::this_thread::get_id());
            return 0;
        };
        EXPECT_EQ(kind.dispatch(0, nullptr), 0);
        EXPECT_THAT(on, ElementsAre(std::this_thread::get_id(), std::this_thread::get_id()));
    }).join();
    EXPECT_THAT(callbacks.take(), ElementsAre(Received{1, 0, nullptr}, Received{2, 0, nullptr}));
}

TEST_P(Dispatch, AllocatesNothing) {
    EXPECT_EQ(register_quietly(
                  kind, "router", [](int32_t, void *) { return 0; }, 1),
              0);
    const test_support::AllocationCount allocations;
    EXPECT_EQ(kind.dispatch(0, nullptr), 0);
    EXPECT_EQ(allocations.count(), 0);
}

}  // namespace
}  // namespace trel_cap_tests
