#include "redis/connection.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <utility>

#include "base/fd.h"
#include "core/error.h"

namespace mom {

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
    context->fd = base::Fd(context->fd).release();
    if (context->fd < 0) {
        *code = fail(OX_MOM_E_CONNECT, "cannot connect to %s: %s", peer.c_str(), strerror(errno));
        return nullptr;
    }
    fcntl(context->fd, F_SETFD, FD_CLOEXEC);
    if (endpoint.path.empty()) {
        redisEnableKeepAlive(context.get());
    }
    return std::unique_ptr<Connection>(new Connection(std::move(context), peer));
}

Connection::Connection(ContextPtr context, std::string peer)
    : context_(std::move(context)), answers_(*context_->reader), peer_(std::move(peer)) {}

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

void Connection::set_limit(Millis limit) {
    limit_ = limit;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
    const auto microseconds = std::chrono::microseconds(limit - seconds);
    const timeval time = {.tv_sec = static_cast<time_t>(seconds.count()),
                          .tv_usec = static_cast<suseconds_t>(microseconds.count())};
    if (setsockopt(fd(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) == 0) {
        fcntl(fd(), F_SETFL, 0);
    }
}

ssize_t Connection::receive_into(std::span<char> room, Sleep sleep) const {
    const ssize_t received = recv(fd(), room.data(), room.size(), sleep == Sleep::kNever ? MSG_DONTWAIT : 0);
    if (received > 0) {
        return received;
    }
    if (received < 0 && (errno == EAGAIN || errno == EINTR)) {
        return 0;
    }
    fail(OX_MOM_E_LOST, "%s: %s", peer_.c_str(), received == 0 ? "closed by the server" : strerror(errno));
    return -1;
}

ssize_t Connection::receive(Sleep sleep) {
    const ssize_t received = receive_into(answers_.room(), sleep);
    if (received > 0) {
        answers_.received(static_cast<size_t>(received));
    }
    return received;
}

Reply *Connection::next_reply(ReplyArena &arena) {
    Reply *reply = answers_.next(arena);
    if (is_broken()) {
        fail(OX_MOM_E_LOST, "%s: %s", peer_.c_str(), answers_.error());
    }
    return reply;
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

// Most answers come whole, to a thread that sleeps in recv(). Sleeping in poll() before it is better on a busy machine,
// but a good deal worse on an idle one, where the thread is awake later. What is left of an answer then is waited for
// in poll(), which can be told how long that may still take.
Reply *Connection::await_reply(ReplyArena &arena, int32_t *code) {
    const TimePoint deadline = Clock::now() + limit_;
    *code = OX_MOM_E_LOST;
    if (!send()) {
        return nullptr;
    }
    Sleep sleep = has_unsent() ? Sleep::kNever : Sleep::kInReceiving;
    Reply *reply = next_reply(arena);  // what follows in a batch has often come already
    while (!reply && !is_broken()) {
        if (sleep == Sleep::kNever && !wait_for(has_unsent() ? POLLOUT : POLLIN, deadline)) {
            *code = fail(OX_MOM_E_TIMEOUT, "%s: no answer in %lld ms", peer_.c_str(),
                         static_cast<long long>(limit_.count()));
            return nullptr;
        }
        if (has_unsent() ? !send() : receive(sleep) < 0) {
            return nullptr;
        }
        sleep = Sleep::kNever;
        reply = next_reply(arena);
    }
    return reply;
}

}  // namespace mom
