#include "core/store_name.h"

#include <charconv>
#include <sys/un.h>

#include "core/error.h"

namespace mom {

namespace {

constexpr std::string_view kSchemeEnd = "://";
constexpr std::string_view kRedis = "redis://";
constexpr uint16_t kRedisPort = 6379;
constexpr uint16_t kNoPort = 0;

// Takes prefix off the front of text if it is there.
bool take(std::string_view &text, std::string_view prefix) {
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

// As much of a malformed name as can hold no password: nothing before an "@", and nothing behind a colon but a
// scheme's. Messages get into logs.
std::string discreet(std::string_view text) {
    std::string shown;
    const size_t colon = text.find(':');
    if (colon < text.find('@') && text.substr(colon).starts_with(kSchemeEnd)) {
        shown = text.substr(0, colon + kSchemeEnd.size());
        text.remove_prefix(shown.size());
    }
    if (const size_t at = text.rfind('@'); at != std::string_view::npos) {
        shown += "...";
        text.remove_prefix(at);
    }
    const size_t end = text.find(':');
    shown += text.substr(0, end);
    return end == std::string_view::npos ? shown : shown + ":...";
}

std::nullopt_t refuse(std::string_view whole, const char *why, std::string_view part) {
    fail(OX_MOM_E_STORE, "store \"%s\": %s \"%s\"", discreet(whole).c_str(), why, discreet(part).c_str());
    return std::nullopt;
}

// Decodes what a URL writes as %xx; empty when an escape is malformed.
std::optional<std::string> unescape(std::string_view text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            plain += text[i];
            continue;
        }
        unsigned byte = 0;
        const char *from = text.data() + i + 1;
        if (i + 2 >= text.size() || std::from_chars(from, from + 2, byte, 16).ptr != from + 2) {
            return std::nullopt;
        }
        plain += static_cast<char>(byte);
        i += 2;
    }
    return plain;
}

std::optional<uint16_t> parse_port(std::string_view text) {
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port < 1 || port > 65535) {
        return std::nullopt;
    }
    return static_cast<uint16_t>(port);
}

// host, host:port, [ipv6] or [ipv6]:port; the port is needed where there is no default.
std::optional<Endpoint> parse_host(std::string_view whole, std::string_view text, uint16_t default_port) {
    std::string_view host = text;
    std::string_view rest;
    if (text.starts_with('[')) {
        const size_t close = text.find(']');
        if (close == std::string_view::npos) {
            return refuse(whole, "no closing bracket in", text);
        }
        host = text.substr(1, close - 1);
        rest = text.substr(close + 1);
    } else if (const size_t colon = text.find(':'); colon != std::string_view::npos) {
        host = text.substr(0, colon);
        rest = text.substr(colon);
    }
    if (host.empty() || host.find_first_of("/?#@ ") != std::string_view::npos) {
        return refuse(whole, "no usable host in", text);
    }
    Endpoint endpoint{.path = {}, .host = std::string(host), .port = default_port};
    if (!rest.empty() || default_port == kNoPort) {
        const auto port = take(rest, ":") ? parse_port(rest) : std::nullopt;
        if (!port) {
            return refuse(whole, "no port from 1 to 65535 in", text);
        }
        endpoint.port = *port;
    }
    return endpoint;
}

std::optional<StoreName> parse_unix(std::string_view whole, std::string_view path) {
    if (!path.starts_with('/')) {
        return refuse(whole, "not an absolute path:", path);
    }
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        return refuse(whole, "too long for a socket's path:", path);
    }
    return StoreName{.kind = StoreName::Kind::kServer,
                     .name = {},
                     .endpoints = {Endpoint{.path = std::string(path), .host = {}, .port = 0}},
                     .user = {},
                     .password = {},
                     .shown = std::string(whole)};
}

std::optional<StoreName> parse_redis(std::string_view whole, std::string_view text) {
    StoreName store{
        .kind = StoreName::Kind::kServer, .name = {}, .endpoints = {}, .user = {}, .password = {}, .shown = {}};
    if (const size_t at = text.rfind('@'); at != std::string_view::npos) {
        const std::string_view login = text.substr(0, at);
        text.remove_prefix(at + 1);
        const size_t colon = login.find(':');
        const auto user = unescape(login.substr(0, colon));
        const auto password = colon == std::string_view::npos ? std::nullopt : unescape(login.substr(colon + 1));
        if (!user || !password || password->empty()) {
            return refuse(whole, "user:password expected before", whole.substr(whole.rfind('@')));
        }
        store.user = *user;
        store.password = *password;
        store.shown.append(login.substr(0, colon)).append(colon == 0 ? "" : "@");
    }
    store.shown.insert(0, kRedis).append(text);
    const auto endpoint = parse_host(whole, text, kRedisPort);
    if (!endpoint) {
        return std::nullopt;
    }
    store.endpoints.push_back(*endpoint);
    return store;
}

std::optional<StoreName> parse_sentinel(std::string_view whole, std::string_view text) {
    const size_t slash = text.find('/');
    if (slash == std::string_view::npos || slash + 1 == text.size() ||
        text.find_first_of("/?# ", slash + 1) != std::string_view::npos) {
        return refuse(whole, "one service name expected after the sentinels in", text);
    }
    StoreName store{.kind = StoreName::Kind::kSentinel,
                    .name = std::string(text.substr(slash + 1)),
                    .endpoints = {},
                    .user = {},
                    .password = {},
                    .shown = std::string(whole)};
    std::string_view hosts = text.substr(0, slash);
    for (bool more = true; more;) {
        const size_t comma = hosts.find(',');
        more = comma != std::string_view::npos;
        const auto endpoint = parse_host(whole, hosts.substr(0, comma), kNoPort);
        if (!endpoint) {
            return std::nullopt;
        }
        store.endpoints.push_back(*endpoint);
        hosts.remove_prefix(more ? comma + 1 : hosts.size());
    }
    return store;
}

}  // namespace

std::string Endpoint::text() const {
    if (!path.empty()) {
        return path;
    }
    const bool brackets = host.find(':') != std::string::npos;
    return (brackets ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<StoreName> parse_store_name(std::string_view text) {
    std::string_view rest = text;
    if (take(rest, "mem:")) {
        return StoreName{.kind = StoreName::Kind::kMem,
                         .name = std::string(rest),
                         .endpoints = {},
                         .user = {},
                         .password = {},
                         .shown = std::string(text)};
    }
    if (take(rest, "unix://")) {
        return parse_unix(text, rest);
    }
    if (take(rest, kRedis)) {
        return parse_redis(text, rest);
    }
    if (take(rest, "sentinel://")) {
        return parse_sentinel(text, rest);
    }
    fail(OX_MOM_E_STORE, "store \"%s\": mem:, unix://, redis:// or sentinel:// expected%s", discreet(text).c_str(),
         text.starts_with('/') ? "; a socket's path follows unix://" : "");
    return std::nullopt;
}

}  // namespace mom
