// Strings of RESP, the protocol of the servers, recognised where they were received.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace mom::redis::resp {

inline constexpr std::string_view kLineEnd = "\r\n";
inline constexpr std::ptrdiff_t kLineEndSize = 2;
inline constexpr std::ptrdiff_t kMostDigits = 9;  // of a length: more than a server ever sends

enum class Found : uint8_t {
    kWhole,
    kPart,  // as far as it has come
    kOther  // something else
};

// Both are inlined: a record's reading is this, for each of its fields. They go by two pointers, which stay in
// registers.

// Takes a line off the front that is a kind and a number: of what follows, and how much, or the number itself.
[[gnu::always_inline]] inline Found take_count(std::string_view &bytes, char kind, size_t &count) {
    const char *at = bytes.data();
    const char *const end = at + bytes.size();
    if (at == end) {
        return Found::kPart;
    }
    if (*at++ != kind) {
        return Found::kOther;
    }
    const char *const digits = at;
    const char *const digits_end = end - at > kMostDigits ? at + kMostDigits : end;
    count = 0;
    for (; at != digits_end; ++at) {
        const unsigned digit = static_cast<uint8_t>(*at) - unsigned{'0'};
        if (digit > 9) {
            break;
        }
        count = count * 10 + digit;
    }
    if (end - at < kLineEndSize) {
        return Found::kPart;
    }
    if (at == digits || std::memcmp(at, kLineEnd.data(), kLineEndSize) != 0) {
        return Found::kOther;
    }
    at += kLineEndSize;
    bytes = {at, static_cast<size_t>(end - at)};
    return Found::kWhole;
}

// Takes the head of a string off whose length has one digit, as that of most has. False: it is anything else.
[[gnu::always_inline]] inline bool take_short_head(std::string_view &bytes, size_t &length) {
    constexpr size_t kHead = 4;
    const char *at = bytes.data();
    if (bytes.size() < kHead || at[0] != '$' || at[2] != '\r' || at[3] != '\n') {
        return false;
    }
    length = static_cast<uint8_t>(at[1]) - size_t{'0'};
    if (length > 9) {
        return false;
    }
    bytes = {at + kHead, bytes.size() - kHead};
    return true;
}

// Takes a string off the front: its length, and so many bytes.
[[gnu::always_inline]] inline Found take_string(std::string_view &bytes, std::string_view &text) {
    size_t length = 0;
    if (!take_short_head(bytes, length)) {
        if (const Found found = take_count(bytes, '$', length); found != Found::kWhole) {
            return found;
        }
    }
    if (bytes.size() < length + kLineEndSize) {
        return Found::kPart;
    }
    const char *const text_end = bytes.data() + length;
    if (std::memcmp(text_end, kLineEnd.data(), kLineEndSize) != 0) {
        return Found::kOther;
    }
    text = {bytes.data(), length};
    bytes = {text_end + kLineEndSize, bytes.size() - length - kLineEndSize};
    return Found::kWhole;
}

}  // namespace mom::redis::resp
