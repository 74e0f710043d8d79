#include "proxy.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace mom_test {

namespace {

constexpr auto kDripPause = std::chrono::milliseconds(1);
constexpr int kPollMs = 10;

sockaddr_un address_of(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

bool send_all(int fd, const char *bytes, size_t length) {
    while (length > 0) {
        const ssize_t sent = send(fd, bytes, length, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        length -= static_cast<size_t>(sent);
    }
    return true;
}

}  // namespace

Proxy::Proxy(const std::string &server_socket)
    : socket_path_(directory_.file("proxy")),
      server_socket_(server_socket),
      listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = address_of(socket_path_);
    if (bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_, 64) != 0) {
        throw std::runtime_error("the proxy cannot listen");
    }
    thread_ = std::thread([this] { run(); });
}

Proxy::~Proxy() {
    done_ = true;
    thread_.join();
    end_all();
    close(listener_);
}

void Proxy::accept_one() {
    const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = address_of(server_socket_);
    if (connect(server, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        end({client, server});
        return;
    }
    conversations_.push_back({client, server});
    ++begun_;
}

void Proxy::end(const Conversation &conversation) {
    close(conversation.client);
    close(conversation.server);
    ++ended_;
}

void Proxy::end_all() {
    for (const Conversation &conversation : conversations_) {
        end(conversation);
    }
    conversations_.clear();
}

void Proxy::cut() {
    cutting_ = true;
    cutting_.wait(true);
}

bool Proxy::from_client(const Conversation &conversation) {
    char bytes[4096];
    const ssize_t length = recv(conversation.client, bytes, sizeof bytes, 0);
    return length > 0 && send_all(conversation.server, bytes, static_cast<size_t>(length));
}

bool Proxy::from_server(const Conversation &conversation) {
    char bytes[4096];
    size_t room = sizeof bytes;
    if (dripping_) {
        room = 1;
        std::this_thread::sleep_for(kDripPause);
    }
    const int left = bytes_left_;
    if (left >= 0) {
        room = std::min(room, static_cast<size_t>(left));
    }
    if (room == 0) {
        return false;
    }
    if (cutting_next_ > 0) {
        --cutting_next_;
        return false;
    }
    int until_hold = bytes_until_hold_;
    if (until_hold == 0) {
        return true;
    }
    if (until_hold > 0) {
        room = std::min(room, static_cast<size_t>(until_hold));
    }
    const ssize_t length = recv(conversation.server, bytes, room, 0);
    if (length <= 0) {
        return false;
    }
    if (left >= 0) {
        bytes_left_ = left - static_cast<int>(length);
    }
    if (until_hold > 0) {
        bytes_until_hold_.compare_exchange_strong(until_hold, until_hold - static_cast<int>(length));
    }
    passed_ += static_cast<int>(length);
    return send_all(conversation.client, bytes, static_cast<size_t>(length));
}

void Proxy::run() {
    while (!done_) {
        if (cutting_) {
            end_all();
            cutting_ = false;
            cutting_.notify_all();
        }
        std::vector<pollfd> polled = {{listener_, POLLIN, 0}};
        for (const Conversation &conversation : conversations_) {
            polled.push_back({conversation.client, POLLIN, 0});
            polled.push_back({is_holding() ? -1 : conversation.server, POLLIN, 0});
        }
        if (poll(polled.data(), polled.size(), kPollMs) <= 0) {
            continue;
        }
        std::vector<Conversation> going_on;
        for (size_t i = 0; i < conversations_.size(); ++i) {
            const Conversation &conversation = conversations_[i];
            const bool client_speaks = polled[2 * i + 1].revents != 0;
            const bool server_speaks = polled[2 * i + 2].revents != 0;
            if ((!client_speaks || from_client(conversation)) && (!server_speaks || from_server(conversation))) {
                going_on.push_back(conversation);
            } else {
                end(conversation);
            }
        }
        conversations_ = std::move(going_on);
        if (polled[0].revents != 0) {
            accept_one();
        }
    }
}

}  // namespace mom_test
