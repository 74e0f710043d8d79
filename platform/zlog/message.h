// A message on its way into a log.
#pragma once

#include <cstdarg>
#include <memory>

namespace zlog_layer {

// Formatted, and harmless: nothing in it ends the line before its time or is obeyed by a terminal. Where memory is
// exhausted it is cut short, or has '?' in place of what would be escaped.
class Message {
public:
    [[gnu::format(printf, 2, 0)]] Message(const char *format, va_list arguments);
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;

    const char *text() const { return text_; }

private:
    void escape();
    // Room for what does not fit; nullptr when memory is exhausted.
    static std::unique_ptr<char[]> allocate(size_t size);
    void take(std::unique_ptr<char[]> text);

    char usual_[1024];
    std::unique_ptr<char[]> large_;
    char *text_ = usual_;
};

}  // namespace zlog_layer
