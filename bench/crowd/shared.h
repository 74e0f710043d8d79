// What the processes of a crowd share: a page that the measuring process made before it started them.
#pragma once

#include <time.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace crowd {

constexpr size_t kMaxNodes = 1000;
constexpr size_t kMaxFollowers = 256;
constexpr size_t kMaxSamples = 8192;  // of a follower in a phase

// The monotonic clock is the same in all processes of a machine.
inline int64_t now_ns() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// What a follower was told; only it writes here, but for the phase's start.
struct Told {
    std::atomic<bool> follows{false};
    std::atomic<uint32_t> events{0};
    std::array<std::atomic<uint8_t>, kMaxNodes> ready{};
    std::array<std::atomic<uint32_t>, kMaxSamples> latency_us{};
};

struct Shared {
    std::atomic<bool> ends{false};
    std::array<std::atomic<int64_t>, kMaxNodes> written_at{};
    std::array<Told, kMaxFollowers> followers{};

    // On the follower's thread.
    void tell(size_t follower, uint32_t node, bool ready) {
        if (node >= kMaxNodes) {
            return;
        }
        Told &told = followers.at(follower);
        told.ready.at(node) = ready ? 1 : 0;
        const uint32_t sample = told.events.fetch_add(1);
        if (sample < kMaxSamples) {
            told.latency_us.at(sample) = static_cast<uint32_t>((now_ns() - written_at.at(node)) / 1000);
        }
    }
};

}  // namespace crowd
