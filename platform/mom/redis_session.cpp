#include "redis_session.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <utility>

#include "error.h"
#include "ox_mom.h"

namespace mom {

namespace {

// A server that says nothing for so long is asked whether it is alive: one that froze, or lies beyond a cut network,
// would otherwise be followed in silence for ever.
constexpr Millis kPulse{10000};

constexpr std::string_view kHighestDatabase = "28";
static_assert(kDatabases == 29);

std::string text_of(const Reply &reply) { return reply.is_text() || reply.is_error() ? std::string(reply.text) : ""; }

const Reply *first_error(std::span<Reply *const> replies) {
    const auto error = std::ranges::find_if(replies, [](const Reply *reply) { return reply->is_error(); });
    return error == replies.end() ? nullptr : *error;
}

std::string explain(const Endpoint &server, const Reply &error) {
    std::string text = server.text() + ": " + text_of(error);
    if (error.text.find("DB index") != std::string_view::npos) {
        return text + ": it has fewer than " + std::to_string(kDatabases) +
               " databases; raise the `databases` setting in its configuration";
    }
    return text;
}

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
    loop_.run();
    while (pending() && Clock::now() < deadline) {
        loop_.wait(std::chrono::ceil<Millis>(deadline - Clock::now()));
        loop_.run();
    }
    return !pending();
}

int32_t RedisSession::connect(int32_t db) {
    bool &wanted = wanted_[static_cast<size_t>(db)];
    if (wanted) {
        return 0;
    }
    wanted = true;
    if (state_ == State::kIdle) {
        begin();
    } else if (state_ == State::kUp) {
        state_ = State::kOpening;
        loop_.set_deadline(Clock::now() + timeout_);
        open_requests(db);
    }
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
    return requests_[static_cast<size_t>(db)].connection.get();
}

// Connecting: the follower and every wanted database at once, at the master that the sentinels know or at the server.

void RedisSession::begin() {
    state_ = State::kOpening;
    loop_.set_deadline(Clock::now() + timeout_);
    if (name_.kind == StoreName::Kind::kSentinel) {
        ask_sentinel(0);
    } else {
        open_at(name_.endpoints.front());
    }
}

void RedisSession::ask_sentinel(size_t which) {
    if (which == name_.endpoints.size()) {
        attempt_failed(OX_MOM_E_CONNECT, "no sentinel knows a master of \"" + name_.name + "\": " + why_);
        return;
    }
    server_ = name_.endpoints[which];
    const auto next = [this, which](const std::string &why) {
        why_ = why;
        dialogues_.clear();
        ask_sentinel(which + 1);
    };
    auto dialogue = std::make_unique<Dialogue>(
        loop_,
        [this, next](auto, std::span<Reply *const> replies) {
            const Reply &master = *replies.front();
            if (master.type != Reply::Type::kArray || master.elements.size() != 2) {
                next(server_.text() + (master.is_error() ? ": " + text_of(master) : " does not know it"));
                return;
            }
            Endpoint server{.path = {}, .host = text_of(master.elements[0]), .port = 0};
            server.port = static_cast<uint16_t>(std::strtoul(text_of(master.elements[1]).c_str(), nullptr, 10));
            dialogues_.clear();
            open_at(server);
        },
        [next](int32_t) { next(last_error()); });
    const std::vector<Dialogue::Command> question = {{"SENTINEL", "get-master-addr-by-name", name_.name}};
    if (dialogue->start(server_, question)) {
        dialogues_.push_back(std::move(dialogue));
    } else {
        next(last_error());
    }
}

void RedisSession::open_at(const Endpoint &server) {
    server_ = server;
    open_link();
    for (int32_t db = 0; db < kDatabases && state_ == State::kOpening; ++db) {
        if (is_connected(db)) {
            open_requests(db);
        }
    }
}

std::vector<Dialogue::Command> RedisSession::login() const {
    if (name_.password.empty()) {
        return {};
    }
    if (name_.user.empty()) {
        return {{"AUTH", name_.password}};
    }
    return {{"AUTH", name_.user, name_.password}};
}

void RedisSession::open_link() {
    std::vector<Dialogue::Command> commands = login();
    commands.push_back({"ROLE"});
    start_dialogue(std::move(commands), [this](auto connection, std::span<Reply *const> replies) {
        const Reply &role = *replies.back();
        // A server without the command, or whose user may not give it, is taken at its word.
        const bool tells = role.type == Reply::Type::kArray && !role.elements.empty();
        const Reply *error = replies.size() > 1 ? first_error(replies.first(1)) : nullptr;
        const bool unknown_user = role.is_error() && role.text.starts_with("NOAUTH");
        if (error || unknown_user) {
            attempt_failed(OX_MOM_E_REFUSED, explain(server_, error ? *error : role));
        } else if (tells && role.elements.front().text != "master" && name_.kind == StoreName::Kind::kSentinel) {
            attempt_failed(OX_MOM_E_CONNECT, server_.text() + " is not the master any more");
        } else {
            link_ = std::move(connection);
            opened_one();
        }
    });
}

void RedisSession::open_requests(int32_t db) {
    std::vector<Dialogue::Command> commands = login();
    const std::string number = std::to_string(db);
    commands.push_back({"SELECT", kHighestDatabase});
    commands.push_back({"SELECT", number});
    start_dialogue(std::move(commands), [this, db](auto connection, std::span<Reply *const> replies) {
        if (const Reply *error = first_error(replies)) {
            attempt_failed(OX_MOM_E_REFUSED, explain(server_, *error));
            return;
        }
        RequestConnection &request = requests_[static_cast<size_t>(db)];
        request.watch = std::make_unique<IdleWatch>(*this, loop_, connection->fd());
        connection->set_limit(timeout_);
        request.connection = std::move(connection);
        opened_one();
    });
}

void RedisSession::start_dialogue(std::vector<Dialogue::Command> commands, Dialogue::Done done) {
    auto dialogue = std::make_unique<Dialogue>(loop_, std::move(done),
                                               [this](int32_t code) { attempt_failed(code, last_error()); });
    if (dialogue->start(server_, commands)) {
        ++opening_;
        dialogues_.push_back(std::move(dialogue));
    } else {
        attempt_failed(OX_MOM_E_CONNECT, last_error());
    }
}

void RedisSession::opened_one() {
    if (--opening_ != 0) {
        return;
    }
    dialogues_.clear();
    if (!link_watch_) {
        follow_lasting();
    }
    up_if_complete();
}

// Only now that the notifications' connection is watched can confirmations come.
void RedisSession::follow_lasting() {
    link_watch_ = std::make_unique<Watch>(loop_, link_->fd(), *this);
    pushes_.emplace();
    followed_.clear();
    unconfirmed_ = 0;
    for (const std::string &channel : listener_.lasting_channels()) {
        link_->add({"SUBSCRIBE", channel});
        ++unconfirmed_;
    }
    last_heard_ = Clock::now();
    pinged_ = false;
    watch_link();
}

void RedisSession::up_if_complete() {
    if (state_ != State::kOpening || opening_ != 0 || unconfirmed_ != 0) {
        return;
    }
    state_ = State::kUp;
    backoff_.connected(Clock::now());
    loop_.set_deadline(last_heard_ + kPulse);
    if (std::exchange(restoring_, false)) {
        listener_.on_restored();
    }
    was_up_ = true;
}

void RedisSession::attempt_failed(int32_t code, const std::string &why) {
    if (was_up_) {
        lose(why, code);
        return;
    }
    code_ = code;
    why_ = why;
    close_all();
    state_ = State::kIdle;
    loop_.set_deadline(std::nullopt);
}

void RedisSession::attempt_timed_out() {
    attempt_failed(OX_MOM_E_TIMEOUT, server_.text() + ": no answer in " + std::to_string(timeout_.count()) + " ms");
}

void RedisSession::lose(const std::string &why, int32_t code) {
    if (state_ == State::kIdle || state_ == State::kPausing) {
        return;
    }
    code_ = code;
    why_ = why;
    close_all();
    restoring_ = true;
    state_ = State::kPausing;
    loop_.set_deadline(backoff_.failed(Clock::now()));
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
    link_->add({"SUBSCRIBE", channel});
    ++unconfirmed_;
    watch_link();
    if (!drive([&] { return state_ == State::kUp && !followed_.contains(channel); })) {
        lose(server_.text() + ": a subscription was not confirmed in time", OX_MOM_E_TIMEOUT);
    }
    return state_ == State::kUp ? 0 : fail(code_, "%s", why_.c_str());
}

void RedisSession::watch_link() { link_watch_->set(link_->has_unsent() ? UV_READABLE | UV_WRITABLE : UV_READABLE); }

void RedisSession::on_ready(int events) {
    if (((events & UV_WRITABLE) && !link_->send()) || ((events & UV_READABLE) && !read_link())) {
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
                listener_.on_message(pushes_->channel(), pushes_->payload());
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
        lose(explain(server_, reply), OX_MOM_E_REFUSED);
        return;
    }
    if (reply.type != Reply::Type::kArray || reply.elements.size() != 3) {
        return;  // the answer to a ping
    }
    const std::string_view kind = reply.elements[0].text;
    const std::string_view channel = reply.elements[1].text;
    if (kind == "message") {
        listener_.on_message(channel, reply.elements[2].text);
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
