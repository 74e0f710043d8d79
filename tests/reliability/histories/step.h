// A history as data: what happens to a store and to an application that follows it, step by step. Each step means
// something whatever came before, so that any part of a history can be played alone.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace histories {

inline constexpr int kCards = 4;

struct Step {
    enum class What : uint8_t {
        // To a card, by its number.
        kBringUp,
        kUnready,
        kDeny,
        kPull,
        // To a capability that the application follows, and to one that it writes.
        kChange,
        kApplicationWrites,
        // To the application: all that was published arrives.
        kSettle,
        // Faults.
        kCut,           // all its connections
        kCutWithin,     // them, after so many more bytes
        kCutAnswer,     // the one on which the next answer comes
        kKillLink,      // its connection for notifications, by the server
        kKillRequests,  // the others
        kRestart,       // of the server, with its data
        kRestartEmpty,
        kFlush
    };
    What what = What::kSettle;
    int number = 0;
};
inline constexpr int kKinds = static_cast<int>(Step::What::kFlush) + 1;
using History = std::vector<Step>;

History random_history(uint64_t seed);

std::ostream &operator<<(std::ostream &out, const Step &step);
std::ostream &operator<<(std::ostream &out, const History &history);

}  // namespace histories
