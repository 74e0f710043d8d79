// Text that came from outside, on its way to a reader.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace command_line {

// In double quotes, on one line, with nothing in it that a terminal would obey: \n, \t, \", \\ and \xNN stand for what
// cannot be shown.
std::string quote(std::string_view bytes);

// As it is, but for what a terminal would obey; lines stay lines. For text that quotes what it repeats, or need not.
std::string printable(std::string_view text);

// Likewise, and on one line.
std::string on_one_line(std::string_view text);

// As long as it is, and on one line: control characters are '?'.
std::string masked(std::string_view text);

// A word of an operator's, fit to be shown to them: in double quotes, masked, cut where it is long.
std::string shown(std::string_view word);

// How many columns of a terminal a text takes: two for each wide character, none for one that is put upon the one
// before.
size_t columns_of(std::string_view text);

// Rows as lines. A column is as wide as its widest cell, and what is to stand between two columns begins the second.
using Row = std::vector<std::string>;
std::string table(const std::vector<Row> &rows);

// Two lower-case digits a byte.
std::string hex(std::string_view bytes);

}  // namespace command_line
