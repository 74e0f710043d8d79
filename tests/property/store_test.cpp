// The library on real clients of every store does on random histories what the model says.

#include <set>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "observed.h"
#include "seeds.h"
#include "store_play.h"

namespace property {
namespace {

class StoreHistories : public ::testing::TestWithParam<test_support::StoreKind> {};
INSTANTIATE_OVER_STORES(StoreHistories);

TEST_P(StoreHistories, EndAsTheModelSays) {
    const bool has_server = !GetParam().program.empty();
    const Seeds chosen = seeds(has_server ? 10 : 60);
    ASSERT_GT(chosen.count, 0U) << "$TREL_CAP_SEEDS is no number of histories";
    register_callbacks();
    std::set<std::pair<int32_t, int32_t>> told;  // event, ready
    size_t missed = 0;
    for (uint64_t seed = chosen.first; seed < chosen.first + chosen.count; ++seed) {
        const StorePlayed played = play(random_store_history(seed, has_server), GetParam());
        ASSERT_FALSE(played.disagreement.has_value()) << "TREL_CAP_SEED=" << seed << ":\n" << *played.disagreement;
        ASSERT_FALSE(HasFailure()) << "TREL_CAP_SEED=" << seed;
        for (const Heard &heard : played.heard) {
            told.emplace(heard.event, heard.ready);
        }
        missed += played.missed;
    }
    if (!chosen.named) {
        using ::testing::Pair;
        EXPECT_THAT(told, ::testing::ElementsAre(Pair(0, 0), Pair(1, 0), Pair(1, 1), Pair(2, 0), Pair(3, 0), Pair(4, 0),
                                                 Pair(4, 1), Pair(5, 0), Pair(5, 1), Pair(6, 0), Pair(6, 1), Pair(7, 0),
                                                 Pair(8, 0)))
            << "too little happened for the agreement to say much";
        EXPECT_TRUE(missed > 100 || !has_server) << "only " << missed << " records were missed";
    }
}

}  // namespace
}  // namespace property
