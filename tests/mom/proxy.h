// Stands between a client and a server and does to their conversation what networks do.
#ifndef TESTS_MOM_PROXY_H
#define TESTS_MOM_PROXY_H

#include "redis_server.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace mom_test {

class Proxy {
public:
    // Listens on a Unix socket of its own and speaks to the server's.
    explicit Proxy(const std::string &server_socket);
    ~Proxy();
    Proxy(const Proxy &) = delete;
    Proxy &operator=(const Proxy &) = delete;

    std::string store_name() const { return "unix://" + socket_path_; }

    // Passes what the server says one byte at a time, with pauses.
    void drip(bool on) { dripping_ = on; }
    // Cuts every conversation after so many more bytes from the server; negative: none.
    void cut_after(int bytes) { bytes_left_ = bytes; }
    // Bytes that the server has said, and conversations that have ended.
    int passed() const { return passed_; }
    int ended() const { return ended_; }

private:
    struct Conversation {
        int client;
        int server;
    };

    void run();
    void accept_one();
    bool from_client(const Conversation &conversation);
    bool from_server(const Conversation &conversation);

    test_support::PrivateDirectory directory_;
    std::string socket_path_;
    std::string server_socket_;
    int listener_;
    std::atomic<bool> done_ = false;
    std::atomic<bool> dripping_ = false;
    std::atomic<int> bytes_left_ = -1;
    std::atomic<int> passed_ = 0;
    std::atomic<int> ended_ = 0;
    std::vector<Conversation> conversations_;
    std::thread thread_;
};

}  // namespace mom_test

#endif
