#include "redis/redis_session.h"

#include <new>
#include <random>
#include <utility>

#include "core/error.h"
#include "ox_mom.h"

namespace mom {

namespace {

// A server that says nothing for so long is asked whether it is alive: one that froze, or lies beyond a cut network,
// would otherwise be followed in silence for ever.
constexpr Millis kPulse{10000};

// To watch a connection no more and to watch it again takes two system calls, which fewer requests in a row do not
// earn.
constexpr int kFewRequests = 8;

}  // namespace

RedisSession::RedisSession(StoreName name, Loop &loop, StoreListener &listener, Millis timeout)
    : name_(std::move(name)), loop_(loop), listener_(listener), timeout_(timeout), backoff_(std::random_device()()) {
    loop_.set_handler(this);
}

RedisSession::~RedisSession() {
    loop_.set_handler(nullptr);
    close_all();
}

// Runs the loop while pending() says so; false when that took too long.
template <class Pending>
bool RedisSession::drive(Pending pending) {
    const TimePoint deadline = Clock::now() + timeout_;
    for (TimePoint now = Clock::now(); pending() && now < deadline; now = Clock::now()) {
        loop_.run(std::chrono::ceil<Millis>(deadline - now));
    }
    return !pending();
}

int32_t RedisSession::connect(int32_t db) {
    bool &wanted = wanted_[static_cast<size_t>(db)];
    if (wanted) {
        return 0;
    }
    wanted = true;
    guarded([&] {
        if (state_ == State::kIdle) {
            begin();
        } else if (state_ == State::kUp) {
            state_ = State::kOpening;
            loop_.set_deadline(Clock::now() + timeout_);
            open_requests(db);
        }
    });
    if (!drive([this] { return state_ == State::kOpening; })) {
        attempt_timed_out();
    }
    if (state_ == State::kUp) {
        return 0;
    }
    wanted = false;
    return fail(code_, "%s", why_.c_str());
}

Connection *RedisSession::request_connection(int32_t db, int32_t *code) {
    if (state_ != State::kUp) {
        // A program that only makes requests reconnects all the same.
        loop_.run();
    }
    if (state_ != State::kUp) {
        *code = fail(OX_MOM_E_LOST, "the connection is lost: %s", why_.c_str());
        return nullptr;
    }
    RequestConnection &request = requests_[static_cast<size_t>(db)];
    requested_ = true;
    if (request.in_a_row < kFewRequests && ++request.in_a_row == kFewRequests) {
        request.watch->pause();
    }
    return request.connection.get();
}

void RedisSession::before_run() {
    if (!std::exchange(requested_, false)) {
        return;
    }
    for (RequestConnection &request : requests_) {
        if (std::exchange(request.in_a_row, 0) == kFewRequests && request.watch) {
            request.watch->resume();
        }
    }
}

// Up, or not.

void RedisSession::up_if_complete() {
    if (state_ != State::kOpening || opening_ != 0 || unconfirmed_ != 0) {
        return;
    }
    open_wanted();  // what the program has asked for meanwhile: once up, every wanted database has its connection
    if (opening_ != 0) {
        loop_.set_deadline(Clock::now() + timeout_);
    }
    if (opening_ != 0 || state_ != State::kOpening) {
        return;
    }
    state_ = State::kUp;
    backoff_.connected(Clock::now());
    loop_.set_deadline(last_heard_ + kPulse);
    if (std::exchange(restoring_, false)) {
        listener_.on_restored();
    } else {
        listener_.on_up();
    }
    was_up_ = true;
}

void RedisSession::attempt_failed(int32_t code, std::string_view why) noexcept {
    if (was_up_) {
        lose(why, code);
        return;
    }
    keep_reason(code, why);
    close_all();
    state_ = State::kIdle;
    loop_.set_deadline(std::nullopt);
}

void RedisSession::attempt_timed_out() {
    attempt_failed(OX_MOM_E_TIMEOUT, server_.text() + ": no answer in " + std::to_string(timeout_.count()) + " ms");
}

void RedisSession::lose(std::string_view why, int32_t code) noexcept {
    if (state_ == State::kIdle || state_ == State::kPausing) {
        return;
    }
    keep_reason(code, why);
    close_all();
    restoring_ = true;
    state_ = State::kPausing;
    const TimePoint now = Clock::now();
    const TimePoint due = backoff_.failed(now);
    loop_.set_deadline(due);
    const std::string_view reason = why_.empty() ? std::string_view("out of memory") : why_;
    listener_.on_lost(code_, reason, std::chrono::ceil<Millis>(due - now));
}

// The connections are given up whether or not there is memory to say why.
void RedisSession::keep_reason(int32_t code, std::string_view why) noexcept {
    code_ = code;
    try {
        why_ = why;
    } catch (const std::bad_alloc &) {
        why_.clear();
    }
}

void RedisSession::close_all() {
    dialogues_.clear();
    opening_ = 0;
    link_watch_.reset();
    link_.reset();
    for (RequestConnection &request : requests_) {
        request.close();
    }
}

void RedisSession::on_deadline() {
    switch (state_) {
        case State::kPausing:
            begin();
            break;
        case State::kOpening:
            attempt_timed_out();
            break;
        case State::kUp:
            check_pulse();
            break;
        case State::kIdle:
            break;
    }
}

// Following.

int32_t RedisSession::follow(const std::string &channel) {
    if (state_ != State::kUp) {
        loop_.run();
    }
    if (state_ != State::kUp) {
        return fail(OX_MOM_E_LOST, "the connection is lost: %s", why_.c_str());
    }
    // Asked for again even when it is followed already: what comes before the answer is older than this subscription.
    followed_.erase(channel);
    try {
        link_->add({"SUBSCRIBE", channel});
        ++unconfirmed_;
        watch_link();
    } catch (const std::bad_alloc &) {
        lose("out of memory", OX_MOM_E_MEMORY);  // what is followed already could go unheard
        throw;
    }
    if (!drive([&] { return state_ == State::kUp && !followed_.contains(channel); })) {
        lose(server_.text() + ": a subscription was not confirmed in time", OX_MOM_E_TIMEOUT);
    }
    return state_ == State::kUp ? 0 : fail(code_, "%s", why_.c_str());
}

void RedisSession::watch_link() { link_watch_->set(link_->has_unsent() ? EPOLLIN | EPOLLOUT : EPOLLIN); }

void RedisSession::on_ready(uint32_t events) {
    if (((events & EPOLLOUT) && !link_->send()) || ((events & EPOLLIN) && !read_link())) {
        lose(last_error());
        return;
    }
    if (link_) {
        watch_link();
        up_if_complete();
    }
}

// False when the connection is lost. One piece at a time, so that what has come is delivered before more is received.
bool RedisSession::read_link() {
    const ssize_t received = link_->receive_into(pushes_->room());
    if (received <= 0) {
        return received == 0;
    }
    pushes_->received(static_cast<size_t>(received));
    hear();
    while (link_) {  // until the listener gives it up
        switch (pushes_->next()) {
            case PushReader::Item::kMessage:
                listener_.on_notification(pushes_->channel(), pushes_->payload());
                break;
            case PushReader::Item::kReply:
                on_reply(pushes_->reply());
                break;
            case PushReader::Item::kNone:
                return true;
            case PushReader::Item::kBroken:
                fail(OX_MOM_E_LOST, "%s: %s", server_.text().c_str(), pushes_->error());
                return false;
        }
    }
    return true;
}

void RedisSession::on_reply(const Reply &reply) {
    if (reply.is_error()) {
        lose(explain(reply), OX_MOM_E_REFUSED);
        return;
    }
    if (reply.type != Reply::Type::kArray || reply.elements.size() != 3) {
        return;  // the answer to a ping
    }
    const std::string_view kind = reply.elements[0].text;
    const std::string_view channel = reply.elements[1].text;
    if (kind == "message") {
        listener_.on_notification(channel, reply.elements[2].text);
    } else if (kind == "subscribe") {
        followed_.emplace(channel);
        unconfirmed_ -= unconfirmed_ > 0 ? 1 : 0;
    }
}

void RedisSession::hear() {
    last_heard_ = Clock::now();
    pinged_ = false;
}

void RedisSession::check_pulse() {
    const TimePoint now = Clock::now();
    if (pinged_) {
        // The answer may have come while the program did not run the loop.
        if (!read_link()) {
            lose(last_error());
        } else if (pinged_) {
            lose(server_.text() + " is silent");
        }
    } else if (now - last_heard_ >= kPulse) {
        pinged_ = true;
        link_->add({"PING"});
        watch_link();
    }
    if (state_ == State::kUp) {
        loop_.set_deadline(pinged_ ? now + timeout_ : last_heard_ + kPulse);
    }
}

}  // namespace mom
