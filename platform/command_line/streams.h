// The standard streams, written without a buffer: what was said first is out before the next is done.
#pragma once

#include <string_view>

namespace command_line {

// Throws a Failure when the bytes do not get where they should.
void write_output(std::string_view bytes);

// Throws a Failure, too: some file systems tell at the end only.
void close_output();

// As much as can be written.
void write_error(std::string_view bytes);

}  // namespace command_line
