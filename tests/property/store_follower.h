// The calling thread's library with a client of a store, and what it does there.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "history.h"
#include "store_fixture.h"

namespace property {

// A scan that the library made, with the records in the order in which they were delivered.
struct Scanned {
    Processor processor;
    std::vector<Report> reports;
};

// What the library was told after a reconnection beside its scans, and how many of its types had been confirmed by
// then.
struct Missed {
    Deliver told;
    size_t confirmed;
};

// A record that the library does not follow. What is published before it arrives before it.
void publish_fence(MomClient *publisher, int32_t number);

class StoreFollower {
public:
    // Starts the library. Throws std::runtime_error when it does not start.
    explicit StoreFollower(const std::string &store);
    ~StoreFollower();
    StoreFollower(const StoreFollower &) = delete;
    StoreFollower &operator=(const StoreFollower &) = delete;

    // Run the client's loop. False when that takes too long.
    bool reaches_fence(int32_t number);
    bool reconnects();

    // Since the latest time.
    std::vector<Scanned> take_scans();

    // Since the latest reconnection; nothing is published meanwhile.
    std::vector<Missed> take_missed();

private:
    bool run_until(const std::function<bool()> &condition);

    test_support::ClientPtr client_;
    int reconnections_awaited_ = 0;
};

}  // namespace property
