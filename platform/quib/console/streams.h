// The standard streams, written without a buffer: what the module said is out before the next of it is read.
#ifndef QUIB_CONSOLE_STREAMS_H
#define QUIB_CONSOLE_STREAMS_H

#include <string>
#include <string_view>

namespace console {

// Throws a Failure when the bytes do not get where they should.
void write_output(std::string_view bytes);

// As much as can be written.
void write_error(std::string_view bytes);

// A message of the program's own, on a line of standard error.
void complain(std::string_view message);

// What a terminal would obey is shown as '?'.
std::string printable(std::string_view text);

}  // namespace console

#endif
