#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

#include "error.h"

namespace mom {

namespace {

// hiredis moves what is left of its buffer each time it has consumed a kilobyte: little at a time is cheapest.
constexpr size_t kReceiveSize = size_t{8} * 1024;
constexpr size_t kKeptBuffer = size_t{1024} * 1024;

constexpr size_t kLongestHead = 24;  // of a word: its kind, its length, and the ends of two lines

char *put_head(char *at, char kind, size_t length) {
    *at++ = kind;
    at = std::to_chars(at, at + kLongestHead, length).ptr;
    *at++ = '\r';
    *at++ = '\n';
    return at;
}

}  // namespace

std::unique_ptr<Connection> Connection::open(const Endpoint &endpoint, int32_t *code) {
    const std::string peer = endpoint.text();
    ContextPtr context(endpoint.path.empty() ? redisConnectNonBlock(endpoint.host.c_str(), endpoint.port)
                                             : redisConnectUnixNonBlock(endpoint.path.c_str()));
    if (!context || context->err == REDIS_ERR_OOM) {
        *code = fail(OX_MOM_E_MEMORY, "no memory to connect to %s", peer.c_str());
        return nullptr;
    }
    if (context->err) {
        *code = fail(OX_MOM_E_CONNECT, "cannot connect to %s: %s", peer.c_str(), context->errstr);
        return nullptr;
    }
    fcntl(context->fd, F_SETFD, FD_CLOEXEC);
    if (endpoint.path.empty()) {
        redisEnableKeepAlive(context.get());
    }
    context->reader->fn = &reply_functions;
    context->reader->maxbuf = kKeptBuffer;
    return std::unique_ptr<Connection>(new Connection(std::move(context), peer));
}

Connection::Connection(ContextPtr context, std::string peer) : context_(std::move(context)), peer_(std::move(peer)) {}

Connection::~Connection() = default;

bool Connection::finish_connecting() const {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(fd(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0) {
        return true;
    }
    fail(OX_MOM_E_CONNECT, "cannot connect to %s: %s", peer_.c_str(), strerror(error ? error : errno));
    return false;
}

void Connection::add(std::span<const std::string_view> command) {
    size_t longest = kLongestHead;
    for (const std::string_view word : command) {
        longest += kLongestHead + word.size();
    }
    const size_t before = out_.size();
    out_.resize(before + longest);  // the only step that can fail: a command is added whole or not at all
    char *at = put_head(out_.data() + before, '*', command.size());
    for (const std::string_view word : command) {
        at = put_head(at, '$', word.size());
        at = std::copy(word.begin(), word.end(), at);
        *at++ = '\r';
        *at++ = '\n';
    }
    out_.resize(static_cast<size_t>(at - out_.data()));
}

bool Connection::send() {
    while (has_unsent()) {
        const ssize_t sent = ::send(fd(), out_.data() + sent_, out_.size() - sent_, MSG_NOSIGNAL);
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

ssize_t Connection::receive_into(std::span<char> room) const {
    ssize_t received = 0;
    do {
        received = recv(fd(), room.data(), room.size(), 0);
    } while (received < 0 && errno == EINTR);
    if (received > 0) {
        return received;
    }
    if (received < 0 && errno == EAGAIN) {
        return 0;
    }
    fail(OX_MOM_E_LOST, "%s: %s", peer_.c_str(), received == 0 ? "closed by the server" : strerror(errno));
    return -1;
}

ssize_t Connection::receive() {
    char buffer[kReceiveSize];
    const ssize_t received = receive_into(buffer);
    if (received > 0 && redisReaderFeed(context_->reader, buffer, static_cast<size_t>(received)) != REDIS_OK) {
        fail(OX_MOM_E_LOST, "%s: %s", peer_.c_str(), context_->reader->errstr);
        return -1;
    }
    return received;
}

Reply *Connection::next_reply(ReplyArena &arena) {
    context_->reader->privdata = &arena;
    void *reply = nullptr;
    if (redisReaderGetReply(context_->reader, &reply) != REDIS_OK) {
        fail(OX_MOM_E_LOST, "%s: %s", peer_.c_str(), context_->reader->errstr);
        return nullptr;
    }
    return static_cast<Reply *>(reply);
}

bool Connection::wait_for(short events, TimePoint deadline) const {
    pollfd waiting{.fd = fd(), .events = events, .revents = 0};
    for (TimePoint now = Clock::now(); now < deadline; now = Clock::now()) {
        const auto left = std::chrono::ceil<Millis>(deadline - now);
        if (poll(&waiting, 1, static_cast<int>(left.count())) > 0) {
            return true;
        }
    }
    return false;
}

// Sleeps in poll(), never in recv(): from that, the server takes a good deal longer to wake a client.
Reply *Connection::await_reply(ReplyArena &arena, int32_t *code) {
    const TimePoint deadline = Clock::now() + limit_;
    *code = OX_MOM_E_LOST;
    if (!send()) {
        return nullptr;
    }
    Reply *reply = next_reply(arena);  // what follows in a batch has often come already
    while (!reply && !is_broken()) {
        if (!wait_for(has_unsent() ? POLLOUT : POLLIN, deadline)) {
            *code = fail(OX_MOM_E_TIMEOUT, "%s: no answer in %lld ms", peer_.c_str(),
                         static_cast<long long>(limit_.count()));
            return nullptr;
        }
        if (has_unsent() ? !send() : receive() < 0) {
            return nullptr;
        }
        reply = next_reply(arena);
    }
    return reply;
}

}  // namespace mom
