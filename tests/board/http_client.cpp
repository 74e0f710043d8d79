#include "http_client.h"

#include <algorithm>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>

namespace board_test {

Connection::Connection(uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot connect to port " + std::to_string(port));
    }
}

void Connection::send(const std::string &bytes) const {
    if (::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("cannot send");
    }
}

bool Connection::receive() {
    pollfd ready = {socket_.get(), POLLIN, 0};
    if (poll(&ready, 1, static_cast<int>(std::chrono::milliseconds(kLimit).count())) != 1) {
        throw std::runtime_error("nothing has come");
    }
    char bytes[16384];
    const ssize_t length = recv(socket_.get(), bytes, sizeof bytes, 0);
    received_.append(bytes, static_cast<size_t>(std::max<ssize_t>(length, 0)));
    return length > 0;
}

std::string Connection::take(size_t length) {
    while (received_.size() < length) {
        if (!receive()) {
            throw std::runtime_error("the connection has ended within an answer");
        }
    }
    std::string taken = received_.substr(0, length);
    received_.erase(0, length);
    return taken;
}

std::string Connection::take_line() {
    size_t end = 0;
    while ((end = received_.find("\r\n")) == std::string::npos) {
        if (!receive()) {
            return "";
        }
    }
    std::string line = take(end);
    take(2);
    return line;
}

std::string Connection::take_chunk() {
    const size_t length = std::stoul(take_line(), nullptr, 16);
    std::string chunk = take(length);
    take(2);
    return chunk;
}

Reply Connection::read_headers() {
    Reply reply;
    const std::string first = take_line();
    if (first.size() < 12) {
        return reply;
    }
    reply.status = std::stoi(first.substr(9, 3));
    for (std::string line = take_line(); !line.empty(); line = take_line()) {
        const size_t colon = line.find(':');
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(), [](char letter) { return std::tolower(letter); });
        reply.headers[name] = line.substr(line.find_first_not_of(' ', colon + 1));
    }
    return reply;
}

Reply Connection::read_reply(bool has_body) {
    Reply reply = read_headers();
    if (has_body && reply.headers.contains("content-length")) {
        reply.body = take(std::stoul(reply.headers["content-length"]));
    }
    return reply;
}

std::string Connection::read_event() {
    size_t end = 0;
    while ((end = chunks_.find("\n\n")) == std::string::npos) {
        chunks_ += take_chunk();
    }
    const std::string event = chunks_.substr(0, end);
    chunks_.erase(0, end + 2);
    if (!event.starts_with("data: ") || event.find('\n') != std::string::npos) {
        throw std::runtime_error("no event of one line of data: " + event);
    }
    return event.substr(6);
}

bool Connection::is_closed() {
    while (receive()) {
    }
    return true;
}

Reply request(uint16_t port, const std::string &method, const std::string &path, const std::string &headers) {
    Connection connection(port);
    connection.send(method + " " + path + " HTTP/1.1\r\n" + headers + "\r\n");
    return connection.read_reply(method != "HEAD");
}

Reply get(uint16_t port, const std::string &path) {
    return request(port, "GET", path, "Host: 127.0.0.1:" + std::to_string(port) + "\r\n");
}

Connection open_stream(uint16_t port) {
    Connection connection(port);
    connection.send("GET /events HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n");
    if (const Reply reply = connection.read_headers(); reply.status != 200) {
        throw std::runtime_error("no stream, but status " + std::to_string(reply.status));
    }
    return connection;
}

}  // namespace board_test
