// Each property can fail: on histories that are made up, and go wrong in one thing.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "properties.h"
#include "shrink.h"

namespace histories {
namespace {

using What = Told::What;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int32_t kNode = 7;

// One in which a node gets ready and loses it again, and a value changes twice.
Record sound() {
    Window window;
    window.nodes[kNode] = {
        .was_installed = true, .was_passed = true, .was_ready = true, .lacked_something = true, .writes = 2};
    window.values = {1, 2};
    window.told = {{.what = What::kNode, .number = kNode, .ready = true},
                   {.what = What::kValue, .number = 1},
                   {.what = What::kNode, .number = kNode},
                   {.what = What::kValue, .number = 2}};
    Record record;
    record.windows = {window};
    record.application = record.store = "node 7";
    record.before = record.after = {.record_subscriptions = 4, .field_subscriptions = 2, .descriptors = 9};
    record.confirmed = record.kept = 3;
    return record;
}

std::string violated(const Record &record) { return first_violation(record).value_or(""); }

TEST(Properties, HoldOfWhatIsSound) { EXPECT_EQ(violated(sound()), ""); }

TEST(Properties, TheEndStateIsTheStores) {
    Record record = sound();
    record.application += " ready";
    EXPECT_THAT(violated(record), HasSubstr("the end state is the store's"));
}

TEST(Properties, NoEventWithoutARecordThatWarrantsIt) {
    const char *const name = "no event without a record that warrants it";
    for (bool NodeInStore::*lacking :
         {&NodeInStore::was_passed, &NodeInStore::was_ready, &NodeInStore::lacked_something}) {
        Record record = sound();
        record.windows[0].nodes[kNode].*lacking = false;
        EXPECT_THAT(violated(record), HasSubstr(name));
    }
    Record record = sound();
    record.windows[0].values.erase(1);
    EXPECT_THAT(violated(record), HasSubstr(name));
    record = sound();
    record.windows[0].told.push_back({.what = What::kGone});
    EXPECT_THAT(violated(record), HasSubstr(name));
    record.windows[0].was_without_value = true;
    EXPECT_EQ(violated(record), "");
}

TEST(Properties, ARecordsChangesAreToldInOrder) {
    Record record = sound();
    std::swap(record.windows[0].told[1], record.windows[0].told[3]);
    EXPECT_THAT(violated(record), HasSubstr("told in order"));
}

TEST(Properties, NothingIsAnnouncedTwiceForOneDelivery) {
    Record record = sound();
    record.windows[0].told.push_back({.what = What::kNode, .number = kNode});
    EXPECT_THAT(violated(record), HasSubstr("announced twice"));
    record.windows[0].told.push_back({.what = What::kReturned});
    EXPECT_EQ(violated(record), "") << "it was loaded afresh";
    record = sound();
    record.windows[0].told.push_back({.what = What::kValue, .number = 2});
    EXPECT_THAT(violated(record), HasSubstr("announced twice"));
}

TEST(Properties, TheInitialLoadIsCompleteBeforeTheAnnouncement) {
    Record record = sound();
    record.windows[0].told[0].in_advance = true;
    EXPECT_EQ(violated(record), "");
    record.windows[0].told[0].is_loaded = false;
    EXPECT_THAT(violated(record), HasSubstr("initial load"));
}

TEST(Properties, NobodyIsToldThatACardIsReadyWhichWasGone) {
    Record record = sound();
    record.windows[0].nodes[kNode].was_installed = false;
    EXPECT_THAT(violated(record), HasSubstr("ready which was gone"));
}

TEST(Properties, MemoryDescriptorsAndSubscriptionsAreBackToTheirLevel) {
    const std::vector<void (*)(Level &)> changes = {
        [](Level &level) { ++level.record_subscriptions; }, [](Level &level) { --level.field_subscriptions; },
        [](Level &level) { ++level.descriptors; }, [](Level &level) { level.bytes += size_t{1024} * 1024; }};
    for (const auto change : changes) {
        Record record = sound();
        change(record.after);
        EXPECT_THAT(violated(record), HasSubstr("back to their level"));
    }
}

TEST(Properties, NoConfirmedWriteIsLost) {
    Record record = sound();
    record.kept = 2;
    EXPECT_THAT(violated(record), HasSubstr("no confirmed write is lost"));
}

TEST(Shrinking, EndsWithTheFewestStepsThatFail) {
    std::vector<int> steps(100);
    for (int i = 0; i < 100; ++i) {
        steps[static_cast<size_t>(i)] = i;
    }
    const auto has = [](const std::vector<int> &some, int step) { return std::ranges::count(some, step) != 0; };
    int tries = 0;
    const auto fails = [&](const std::vector<int> &fewer) {
        ++tries;
        return has(fewer, 17) && has(fewer, 83) && has(fewer, 84);
    };
    EXPECT_THAT(shrink(steps, fails), ElementsAre(17, 83, 84));
    EXPECT_LT(tries, 150);
    EXPECT_THAT(shrink(std::vector<int>{5}, [](const auto &) { return true; }), ElementsAre());
}

}  // namespace
}  // namespace histories
