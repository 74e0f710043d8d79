// How a session opens its connections: asks the sentinels, if that is how its server is named, and logs in.
#include <algorithm>
#include <cstdlib>
#include <utility>

#include "core/error.h"
#include "ox_mom.h"
#include "redis/redis_session.h"

namespace mom {

namespace {

constexpr std::string_view kHighestDatabase = "28";
static_assert(kDatabases == 29);

std::string text_of(const Reply &reply) { return reply.is_text() || reply.is_error() ? std::string(reply.text) : ""; }

// A server without AUTH answers with what it was given.
std::string without_login(std::string text, const StoreName &name) {
    text.erase(std::min(text.find(", with args"), text.size()));
    for (size_t at = 0; !name.password.empty() && (at = text.find(name.password, at)) != std::string::npos; at += 3) {
        text.replace(at, name.password.size(), "...");
    }
    return text;
}

// Such a server answers what has been asked so far, but has no records to read yet, or none that it may show.
bool is_not_ready(const Reply &reply) {
    return reply.is_error() && (reply.text.starts_with("LOADING") || reply.text.starts_with("MASTERDOWN"));
}

const Reply *first_error(std::span<Reply *const> replies) {
    const auto error = std::ranges::find_if(replies, [](const Reply *reply) { return reply->is_error(); });
    return error == replies.end() ? nullptr : *error;
}

}  // namespace

std::string RedisSession::explain(const Reply &error) const {
    std::string text = server_.text() + ": " + without_login(text_of(error), name_);
    if (error.text.find("DB index") != std::string_view::npos) {
        return text + ": it has fewer than " + std::to_string(kDatabases) +
               " databases; raise the `databases` setting in its configuration";
    }
    return text;
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
            guarded([&] {
                const Reply &master = *replies.front();
                if (master.type != Reply::Type::kArray || master.elements.size() != 2) {
                    next(server_.text() + (master.is_error() ? ": " + text_of(master) : " does not know it"));
                    return;
                }
                Endpoint server{.path = {}, .host = text_of(master.elements[0]), .port = 0};
                server.port = static_cast<uint16_t>(std::strtoul(text_of(master.elements[1]).c_str(), nullptr, 10));
                dialogues_.clear();
                open_at(server);
            });
        },
        [this, next](int32_t) { guarded([&] { next(last_error()); }); });
    const std::vector<Dialogue::Command> question = {{"SENTINEL", "get-master-addr-by-name", name_.name}};
    if (dialogue->start(server_, question) == 0) {
        dialogues_.push_back(std::move(dialogue));
    } else {
        next(last_error());
    }
}

void RedisSession::open_at(const Endpoint &server) {
    server_ = server;
    open_link();
    open_wanted();
}

void RedisSession::open_wanted() {
    for (int32_t db = 0; db < kDatabases && state_ == State::kOpening; ++db) {
        if (is_connected(db) && !requests_[static_cast<size_t>(db)].connection) {
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
            attempt_failed(OX_MOM_E_REFUSED, explain(error ? *error : role));
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
    commands.push_back({"EXISTS", kSetPrefix});
    start_dialogue(std::move(commands), [this, db](auto connection, std::span<Reply *const> replies) {
        // Whether the last one is allowed is no matter: only whether the server can read.
        const Reply *error = is_not_ready(*replies.back()) ? replies.back() : nullptr;
        error = error ? error : first_error(replies.first(replies.size() - 1));
        if (error) {
            attempt_failed(OX_MOM_E_REFUSED, explain(*error));
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
    auto dialogue = std::make_unique<Dialogue>(
        loop_,
        [this, done = std::move(done)](std::unique_ptr<Connection> connection, std::span<Reply *const> replies) {
            guarded([&] { done(std::move(connection), replies); });
        },
        [this](int32_t code) { attempt_failed(code, last_error()); });
    if (const int32_t code = dialogue->start(server_, commands)) {
        attempt_failed(code, last_error());
    } else {
        ++opening_;
        dialogues_.push_back(std::move(dialogue));
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

}  // namespace mom
