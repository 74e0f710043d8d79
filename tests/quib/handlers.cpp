#include "handlers.h"

#include <cstdio>
#include <utility>

namespace quib_test {

thread_local int32_t status_to_return = 0;
thread_local std::function<void()> hook;

namespace {

thread_local std::vector<std::string> calls;

template <typename... Parts>
int32_t note(const Parts &...parts) {
    std::string call;
    ((call += (call.empty() ? "" : " ") + std::string(parts)), ...);
    calls.push_back(call);
    return status_to_return;
}

}  // namespace

std::vector<std::string> take_calls() { return std::exchange(calls, {}); }

int32_t nothing() { return note("nothing"); }

int32_t number(int32_t value) { return note("number", std::to_string(value)); }

int32_t text(const char *value) { return note("text", value); }

int32_t number_text(int32_t first, const char *second) { return note("number_text", std::to_string(first), second); }

int32_t text_number(const char *first, int32_t second) { return note("text_number", first, std::to_string(second)); }

int32_t many(int32_t a, const char *b, int32_t c, const char *d, int32_t e, const char *f, int32_t g, const char *h,
             int32_t i, const char *j, int32_t k, const char *l) {
    const auto in_words = [](int32_t value) { return std::to_string(value); };
    return note("many", in_words(a), b, in_words(c), d, in_words(e), f, in_words(g), h, in_words(i), j, in_words(k), l);
}

int32_t call_hook() {
    const std::function<void()> now = hook;
    now();
    return status_to_return;
}

int32_t say(const char *what) {
    puts(what);
    return 0;
}

int32_t say_much(int32_t megabytes) {
    const std::string block(kMegabyte, 'x');
    for (; megabytes > 0; --megabytes) {
        fwrite(block.data(), 1, block.size(), stdout);
    }
    return nothing();
}

}  // namespace quib_test
