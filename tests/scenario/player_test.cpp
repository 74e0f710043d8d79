// Playing into a store: what is written, in which order, and when.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "command_line/exit_status.h"
#include "scenario/player.h"
#include "scenario/scenario.h"
#include "store/snapshot.h"
#include "store_fixture.h"

namespace scenario {

namespace {

using testing::ElementsAre;

class PlayerTest : public test_support::StoreTest {
protected:
    std::vector<std::string> keys() const {
        store::Store reader(store());
        const store::Snapshot snapshot = store::Snapshot::of(reader);
        std::vector<std::string> keys;
        for (const auto &[key, record] : snapshot.records()) {
            keys.push_back(key);
        }
        return keys;
    }
};

constexpr char kText[] = "cards: {lc1: {class: lc, node: 3}, cm1: {class: cm, node: 1}}\n"
                         "steps:\n"
                         "  - insert: all\n"
                         "  - {check: lc1, result: pass}\n"
                         "  - ready: all\n"
                         "  - scope_ready: glb\n"
                         "  - {capability: /a, int: 1}\n"
                         "  - {at: 60ms, remove: lc1}\n"
                         "  - wait: 60ms\n";

TEST_P(PlayerTest, WritesAndDeletesWhatTheStepsSay) {
    store::Store writer(store());
    std::vector<std::string> told;
    play(writer, read_text(kText, "file").steps,
         {.speed = 0, .played = [&](const Moment &moment) { told.push_back(moment.text); }});
    EXPECT_THAT(keys(), ElementsAre("app_df_card_deny_check_result:0:0:3:0", "cap_cm_ready:1:300", "cap_fe_ready:3:900",
                                    "cap_glb_state", "cap_table:/a", "card_info:0:0:1:0"));
    EXPECT_EQ(told.size(), 8U);
    EXPECT_EQ(told.back(), "remove lc1, node 3");
}

INSTANTIATE_OVER_STORES(PlayerTest);

// The wait at the end counts; bounds lie far apart.
TEST(PlayingTime, IsTheTimelinesByItsSpeed) {
    store::Store writer("mem:playing_time");
    const Timeline timeline = read_text(kText, "file").steps;
    const auto duration = [&](double speed) {
        const auto begin = std::chrono::steady_clock::now();
        play(writer, timeline, {.speed = speed});
        return std::chrono::steady_clock::now() - begin;
    };
    EXPECT_GE(duration(1), std::chrono::milliseconds(120));
    EXPECT_GE(duration(0.5), std::chrono::milliseconds(240));
    std::vector<std::chrono::milliseconds> waits;
    const auto begin = Clock::now();
    play(writer, timeline, {.speed = 2, .wait_until = [&](Clock::time_point due) {
                                waits.push_back(std::chrono::round<std::chrono::milliseconds>(due - begin));
                            }});
    EXPECT_EQ(waits.front().count(), 0);
    EXPECT_EQ((waits.back() - waits.front()).count(), 60);
}

TEST(Playing, ThatFailsNamesTheStep) {
    store::Store nobody("unix:///nowhere/socket");
    try {
        play(nobody, read_text(kText, "file").steps, {.speed = 0});
        FAIL() << "nobody is there";
    } catch (const command_line::Failure &failure) {
        EXPECT_EQ(failure.status(), command_line::kNoConnection);
        EXPECT_THAT(failure.what(), testing::StartsWith("line 3, insert lc1, node 3, slot 3: "));
    }
}

}  // namespace

}  // namespace scenario
