#include "text.h"

#include <cstddef>
#include <cstdint>

namespace capctl {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

unsigned byte_at(std::string_view bytes, size_t at) { return static_cast<unsigned char>(bytes[at]); }

bool is_continuation(std::string_view bytes, size_t at) {
    return at < bytes.size() && (byte_at(bytes, at) & 0xC0U) == 0x80U;
}

// The length of the well-formed sequence that starts here; 0: there is none.
size_t sequence_length(std::string_view bytes, size_t at) {
    const unsigned first = byte_at(bytes, at);
    if (first < 0x80U) {
        return 1;
    }
    const size_t length = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
    uint32_t code_point = first & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
        if (!is_continuation(bytes, at + i)) {
            return 0;
        }
        code_point = code_point << 6U | (byte_at(bytes, at + i) & 0x3FU);
    }
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
    return first >= 0xC0U && first < 0xF8U && code_point >= kLeast[length] && code_point <= 0x10FFFF && !surrogate
               ? length
               : 0;
}

void append_escaped(std::string &text, char byte) {
    switch (byte) {
        case '\n':
            text += "\\n";
            return;
        case '\t':
            text += "\\t";
            return;
        case '"':
            text += "\\\"";
            return;
        case '\\':
            text += "\\\\";
            return;
        default:
            text += "\\x" + hex({&byte, 1});
    }
}

// U+0000 to U+001F and U+007F to U+009F.
bool is_control(std::string_view sequence) {
    const unsigned first = byte_at(sequence, 0);
    return sequence.size() == 1 ? first < 0x20U || first == 0x7FU : first == 0xC2U && byte_at(sequence, 1) < 0xA0U;
}

bool is_special_in_quotes(std::string_view sequence) {
    return is_control(sequence) || sequence == "\"" || sequence == "\\";
}

bool is_special_in_lines(std::string_view sequence) { return is_control(sequence) && sequence != "\n"; }

std::string escape(std::string_view bytes, bool (*is_special)(std::string_view sequence)) {
    std::string text;
    for (size_t at = 0; at < bytes.size();) {
        const size_t well_formed = sequence_length(bytes, at);
        const std::string_view sequence = bytes.substr(at, well_formed == 0 ? 1 : well_formed);
        if (well_formed != 0 && !is_special(sequence)) {
            text += sequence;
        } else {
            for (const char byte : sequence) {
                append_escaped(text, byte);
            }
        }
        at += sequence.size();
    }
    return text;
}

}  // namespace

bool is_utf8(std::string_view bytes) {
    for (size_t at = 0; at < bytes.size();) {
        const size_t length = sequence_length(bytes, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string quote(std::string_view bytes) { return '"' + escape(bytes, is_special_in_quotes) + '"'; }

std::string printable(std::string_view text) { return escape(text, is_special_in_lines); }

std::string hex(std::string_view bytes) {
    std::string digits;
    for (size_t at = 0; at < bytes.size(); ++at) {
        digits += kHexDigits[byte_at(bytes, at) >> 4U];
        digits += kHexDigits[byte_at(bytes, at) & 0xFU];
    }
    return digits;
}

}  // namespace capctl
