// Stands between a client and a server and does to their conversation what networks do.
#pragma once

#include "redis_server.h"

#include <sys/socket.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace mom_test {

class Proxy {
public:
    // Listens on a Unix socket of its own and speaks to the server's; or on a port of 127.0.0.1, to the server's there.
    explicit Proxy(const std::string &server_socket);
    explicit Proxy(int server_port);
    ~Proxy();
    Proxy(const Proxy &) = delete;
    Proxy &operator=(const Proxy &) = delete;

    std::string store_name() const { return "unix://" + directory_.file("proxy"); }
    int port() const;

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
    // Answers commands in the server's place: with what this returns, unless it is empty. Those that the server answers
    // must not be sent along with others. nullptr: the server answers all.
    using Answer = std::function<std::string(const std::vector<std::string> &command)>;
    void answer_with(Answer answer);
    // Passes nothing either way, and takes conversations that nothing comes of, until there is no silence any more:
    // then what was said meanwhile comes late.
    void silence(bool on) { silent_ = on; }
    // Bytes that the server has said; conversations that have begun, and that have ended or were not to be had.
    int passed() const { return passed_; }
    int begun() const { return begun_; }
    int ended() const { return ended_; }

private:
    struct Conversation {
        int client;
        int server;
        std::string unread;  // of the client's, when commands are looked at
    };

    struct Address {
        sockaddr_storage storage;
        socklen_t length;
        const sockaddr *generic() const { return reinterpret_cast<const sockaddr *>(&storage); }
    };

    static Address at_path(const std::string &path);
    static Address at_port(int port);
    void listen_at(const Address &own);
    void run();
    void accept_one();
    bool from_client(Conversation &conversation);
    bool from_server(const Conversation &conversation);
    void end(const Conversation &conversation);
    void end_all();

    test_support::PrivateDirectory directory_;
    Address server_;
    int listener_ = -1;
    std::atomic<bool> done_ = false;
    std::atomic<bool> dripping_ = false;
    std::atomic<bool> silent_ = false;
    std::atomic<bool> cutting_ = false;
    std::atomic<int> cutting_next_ = 0;
    std::atomic<int> bytes_left_ = -1;
    std::atomic<int> bytes_until_hold_ = -1;
    std::atomic<int> passed_ = 0;
    std::atomic<int> begun_ = 0;
    std::atomic<int> ended_ = 0;
    std::mutex mutex_;
    Answer answer_;  // the mutex's
    std::vector<Conversation> conversations_;
    std::thread thread_;
};

}  // namespace mom_test
