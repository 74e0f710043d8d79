#include "proxy.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace mom_test {

namespace {

constexpr auto kPause = std::chrono::milliseconds(1);
constexpr int kPollMs = 10;

// Takes the words of a whole command off the front: as many bytes as it has, 0 when it is not whole.
size_t take_command(const std::string &bytes, std::vector<std::string> &words) {
    words.clear();
    size_t at = 0;
    const auto take_number = [&] {
        const size_t end = bytes.find("\r\n", at);
        const long number = end == std::string::npos ? -1 : std::strtol(bytes.c_str() + at + 1, nullptr, 10);
        at = end + 2;
        return number;
    };
    long left = take_number();
    for (; left > 0; --left) {
        const long length = take_number();
        if (length < 0 || at + static_cast<size_t>(length) + 2 > bytes.size()) {
            return 0;
        }
        words.push_back(bytes.substr(at, static_cast<size_t>(length)));
        at += static_cast<size_t>(length) + 2;
    }
    return left == 0 ? at : 0;
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

Proxy::Address Proxy::at_path(const std::string &path) {
    Address address{{}, sizeof(sockaddr_un)};
    auto &unix_address = reinterpret_cast<sockaddr_un &>(address.storage);
    unix_address.sun_family = AF_UNIX;
    path.copy(unix_address.sun_path, sizeof unix_address.sun_path - 1);
    return address;
}

Proxy::Address Proxy::at_port(int port) {
    Address address{{}, sizeof(sockaddr_in)};
    auto &in = reinterpret_cast<sockaddr_in &>(address.storage);
    in.sin_family = AF_INET;
    in.sin_port = htons(static_cast<uint16_t>(port));
    in.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

Proxy::Proxy(const std::string &server_socket) : server_(at_path(server_socket)) {
    listen_at(at_path(directory_.file("proxy")));
}

Proxy::Proxy(int server_port) : server_(at_port(server_port)) { listen_at(at_port(0)); }

void Proxy::listen_at(const Address &own) {
    listener_ = socket(own.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener_, own.generic(), own.length) != 0 || listen(listener_, 64) != 0) {
        throw std::runtime_error("the proxy cannot listen");
    }
    thread_ = std::thread([this] { run(); });
}

int Proxy::port() const {
    Address own{{}, sizeof own.storage};
    getsockname(listener_, reinterpret_cast<sockaddr *>(&own.storage), &own.length);
    return ntohs(reinterpret_cast<const sockaddr_in &>(own.storage).sin_port);
}

Proxy::~Proxy() {
    done_ = true;
    thread_.join();
    end_all();
    close(listener_);
}

void Proxy::accept_one() {
    const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const int server = socket(server_.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(server, server_.generic(), server_.length) != 0) {
        end({client, server, {}});
        return;
    }
    conversations_.push_back({client, server, {}});
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

void Proxy::answer_with(Answer answer) {
    const std::lock_guard lock(mutex_);
    answer_ = std::move(answer);
}

bool Proxy::from_client(Conversation &conversation) {
    char bytes[4096];
    const ssize_t length = recv(conversation.client, bytes, sizeof bytes, 0);
    if (length <= 0) {
        return false;
    }
    conversation.unread.append(bytes, static_cast<size_t>(length));
    const std::lock_guard lock(mutex_);
    std::vector<std::string> words;
    while (answer_ && !conversation.unread.empty()) {
        const size_t size = take_command(conversation.unread, words);
        if (size == 0) {
            return true;  // the rest is still to come
        }
        const std::string answer = answer_(words);
        const bool passed = answer.empty() ? send_all(conversation.server, conversation.unread.data(), size)
                                           : send_all(conversation.client, answer.data(), answer.size());
        if (!passed) {
            return false;
        }
        conversation.unread.erase(0, size);
    }
    const std::string left = std::exchange(conversation.unread, {});
    return send_all(conversation.server, left.data(), left.size());
}

bool Proxy::from_server(const Conversation &conversation) {
    char bytes[4096];
    size_t room = sizeof bytes;
    if (dripping_) {
        room = 1;
        std::this_thread::sleep_for(kPause);
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
        if (silent_) {
            std::this_thread::sleep_for(kPause);
            continue;
        }
        std::vector<pollfd> polled = {{listener_, POLLIN, 0}};
        for (const Conversation &conversation : conversations_) {
            polled.push_back({conversation.client, POLLIN, 0});
            polled.push_back({is_holding() ? -1 : conversation.server, POLLIN, 0});
        }
        if (poll(polled.data(), polled.size(), kPollMs) <= 0 || silent_) {
            continue;
        }
        std::vector<Conversation> going_on;
        for (size_t i = 0; i < conversations_.size(); ++i) {
            Conversation &conversation = conversations_[i];
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
