#include "board/address.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <netinet/in.h>
#include <unistd.h>

#include "command_line/exit_status.h"
#include "command_line/text.h"

namespace board {

using namespace command_line;

namespace {

constexpr char kLocalhost[] = "localhost";
constexpr char kLoopback[] = "127.0.0.1";

bool is_ipv4(const std::string &host) {
    in_addr address{};
    return inet_pton(AF_INET, host.c_str(), &address) == 1;
}

bool is_ipv6(const std::string &host) {
    in6_addr address{};
    return inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

struct HostAndPort {
    std::string host;  // without brackets
    std::string_view port;
};

// "" and all of it when there is no host.
HostAndPort split(std::string_view text) {
    if (const size_t bracket = text.find("]:"); text.starts_with('[') && bracket != std::string_view::npos) {
        return {std::string(text.substr(1, bracket - 1)), text.substr(bracket + 2)};
    }
    const size_t colon = text.rfind(':');
    return colon == std::string_view::npos ? HostAndPort{"", text}
                                           : HostAndPort{std::string(text.substr(0, colon)), text.substr(colon + 1)};
}

// Of a Host header, whose port may be missing; in small letters.
std::string host_of(std::string_view header) {
    std::string host(header);
    if (const size_t bracket = header.find(']'); header.starts_with('[')) {
        host = bracket == std::string_view::npos ? "" : header.substr(1, bracket - 1);
    } else if (const size_t colon = header.find(':'); colon != std::string_view::npos) {
        host.resize(colon);
    }
    std::transform(host.begin(), host.end(), host.begin(), [](unsigned char letter) {
        return static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter + ('a' - 'A') : letter);
    });
    return host;
}

std::string name_of_machine() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? host_of(name.data()) : "";
}

}  // namespace

Address parse_address(const std::string &text) {
    const auto [host, port] = split(text);
    Address address{.host = host.empty() || host == kLocalhost ? kLoopback : host};
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
    if (error != std::errc() || end != port.data() + port.size()) {
        throw Failure(kUsage, "--listen " + quote(text) + ": HOST:PORT is expected, with a port of 0 to 65535");
    }
    if (!is_ipv4(address.host) && !(is_ipv6(address.host) && text.starts_with('['))) {
        throw Failure(kUsage, "--listen " + quote(text) +
                                  ": the host is an address in numbers, such as 127.0.0.1 or [::1], or localhost");
    }
    return address;
}

bool is_loopback(const Address &address) { return address.host.starts_with("127.") || address.host == "::1"; }

std::string url_of(const Address &address) {
    const std::string host = is_ipv6(address.host) ? "[" + address.host + "]" : address.host;
    return "http://" + host + ":" + std::to_string(address.port) + "/";
}

bool names_this_machine(std::string_view host, const Address &listening) {
    const std::string name = host_of(host);
    if (name == kLocalhost || is_loopback({.host = name})) {
        return name == kLocalhost || is_ipv4(name) || is_ipv6(name);
    }
    if (is_loopback(listening)) {
        return false;
    }
    return is_ipv4(name) || is_ipv6(name) || (!name.empty() && name == name_of_machine());
}

bool is_own_origin(std::string_view origin, std::string_view host) {
    constexpr std::string_view kScheme = "http://";
    return origin.starts_with(kScheme) && origin.substr(kScheme.size()) == host;
}

}  // namespace board
