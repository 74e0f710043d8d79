#pragma once

#include <sys/types.h>

#include "publisher.h"

namespace readiness {

// Another process, which publishes.
class RemotePublisher : public Publisher {
public:
    explicit RemotePublisher(const std::string &store);
    ~RemotePublisher() override;

    void publish(const Order &order) override;

private:
    int socket_;
    pid_t pid_;
};

}  // namespace readiness
