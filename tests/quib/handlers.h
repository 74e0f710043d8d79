// Commands that write down how they were called.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quib_test {

// The calls made on this thread since they were taken last: "number 3", "text /a" and the like.
std::vector<std::string> take_calls();

// What the next ones return.
extern thread_local int32_t status_to_return;
// Run by call_hook().
extern thread_local std::function<void()> hook;

int32_t nothing();
int32_t number(int32_t value);
int32_t text(const char *value);
int32_t number_text(int32_t first, const char *second);
int32_t text_number(const char *first, int32_t second);
int32_t many(int32_t a, const char *b, int32_t c, const char *d, int32_t e, const char *f, int32_t g, const char *h,
             int32_t i, const char *j, int32_t k, const char *l);
inline constexpr const char *kManyFormat = "a=%d b=%s c=%d d=%s e=%d f=%s g=%d h=%s i=%d j=%s k=%d l=%s";
int32_t call_hook();

inline constexpr size_t kMegabyte = size_t{1} << 20U;

// Prints it.
int32_t say(const char *what);
// Prints that many megabytes, and writes down a call of nothing().
int32_t say_much(int32_t megabytes);

}  // namespace quib_test
