// Sentinels: which server is the master of a service, and the announcement that it is another one from now on.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "redis/opening.h"

namespace mom::redis {

// What is asked of a sentinel, and what it answers; empty: it knows no such service.
Command master_question(const std::string &service);
std::optional<Endpoint> named_master(const Reply &reply);

// Listens to every sentinel. Their silence is no loss: who does not hear of a change finds out otherwise, but later.
class Announcements {
public:
    // Called from the loop when a sentinel says that the service's master is another one. Throws nothing.
    using Heard = std::function<void(const Endpoint &master)>;

    Announcements(const Opener &opener, const StoreName &name, Millis timeout, const Heard &heard);
    Announcements(const Announcements &) = delete;
    Announcements &operator=(const Announcements &) = delete;
    ~Announcements();

    // When on_due() is to be called.
    TimePoint due() const;
    void on_due(TimePoint now);

private:
    class Ear;

    std::vector<std::unique_ptr<Ear>> ears_;
};

}  // namespace mom::redis
