// Standard output.
#pragma once

#include <cstdarg>
#include <string>

namespace demo {

// Before any other descriptor is opened: one that the caller has closed must not become the number of a connection, to
// which the story would then be told. What stands in for standard output refuses to be written.
void occupy_standard_streams();

// Callbacks print too, and nothing may be thrown through the library: a failure is kept for throw_if_unheard().
void print(const std::string &text);
[[gnu::format(printf, 1, 0)]] void print(const char *format, va_list arguments);

// Throws when something printed has not got where it should: Interrupted, if the reader went away.
void throw_if_unheard();

}  // namespace demo
