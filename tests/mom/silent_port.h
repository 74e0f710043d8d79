// Places where nobody answers.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

namespace mom_test {

// A port of 127.0.0.1 that takes connections and says nothing; or takes none, as a host does that is not there.
class SilentPort {
public:
    enum class Takes { kConnections, kNone };

    // Port 0: any.
    explicit SilentPort(Takes takes = Takes::kConnections, int port = 0) {
        const int listener = add_socket(0);
        const int on = 1;
        EXPECT_EQ(setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), 0);
        sockaddr_in in = loopback(port);
        socklen_t length = sizeof in;
        auto *generic = reinterpret_cast<sockaddr *>(&in);
        EXPECT_EQ(bind(listener, generic, length), 0);
        EXPECT_EQ(listen(listener, takes == Takes::kNone ? 0 : 64), 0);
        EXPECT_EQ(getsockname(listener, generic, &length), 0);
        port_ = ntohs(in.sin_port);
        // The system drops what comes to a queue that is full.
        for (int i = 0; takes == Takes::kNone && i < 4; ++i) {
            connect(add_socket(SOCK_NONBLOCK), generic, length);
        }
    }
    SilentPort(const SilentPort &) = delete;
    SilentPort &operator=(const SilentPort &) = delete;
    ~SilentPort() {
        for (const int fd : sockets_) {
            close(fd);
        }
    }

    int port() const { return port_; }
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

private:
    static sockaddr_in loopback(int port) {
        sockaddr_in in = {};
        in.sin_family = AF_INET;
        in.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        in.sin_port = htons(static_cast<uint16_t>(port));
        return in;
    }
    int add_socket(int flags) { return sockets_.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0)); }

    std::vector<int> sockets_;
    int port_ = 0;
};

}  // namespace mom_test
