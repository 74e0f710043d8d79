#include "board_thread.h"

#include "board/board.h"

namespace board_test {

BoardThread::BoardThread(const std::string &store_name, uint16_t wanted) {
    std::promise<uint16_t> port;
    thread_ = std::thread([this, &store_name, wanted, &port] { run(store_name, wanted, port); });
    port_ = port.get_future().get();
}

BoardThread::~BoardThread() {
    ends_ = true;
    thread_.join();
}

void BoardThread::run(const std::string &store_name, uint16_t wanted, std::promise<uint16_t> &port) {
    store::Store store(store_name);
    board::Board board(store, {.host = "127.0.0.1", .port = wanted});
    port.set_value(board.address().port);
    while (!ends_) {
        board.process(std::chrono::milliseconds(10));
    }
}

}  // namespace board_test
