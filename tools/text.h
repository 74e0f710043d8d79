// Text that came from outside, on its way to a reader.
#ifndef TREL_CAPCTL_TEXT_H
#define TREL_CAPCTL_TEXT_H

#include <string>
#include <string_view>

namespace capctl {

bool is_utf8(std::string_view bytes);

// In double quotes, on one line, with nothing in it that a terminal would obey: \n, \t, \", \\ and \xNN stand for what
// cannot be shown.
std::string quote(std::string_view bytes);

// As it is, but for what a terminal would obey; lines stay lines. For text that quotes what it repeats, or need not.
std::string printable(std::string_view text);

// Two lower-case digits a byte.
std::string hex(std::string_view bytes);

}  // namespace capctl

#endif
