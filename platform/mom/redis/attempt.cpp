#include "redis/attempt.h"

#include <algorithm>
#include <new>
#include <utility>

#include "core/error.h"
#include "core/store.h"
#include "records/key.h"
#include "redis/login.h"
#include "redis/sentinels.h"

namespace mom::redis {

namespace {

// No type has an empty name, so there is no such set. The answer is that of any read.
constexpr std::string_view kNothing = kSetPrefix;

enum Question : size_t { kRole, kSelect, kRead, kId, kQuestions };

}  // namespace

Attempt::Attempt(const Opener &opener, const StoreName &name, TimePoint until, Ends ends)
    : opener_(opener), name_(name), until_(until), ends_(std::move(ends)) {}

template <class Work>
void Attempt::guarded(Work work) noexcept {
    try {
        work();
    } catch (const std::bad_alloc &) {
        fail_for_good(OX_MOM_E_MEMORY, {});
    }
}

void Attempt::start(const std::optional<Endpoint> &announced) {
    guarded([&] {
        if (announced) {
            const TimePoint now = Clock::now();
            tried_.push_back(announced->text());
            open(*announced, now + (until_ - now) / 2);
        } else if (name_.kind == StoreName::Kind::kSentinel) {
            ask_next_sentinel();
        } else {
            open(name_.endpoints.front(), until_);
        }
    });
}

void Attempt::on_due() {
    if (opening_) {
        opening_->on_due();
    }
}

void Attempt::ask_next_sentinel() {
    const size_t left = name_.endpoints.size() - asked_;
    if (left == 0) {
        if (tried_.empty()) {
            refuse(OX_MOM_E_CONNECT, "no sentinel knows a master of \"" + name_.name + "\": " + why_);
        }
        fail_for_good(code_, why_);
        return;
    }
    const Endpoint &sentinel = name_.endpoints[asked_++];
    const TimePoint now = Clock::now();
    const auto turn = std::max(until_ - now, Clock::duration(0)) / static_cast<int>(left);
    turn_until_ = now + turn;
    const std::vector<Command> commands = {master_question(name_.name)};
    opening_ = std::make_unique<Opening>(opener_, sentinel, commands, now + turn / 2,
                                         [this, &sentinel](Handshake &handshake, Handshake::State state) {
                                             guarded([&] { hear_sentinel(sentinel, handshake, state); });
                                         });
    opening_->start();
}

void Attempt::hear_sentinel(const Endpoint &sentinel, Handshake &handshake, Handshake::State state) {
    if (handshake.code() == OX_MOM_E_MEMORY) {
        throw std::bad_alloc();
    }
    if (state != Handshake::State::kDone) {
        why_ = last_error();
    } else if (const auto master = named_master(*handshake.replies().front()); !master) {
        const Reply &answer = *handshake.replies().front();
        why_ = answer.is_error() ? explain(sentinel.text(), name_, answer) : sentinel.text() + " does not know it";
    } else if (std::ranges::find(tried_, master->text()) == tried_.end()) {
        tried_.push_back(master->text());
        open(*master, turn_until_);
        return;
    }
    ask_next_sentinel();
}

void Attempt::open(const Endpoint &server, TimePoint until) {
    const std::string highest = std::to_string(kDatabases - 1);  // who has it has all that are used
    std::vector<Command> commands = login(name_);
    commands.push_back({"ROLE"});
    commands.push_back({"SELECT", highest});
    commands.push_back({"HGETALL", kNothing});
    commands.push_back({"CLIENT", "ID"});
    opening_ = std::make_unique<Opening>(opener_, server, commands, until,
                                         [this, server](Handshake &handshake, Handshake::State state) {
                                             guarded([&] { hear_server(server, handshake, state); });
                                         });
    opening_->start();
}

void Attempt::hear_server(const Endpoint &server, Handshake &handshake, Handshake::State state) {
    const std::span<Reply *const> replies = handshake.replies();
    if (state == Handshake::State::kDone && judge(server, replies) == 0) {
        const auto reached = std::move(ends_.reached);
        const int64_t id = replies.last(kQuestions)[kId]->integer;
        reached(server, handshake.take_connection(), id);
        return;
    }
    if (state != Handshake::State::kDone) {
        // A server that sends clients away says why to the first command.
        const Reply *error = first_error(replies);
        refuse(error != nullptr ? int32_t{OX_MOM_E_REFUSED} : handshake.code(),
               error != nullptr ? explain(server.text(), name_, *error) : last_error());
    }
    if (name_.kind == StoreName::Kind::kSentinel) {
        ask_next_sentinel();
    } else {
        fail_for_good(code_, why_);
    }
}

// 0 when the server will do. A command that it does not know, or that the user may not give, says nothing.
int32_t Attempt::judge(const Endpoint &server, std::span<Reply *const> replies) {
    const auto answers = replies.last(kQuestions);
    const Reply *error = first_error(replies.first(replies.size() - kQuestions));
    const auto refuses = [](const Reply &reply) {
        return reply.is_error() && (is_unfit(reply) || reply.text.starts_with("NOAUTH") ||
                                    reply.text.find("DB index") != std::string_view::npos);
    };
    for (const Reply *answer : answers) {
        error = error != nullptr ? error : refuses(*answer) ? answer : nullptr;
    }
    code_ = 0;
    const Reply &role = *answers[kRole];
    const bool tells = role.type == Reply::Type::kArray && !role.elements.empty();
    if (error != nullptr) {
        refuse(OX_MOM_E_REFUSED, explain(server.text(), name_, *error));
    } else if (tells && role.elements.front().text != "master" && name_.kind == StoreName::Kind::kSentinel) {
        refuse(OX_MOM_E_CONNECT, server.text() + " is not the master any more");
    }
    return code_;
}

void Attempt::refuse(int32_t code, std::string why) {
    code_ = code;
    why_ = std::move(why);
}

void Attempt::fail_for_good(int32_t code, const std::string &why) {
    const auto failed = std::move(ends_.failed);
    if (failed) {
        failed(code, why);
    }
}

}  // namespace mom::redis
