// Stands between a client and a server and does to their conversation what networks do.
#pragma once

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
    // Cuts the conversations in which the server speaks next, before it says anything.
    void cut_next_answers(int conversations) { cutting_next_ = conversations; }
    void cut_next_answer() { cut_next_answers(1); }
    // Cuts every conversation now.
    void cut();
    // Keeps back what the server says after so many more bytes, until it is let through.
    void hold_after(int bytes) { bytes_until_hold_ = bytes; }
    void let_through() { bytes_until_hold_ = -1; }
    bool is_holding() const { return bytes_until_hold_ == 0; }
    // Bytes that the server has said; conversations that have begun, and that have ended or were not to be had.
    int passed() const { return passed_; }
    int begun() const { return begun_; }
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
    void end(const Conversation &conversation);
    void end_all();

    test_support::PrivateDirectory directory_;
    std::string socket_path_;
    std::string server_socket_;
    int listener_;
    std::atomic<bool> done_ = false;
    std::atomic<bool> dripping_ = false;
    std::atomic<bool> cutting_ = false;
    std::atomic<int> cutting_next_ = 0;
    std::atomic<int> bytes_left_ = -1;
    std::atomic<int> bytes_until_hold_ = -1;
    std::atomic<int> passed_ = 0;
    std::atomic<int> begun_ = 0;
    std::atomic<int> ended_ = 0;
    std::vector<Conversation> conversations_;
    std::thread thread_;
};

}  // namespace mom_test
