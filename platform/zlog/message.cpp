#include "message.h"

#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "base/utf8.h"

namespace zlog_layer {

namespace {

constexpr size_t kEscapedByte = sizeof "\\xNN" - 1;

struct Sequence {
    size_t length;
    bool shown;  // as it is
};

// A line break at the very end is the message's own: callers have the habit of writing one there.
Sequence sequence_at(std::string_view text) {
    const size_t length = base::sequence_length(text);
    if (length == 0) {
        return {1, false};
    }
    return {length, !base::is_control(text.substr(0, length)) || text == "\n"};
}

char *write_escaped(char *to, char byte) {
    constexpr char kHexDigits[] = "0123456789abcdef";
    *to++ = '\\';
    if (byte == '\n' || byte == '\t') {
        *to++ = byte == '\n' ? 'n' : 't';
        return to;
    }
    *to++ = 'x';
    *to++ = kHexDigits[static_cast<unsigned char>(byte) >> 4U];
    *to++ = kHexDigits[static_cast<unsigned char>(byte) & 0xFU];
    return to;
}

// Calls what() with each sequence of the text, from the first on.
template <class What>
void for_each_sequence(std::string_view text, What what) {
    for (Sequence sequence{}; !text.empty(); text.remove_prefix(sequence.length)) {
        sequence = sequence_at(text);
        what(text.substr(0, sequence.length), sequence.shown);
    }
}

size_t bytes_to_escape(std::string_view text) {
    size_t count = 0;
    for_each_sequence(text, [&](std::string_view bytes, bool is_shown) { count += is_shown ? 0 : bytes.size(); });
    return count;
}

void copy_escaped(std::string_view text, char *to) {
    for_each_sequence(text, [&](std::string_view bytes, bool is_shown) {
        if (is_shown) {
            to = static_cast<char *>(mempcpy(to, bytes.data(), bytes.size()));
            return;
        }
        for (const char byte : bytes) {
            to = write_escaped(to, byte);
        }
    });
    *to = '\0';
}

void mask(char *text) {
    for_each_sequence(text, [&](std::string_view bytes, bool is_shown) {
        if (!is_shown) {
            std::memset(text, '?', bytes.size());
        }
        text += bytes.size();
    });
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
