// When a lost connection is tried again, without waiting for it.
#include "mom/core/backoff.h"

#include <gtest/gtest.h>

#include <set>

namespace mom_test {
namespace {

using mom::Backoff;
using std::chrono::milliseconds;

constexpr uint32_t kSeeds = 200;
constexpr int kFailures = 20;
const mom::TimePoint kStart = mom::TimePoint() + std::chrono::hours(1);

TEST(BackoffTest, PausesLieBetweenTheShortestAndTheLongest) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        Backoff backoff(seed);
        mom::TimePoint now = kStart;
        for (int failure = 0; failure < kFailures; ++failure) {
            const mom::TimePoint due = backoff.failed(now);
            ASSERT_GE(due - now, milliseconds(50));
            ASSERT_LE(due - now, milliseconds(2000));
            now = due;
        }
    }
}

TEST(BackoffTest, PausesGrowFromTheShortestToTheLongest) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        Backoff backoff(seed);
        EXPECT_LE(backoff.failed(kStart) - kStart, milliseconds(100)) << "soon at first";
        milliseconds limit(50);
        for (int failure = 1; failure < kFailures; ++failure) {
            limit = std::min(limit * 2, milliseconds(2000));
            ASSERT_LE(backoff.failed(kStart) - kStart, limit);
        }
        EXPECT_GE(backoff.failed(kStart) - kStart, milliseconds(1000)) << "seldom at last";
    }
}

TEST(BackoffTest, FollowersOfOneServerDoNotComeBackInOneInstant) {
    std::set<mom::TimePoint> due;
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
        Backoff backoff(seed);
        for (int failure = 1; failure < 5; ++failure) {
            backoff.failed(kStart);
        }
        due.insert(backoff.failed(kStart));
    }
    EXPECT_GT(due.size(), kSeeds / 4);
}

// The pause after so many failures, a connection, and its loss.
milliseconds pause_after_connection_of(milliseconds lasted) {
    Backoff backoff(1);
    for (int failure = 0; failure < kFailures; ++failure) {
        backoff.failed(kStart);
    }
    backoff.connected(kStart);
    const mom::TimePoint lost = kStart + lasted;
    return std::chrono::duration_cast<milliseconds>(backoff.failed(lost) - lost);
}

TEST(BackoffTest, AConnectionThatLastedBeginsAfresh) {
    EXPECT_LE(pause_after_connection_of(milliseconds(2000)), milliseconds(100));
    EXPECT_LE(pause_after_connection_of(std::chrono::hours(24)), milliseconds(100));
}

TEST(BackoffTest, AConnectionThatBreaksAtOnceIsAFailureLikeAnyOther) {
    EXPECT_GE(pause_after_connection_of(milliseconds(0)), milliseconds(1000));
    EXPECT_GE(pause_after_connection_of(milliseconds(500)), milliseconds(1000));
}

TEST(BackoffTest, TheTimeBetweenFailuresAloneDoesNotBeginAfresh) {
    Backoff backoff(1);
    mom::TimePoint now = kStart;
    for (int failure = 0; failure < kFailures; ++failure) {
        now = backoff.failed(now) + std::chrono::hours(1);
    }
    EXPECT_GE(backoff.failed(now) - now, milliseconds(1000));
}

}  // namespace
}  // namespace mom_test
