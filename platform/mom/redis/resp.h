// Strings of RESP, the protocol of the servers, recognised where they were received.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace mom::redis::resp {

inline constexpr std::string_view kLineEnd = "\r\n";
inline constexpr size_t kMostDigits = 9;  // of a length: more than a server ever sends

enum class Found : uint8_t {
    kWhole,
    kPart,  // as far as it has come
    kOther  // something else
};

inline bool starts(std::string_view bytes, std::string_view with) {
    return std::memcmp(bytes.data(), with.data(), with.size()) == 0;
}

// Both are inlined: a record's reading is this, for each of its fields.

// Takes a header line off the front: the kind of what follows, and how much of it.
[[gnu::always_inline]] inline Found take_count(std::string_view &bytes, char kind, size_t &count) {
    size_t at = 1;
    count = 0;
    for (; at < bytes.size() && bytes[at] >= '0' && bytes[at] <= '9'; ++at) {
        count = count * 10 + static_cast<size_t>(bytes[at] - '0');
        if (at > kMostDigits) {
            return Found::kOther;
        }
    }
    if (bytes.size() < at + kLineEnd.size()) {
        return Found::kPart;
    }
    if (bytes[0] != kind || at == 1 || !starts(bytes.substr(at), kLineEnd)) {
        return Found::kOther;
    }
    bytes.remove_prefix(at + kLineEnd.size());
    return Found::kWhole;
}

// Takes a string off the front: its length, and so many bytes.
[[gnu::always_inline]] inline Found take_string(std::string_view &bytes, std::string_view &text) {
    size_t length = 0;
    if (const Found found = take_count(bytes, '$', length); found != Found::kWhole) {
        return found;
    }
    if (bytes.size() < length + kLineEnd.size()) {
        return Found::kPart;
    }
    text = bytes.substr(0, length);
    const bool ended = starts(bytes.substr(length), kLineEnd);
    bytes.remove_prefix(length + kLineEnd.size());
    return ended ? Found::kWhole : Found::kOther;
}

}  // namespace mom::redis::resp
