// Text as UTF-8 has it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace base {

// The number that a sequence of so many bytes encodes.
inline uint32_t code_point_of(std::string_view sequence) {
    uint32_t code_point = static_cast<unsigned char>(sequence[0]);
    code_point &= sequence.size() == 1 ? 0x7FU : 0xFFU >> (sequence.size() + 1);
    for (const char byte : sequence.substr(1)) {
        code_point = code_point << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    return code_point;
}

// The length of the well-formed sequence at the beginning of the bytes, of which there is one at least; 0: there is
// none.
inline size_t sequence_length(std::string_view bytes) {
    const auto at = [bytes](size_t i) { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U; };
    const unsigned first = at(0);
    if (first < 0x80U) {
        return 1;
    }
    const size_t length = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
    for (size_t i = 1; i < length; ++i) {
        if ((at(i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    const uint32_t code_point = code_point_of(bytes.substr(0, length));
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
    return first >= 0xC0U && first < 0xF8U && code_point >= kLeast[length] && code_point <= 0x10FFFF && !surrogate
               ? length
               : 0;
}

// Whether a sequence is one of U+0000 to U+001F and U+007F to U+009F, which terminals obey.
inline bool is_control(std::string_view sequence) {
    const auto first = static_cast<unsigned char>(sequence[0]);
    return sequence.size() == 1 ? first < 0x20U || first == 0x7FU
                                : first == 0xC2U && static_cast<unsigned char>(sequence[1]) < 0xA0U;
}

}  // namespace base
