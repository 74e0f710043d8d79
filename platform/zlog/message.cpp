#include "message.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace zlog_layer {

namespace {

constexpr size_t kEscapedByte = sizeof "\\xNN" - 1;

unsigned byte_at(const char *at) { return static_cast<unsigned char>(*at); }

bool is_continuation(const char *at) { return (byte_at(at) & 0xC0U) == 0x80U; }

// The length of the well-formed UTF-8 sequence that starts here; 0: there is none. The text's terminator ends one.
size_t sequence_length(const char *at) {
    const unsigned first = byte_at(at);
    if (first < 0x80U) {
        return 1;
    }
    const size_t length = first >= 0xF0U ? 4 : first >= 0xE0U ? 3 : 2;
    uint32_t code_point = first & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
        if (!is_continuation(at + i)) {
            return 0;
        }
        code_point = code_point << 6U | (byte_at(at + i) & 0x3FU);
    }
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
    return first >= 0xC0U && first < 0xF8U && code_point >= kLeast[length] && code_point <= 0x10FFFF && !surrogate
               ? length
               : 0;
}

// U+0000 to U+001F and U+007F to U+009F.
bool is_control(const char *at, size_t length) {
    const unsigned first = byte_at(at);
    return length == 1 ? first < 0x20U || first == 0x7FU : first == 0xC2U && byte_at(at + 1) < 0xA0U;
}

struct Sequence {
    size_t length;
    bool shown;  // as it is
};

// A line break at the very end is the message's own: callers have the habit of writing one there.
Sequence sequence_at(const char *at) {
    const size_t length = sequence_length(at);
    if (length == 0) {
        return {1, false};
    }
    return {length, !is_control(at, length) || std::strcmp(at, "\n") == 0};
}

char *write_escaped(char *to, char byte) {
    constexpr char kHexDigits[] = "0123456789abcdef";
    *to++ = '\\';
    if (byte == '\n' || byte == '\t') {
        *to++ = byte == '\n' ? 'n' : 't';
        return to;
    }
    *to++ = 'x';
    *to++ = kHexDigits[byte_at(&byte) >> 4U];
    *to++ = kHexDigits[byte_at(&byte) & 0xFU];
    return to;
}

size_t bytes_to_escape(const char *text) {
    size_t count = 0;
    for (Sequence sequence{}; *text != '\0'; text += sequence.length) {
        sequence = sequence_at(text);
        count += sequence.shown ? 0 : sequence.length;
    }
    return count;
}

void copy_escaped(const char *text, char *to) {
    for (Sequence sequence{}; *text != '\0'; text += sequence.length) {
        sequence = sequence_at(text);
        if (sequence.shown) {
            to = static_cast<char *>(mempcpy(to, text, sequence.length));
            continue;
        }
        for (size_t i = 0; i < sequence.length; ++i) {
            to = write_escaped(to, text[i]);
        }
    }
    *to = '\0';
}

void mask(char *text) {
    for (Sequence sequence{}; *text != '\0'; text += sequence.length) {
        sequence = sequence_at(text);
        if (!sequence.shown) {
            std::memset(text, '?', sequence.length);
        }
    }
}

}  // namespace

Message::Message(const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(usual_, sizeof usual_, format, arguments);
    if (length < 0) {
        // Nothing can be made of the arguments; the format says at least which message it was.
        snprintf(usual_, sizeof usual_, "%s", format);
    } else if (const size_t size = static_cast<size_t>(length) + 1; size > sizeof usual_) {
        if (auto whole = allocate(size); whole) {
            vsnprintf(whole.get(), size, format, again);
            take(std::move(whole));
        }
    }
    va_end(again);
    escape();
}

void Message::escape() {
    const size_t count = bytes_to_escape(text_);
    if (count == 0) {
        return;
    }
    if (auto escaped = allocate(std::strlen(text_) + count * (kEscapedByte - 1) + 1); escaped) {
        copy_escaped(text_, escaped.get());
        take(std::move(escaped));
    } else {
        mask(text_);
    }
}

std::unique_ptr<char[]> Message::allocate(size_t size) {
    return std::unique_ptr<char[]>(new (std::nothrow) char[size]);
}

void Message::take(std::unique_ptr<char[]> text) {
    large_ = std::move(text);
    text_ = large_.get();
}

}  // namespace zlog_layer
