// Sentinels: which server is the master of a service, and the announcement that it is another one from now on.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "redis/opening.h"

namespace mom::redis {

// The question to a sentinel, and its answer; empty: it knows no such service.
Command master_question(const std::string &service);
std::optional<Endpoint> named_master(const Reply &reply);

// Listens to every sentinel. Their silence is no loss: who does not hear of a change finds out otherwise, but later.
//
// A sentinel that is listened to again, after its connection was away, is asked which server is the master: the change
// may have been announced meanwhile. It may also be the sentinel that is behind, so its answer counts when most of all
// sentinels have named this master: without most of them no change is made.
class Announcements {
public:
    enum class How : uint8_t { kAnnounced, kAnswered };

    // Called from the loop when the sentinels say which server is the service's master. Throws nothing.
    using Heard = std::function<void(const Endpoint &master, How how)>;

    Announcements(const Opener &opener, const StoreName &name, Millis timeout, Heard heard);
    Announcements(const Announcements &) = delete;
    Announcements &operator=(const Announcements &) = delete;
    ~Announcements();

    // When on_due() is to be called.
    TimePoint due() const;
    void on_due(TimePoint now);

private:
    class Ear;

    void on_named(const Endpoint &master, How how);

    const Heard heard_;
    std::vector<std::unique_ptr<Ear>> ears_;
};

}  // namespace mom::redis
