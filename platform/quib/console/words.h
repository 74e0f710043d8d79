// What the operator's side itself knows of a line.
#ifndef QUIB_CONSOLE_WORDS_H
#define QUIB_CONSOLE_WORDS_H

#include <string>
#include <string_view>
#include <vector>

namespace console {

// Without the blanks around it.
std::string_view trimmed(std::string_view line);

// Whether the operator wants to leave; modules do not know these words.
bool ends_session(std::string_view line);

// A line of which the module makes these words again.
std::string line_of(const std::vector<std::string> &words);

}  // namespace console

#endif
