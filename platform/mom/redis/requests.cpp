#include "redis/requests.h"

#include <new>
#include <string>

#include "core/error.h"
#include "redis/login.h"

namespace mom::redis {

int32_t Requests::connect(int32_t db) {
    const TimePoint end = limit();
    const int32_t code = link_.come_up(end);
    return code != 0 ? code : open(connections_[static_cast<size_t>(db)], db, end);
}

RequestConnection *Requests::connection(int32_t db, TimePoint end, int32_t *code) {
    RequestConnection &connection = connections_[static_cast<size_t>(db)];
    // A program that makes requests only, and never runs the client, hears here that there is another master. The old
    // one may go on confirming writes that are lost.
    if (name_.kind == StoreName::Kind::kSentinel) {
        link_.hear();
    }
    if (link_.is_up() && connection.is_open() && connection.is_fresh(end - timeout_)) {
        return &connection;
    }
    connection.close();
    // A server that is gone has closed everything: it is the link that says so.
    *code = link_.look();
    if (*code == 0) {
        *code = open(connection, db, end);
        *code = *code == OX_MOM_E_CONNECT ? int32_t{OX_MOM_E_LOST} : *code;
    }
    return *code == 0 ? &connection : nullptr;
}

int32_t Requests::open(RequestConnection &connection, int32_t db, TimePoint end) {
    const int32_t code =
        connection.open(link_.server(), link_.address(), name_, db, end, timeout_ / 2, link_.resolver());
    if (code == OX_MOM_E_CONNECT || code == OX_MOM_E_TIMEOUT) {
        link_.ping();
    }
    return code;
}

const Reply *Requests::make(int32_t db, std::span<const std::string_view> command, Repeat repeat, TimePoint end,
                            Arena &arena, int32_t *code) {
    for (;; repeat = Repeat::kNever) {
        RequestConnection *connection = this->connection(db, end, code);
        if (connection == nullptr) {
            return nullptr;
        }
        connection->add(command);
        arena.clear();
        const Reply *reply = await(*connection, end, arena, code);
        if (reply != nullptr || *code != OX_MOM_E_LOST || repeat == Repeat::kNever || !link_.is_up()) {
            return reply;
        }
    }
}

int32_t Requests::make_batch(int32_t db, std::string_view commands, size_t count, TimePoint end, Arena &arena,
                             std::vector<const Reply *> &replies) {
    const int32_t code = try_batch(db, commands, count, end, arena, replies);
    const bool again = code == OX_MOM_E_LOST && link_.is_up();
    return again ? try_batch(db, commands, count, end, arena, replies) : code;
}

int32_t Requests::try_batch(int32_t db, std::string_view commands, size_t count, TimePoint end, Arena &arena,
                            std::vector<const Reply *> &replies) {
    int32_t code = 0;
    RequestConnection *connection = this->connection(db, end, &code);
    if (connection == nullptr) {
        return code;
    }
    arena.clear();
    replies.clear();
    replies.reserve(count);
    connection->add_encoded(commands);
    while (replies.size() < count) {
        const Reply *reply = await(*connection, end, arena, &code);
        if (reply == nullptr) {
            return code;
        }
        replies.push_back(reply);
    }
    return 0;
}

const Reply *Requests::await(RequestConnection &connection, TimePoint end, Arena &arena, int32_t *code) try {
    const Reply *reply = connection.take(arena);  // what follows in a batch has often come already
    reply = reply != nullptr ? reply : await_in_time(connection, end, arena, code);
    if (reply == nullptr) {
        *code = give_up(connection, *code);
        return nullptr;
    }
    return is_fit(*reply, code) ? reply : nullptr;
} catch (const std::bad_alloc &) {
    connection.close();  // the answer is still to come
    throw;
}

// While an answer is late, the server is asked on the other connection whether it is there at all.
const Reply *Requests::await_in_time(RequestConnection &connection, TimePoint end, Arena &arena, int32_t *code) {
    const Reply *reply = connection.await(arena, end, code);
    if (reply != nullptr || *code != OX_MOM_E_TIMEOUT) {
        return reply;
    }
    link_.ping();
    if (!link_.is_up()) {  // and has closed the connection
        *code = link_.look();
        return nullptr;
    }
    return connection.await_late(arena, end, code);
}

// Closes a connection that did not answer, so that a late answer is never taken for another's.
int32_t Requests::give_up(RequestConnection &connection, int32_t code) {
    connection.close();
    if (code != OX_MOM_E_TIMEOUT) {
        return code;
    }
    link_.must_answer();
    return fail(code, "%s: no answer in %lld ms", link_.server().text().c_str(),
                static_cast<long long>(timeout_.count()));
}

// A server that can't do what it is there for any more is lost, and so is one that is the master no longer, where the
// sentinels know another one.
bool Requests::is_fit(const Reply &reply, int32_t *code) {
    if (!reply.is_error()) {
        return true;
    }
    const bool demoted = name_.kind == StoreName::Kind::kSentinel && says(reply, "READONLY");
    if (!demoted && !is_unfit(reply)) {
        return true;
    }
    const std::string why = explain(link_.server().text(), name_, reply);
    link_.lose(why);
    *code = fail(OX_MOM_E_LOST, "%s", why.c_str());
    return false;
}

void Requests::close_all() noexcept {
    for (RequestConnection &each : connections_) {
        each.close();
    }
}

}  // namespace mom::redis
