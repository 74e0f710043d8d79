// A board in a thread of its own, as its client wants it, over an embedded store that the test writes to.
#pragma once

#include <atomic>
#include <cstdint>
#include <future>
#include <string>
#include <thread>

#include "store/store.h"

namespace board_test {

class BoardThread {
public:
    // Port 0: any that is free.
    explicit BoardThread(const std::string &store_name, uint16_t port = 0);
    ~BoardThread();
    BoardThread(const BoardThread &) = delete;
    BoardThread &operator=(const BoardThread &) = delete;

    uint16_t port() const { return port_; }

private:
    void run(const std::string &store_name, uint16_t wanted, std::promise<uint16_t> &port);

    std::atomic<bool> ends_ = false;
    uint16_t port_ = 0;
    std::thread thread_;
};

}  // namespace board_test
