#include "redis/login.h"

#include <algorithm>

#include "core/store.h"

namespace mom::redis {

std::vector<Command> login(const StoreName &name) {
    if (name.password.empty()) {
        return {};
    }
    if (name.user.empty()) {
        return {{"AUTH", name.password}};
    }
    return {{"AUTH", name.user, name.password}};
}

const Reply *first_error(std::span<Reply *const> replies) {
    const auto error = std::ranges::find_if(replies, [](const Reply *reply) { return reply->is_error(); });
    return error == replies.end() ? nullptr : *error;
}

std::string explain(const std::string &server, const StoreName &name, const Reply &error) {
    // A server may repeat no more than the beginning of a password, so what is repeated is left out altogether.
    std::string_view words = error.text.substr(0, error.text.find(", with args beginning with"));
    if (!name.password.empty() && words.find(name.password) != std::string_view::npos) {
        words = words.substr(0, words.find(' '));
    }
    std::string text = server + ": ";
    text += words;
    if (error.text.find("DB index") != std::string_view::npos) {
        text.append(": it has fewer than ").append(std::to_string(kDatabases));
        text.append(" databases; raise the `databases` setting in its configuration");
    }
    return text;
}

bool says(const Reply &reply, std::string_view word) {
    // An error within a script is told inside an error of the script.
    return reply.is_error() &&
           (reply.text.starts_with(word) || reply.text.find(std::string("-").append(word)) != std::string_view::npos);
}

bool is_unfit(const Reply &reply) {
    return says(reply, "LOADING") || says(reply, "MASTERDOWN") || says(reply, "BUSY ");
}

}  // namespace mom::redis
