// Who a client is to a server, and what a server says to that.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/store_name.h"
#include "redis/connection.h"
#include "redis/reply.h"

namespace mom::redis {

// The commands that a conversation begins with; none without a password. They refer to the name.
std::vector<Command> login(const StoreName &name);

// The first answer that says no; nullptr: none does.
const Reply *first_error(std::span<Reply *const> replies);

// Why an answer of that server says no, in words that have no password: servers repeat commands that they do not
// know.
std::string explain(const std::string &server, const StoreName &name, const Reply &error);

// Whether the answer is an error of that kind.
bool says(const Reply &reply, std::string_view word);

// The server can't do now what it is there for: it is loading, a replica that has no master to copy, or busy with
// somebody's script.
bool is_unfit(const Reply &reply);

}  // namespace mom::redis
