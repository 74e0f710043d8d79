// A server for one trial: on a socket in a directory of its own, both gone with it.
#pragma once

#include <memory>
#include <string>

#include "trial/child.h"

namespace trial {

class PrivateServer {
public:
    // redis-server, else valkey-server. Throws a Failure when neither is installed, or when it does not come up.
    PrivateServer();
    ~PrivateServer();
    PrivateServer(const PrivateServer &) = delete;
    PrivateServer &operator=(const PrivateServer &) = delete;

    std::string store_name() const { return "unix://" + directory_ + "/socket"; }

private:
    void wait_until_it_answers(const std::string &program);
    void remove_all();

    std::string directory_;
    std::unique_ptr<Child> child_;
};

}  // namespace trial
