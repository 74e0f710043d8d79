#include "escaping.h"

#include <cstdio>

namespace console {

namespace {

constexpr unsigned char kDelete = 0x7f;
constexpr unsigned char kFollowing = 0x80;  // bytes of a character after its first are these
constexpr unsigned char kFollowingEnd = 0xc0;
constexpr unsigned char kControls = 0xc2;  // begins U+0080 to U+00bf, of which the first half are controls
constexpr unsigned char kNoControls = 0xa0;

unsigned following_after(unsigned char first) {
    return first < kControls ? 0 : first < 0xe0 ? 1 : first < 0xf0 ? 2 : first < 0xf5 ? 3 : 0;
}

}  // namespace

bool Escaping::is_text(unsigned char byte) {
    if (byte >= kFollowing && byte < kFollowingEnd) {
        const bool expected = following_ > 0 && byte >= smallest_;
        following_ = expected ? following_ - 1 : 0;
        smallest_ = kFollowing;
        return expected;
    }
    following_ = following_after(byte);
    smallest_ = byte == kControls ? kNoControls : kFollowing;
    return byte < kFollowing ? byte == '\n' || byte == '\t' || (byte >= ' ' && byte != kDelete) : following_ > 0;
}

std::string Escaping::apply(std::string_view bytes) {
    std::string text;
    for (const char letter : bytes) {
        const auto byte = static_cast<unsigned char>(letter);
        if (is_text(byte)) {
            text += letter;
        } else {
            char shown[5];
            snprintf(shown, sizeof shown, "\\x%02x", byte);
            text += shown;
        }
    }
    return text;
}

}  // namespace console
