// The library does on random histories what the model says.

#include <algorithm>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "generator.h"
#include "model.h"
#include "observed.h"
#include "play.h"
#include "scripted_platform.h"
#include "seeds.h"

namespace property {
namespace {

constexpr uint64_t kUsualSeeds = 100;

TEST(Histories, EndAsTheModelSays) {
    const Seeds chosen = seeds(kUsualSeeds);
    ASSERT_GT(chosen.count, 0U) << "$TREL_CAP_SEEDS is no number of histories";
    {
        const test_support::ScriptedPlatform platform;
        register_callbacks();
    }
    for (uint64_t seed = chosen.first; seed < chosen.first + chosen.count; ++seed) {
        const History history = random_history(seed);
        if (!play(history).has_value()) {
            ASSERT_FALSE(::testing::Test::HasFailure()) << "TREL_CAP_SEED=" << seed;
            continue;
        }
        const History shortest = shrink(history, play);
        FAIL() << "TREL_CAP_SEED=" << seed << ", the shortest history:\n" << describe(shortest, *play(shortest));
    }
}

// Otherwise the agreement would say little.
TEST(Histories, ComeToEverythingThatCanHappen) {
    std::set<std::pair<int32_t, int32_t>> node_events;
    std::set<int32_t> class_events;
    std::set<int32_t> codes;
    std::set<int32_t> all_loaded;
    std::set<int32_t> reconnecting;
    std::set<int32_t> node_types;
    size_t most_nodes = 0;
    for (uint64_t seed = 1; seed <= 30; ++seed) {
        Model model;
        for (const Step &step : random_history(seed)) {
            const Outcome outcome = model.play(step);
            for (const Heard &heard : outcome.heard) {
                heard.node.has_value() ? void(node_events.emplace(heard.event, heard.ready))
                                       : void(class_events.insert(heard.event));
            }
            codes.insert(outcome.code);
            for (int32_t i = 0; i < 4; ++i) {
                all_loaded.insert(outcome.all_loaded.at(static_cast<size_t>(i)) ? i : -1);
            }
            reconnecting.insert(outcome.state.reconnecting);
            for (const Node &node : outcome.state.nodes) {
                node_types.insert(node.node_type);
            }
            most_nodes = std::max(most_nodes, outcome.state.nodes.size());
        }
    }
    EXPECT_THAT(class_events, ::testing::ElementsAre(0, 2, 3, 7, 8));
    EXPECT_THAT(node_events, ::testing::ElementsAre(::testing::Pair(1, 0), ::testing::Pair(1, 1), ::testing::Pair(4, 0),
                                                    ::testing::Pair(4, 1), ::testing::Pair(5, 0), ::testing::Pair(5, 1),
                                                    ::testing::Pair(6, 0), ::testing::Pair(6, 1)));
    EXPECT_THAT(codes, ::testing::IsSupersetOf({0, -4, -11, -21, -108, 7}));
    EXPECT_THAT(all_loaded, ::testing::ElementsAre(-1, 0, 1, 2, 3));
    EXPECT_THAT(reconnecting, ::testing::ElementsAre(0, 1));
    EXPECT_THAT(node_types, ::testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_GE(most_nodes, 20U);
}

TEST(Histories, AreTheSameForTheSameSeed) {
    EXPECT_EQ(::testing::PrintToString(random_history(5)), ::testing::PrintToString(random_history(5)));
    EXPECT_NE(::testing::PrintToString(random_history(5)), ::testing::PrintToString(random_history(6)));
}

// A player that minds two certain steps, the one after the other.
TEST(Histories, ShrinkToTheStepsThatMatter) {
    const auto deletes = [](const Step &step, int32_t node) {
        const auto *action = std::get_if<Delete>(&step.action);
        return action != nullptr && action->node == node;
    };
    const Player player = [&](const History &history) -> std::optional<Disagreement> {
        bool armed = false;
        for (size_t i = 0; i < history.size(); ++i) {
            armed = armed || deletes(history[i], 1000);
            if (armed && deletes(history[i], 2000)) {
                return Disagreement{i, "2000 after 1000"};
            }
        }
        return std::nullopt;
    };
    History history = random_history(1);
    history.insert(history.begin() + 17, Step{Delete{1000, 0}, {}});
    history.insert(history.begin() + 170, Step{Delete{2000, 0}, {}});
    const History shortest = shrink(history, player);
    ASSERT_EQ(shortest.size(), 2U);
    EXPECT_EQ(describe(shortest, *player(shortest)), "    1. delete node 1000 type 0  [log level 1]\n"
                                                     "    2. delete node 2000 type 0  [log level 1]\n"
                                                     "then, expected and seen differ in 2000 after 1000");
}

}  // namespace
}  // namespace property
