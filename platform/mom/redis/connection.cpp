#include "redis/connection.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "core/error.h"

namespace mom::redis {

namespace {

constexpr size_t kLongestHead = 24;  // of a word: its kind, its length, and the ends of two lines

char *put_head(char *at, char kind, size_t length) {
    *at++ = kind;
    at = std::to_chars(at, at + kLongestHead, length).ptr;
    *at++ = '\r';
    *at++ = '\n';
    return at;
}

}  // namespace

void append_command(std::string &bytes, std::span<const std::string_view> command) {
    size_t longest = kLongestHead;
    for (const std::string_view word : command) {
        longest += kLongestHead + word.size();
    }
    const size_t before = bytes.size();
    bytes.resize(before + longest);  // the only step that can fail
    char *at = put_head(bytes.data() + before, '*', command.size());
    for (const std::string_view word : command) {
        at = put_head(at, '$', word.size());
        at = std::copy(word.begin(), word.end(), at);
        *at++ = '\r';
        *at++ = '\n';
    }
    bytes.resize(static_cast<size_t>(at - bytes.data()));
}

bool Connection::send() {
    while (has_unsent()) {
        const ssize_t sent = ::send(fd(), out_.data() + sent_, out_.size() - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            sent_ += static_cast<size_t>(sent);
        } else if (errno == EAGAIN) {
            return true;
        } else if (errno != EINTR) {
            fail(OX_MOM_E_LOST, "%s: %s", peer_.c_str(), strerror(errno));
            return false;
        }
    }
    out_.clear();
    sent_ = 0;
    return true;
}

Connection::Received Connection::receive(Sleep sleep) {
    const std::span<char> room = reader_.room();
    const ssize_t received = recv(fd(), room.data(), room.size(), sleep == Sleep::kNever ? MSG_DONTWAIT : 0);
    if (received > 0) {
        reader_.received(static_cast<size_t>(received));
        return Received::kSome;
    }
    if (received < 0 && (errno == EAGAIN || errno == EINTR)) {
        return Received::kNothing;
    }
    fail(OX_MOM_E_LOST, "%s: %s", peer_.c_str(), received == 0 ? "closed by the server" : strerror(errno));
    return Received::kLost;
}

void Connection::set_sleep(Millis limit) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    const auto microseconds = std::chrono::microseconds(limit - seconds);
    const timeval time = {.tv_sec = static_cast<time_t>(seconds.count()),
                          .tv_usec = static_cast<suseconds_t>(microseconds.count())};
    if (setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) == 0) {
        fcntl(fd(), F_SETFL, 0);
    }
}

bool Connection::is_quiet() const {
    char byte = 0;
    return recv(fd(), &byte, sizeof byte, MSG_PEEK | MSG_DONTWAIT) < 0 && (errno == EAGAIN || errno == EINTR);
}

Reply *Connection::broken() const {
    fail(OX_MOM_E_LOST, "%s: %s", peer_.c_str(), reader_.error());
    return nullptr;
}

}  // namespace mom::redis
