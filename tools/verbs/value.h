// Values as they are written on the command line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace capctl {

// Each reads the whole text or throws a usage failure that names the argument and what it was given.
bool parse_bool(const std::string &argument, const std::string &text);  // 0 or 1
int32_t parse_int32(const std::string &argument, const std::string &text);
// One of the choices, or a usage failure that suggests what may have been meant.
void check_choice(const std::string &word, const std::vector<std::string> &choices);
bool parse_ready(const std::string &text);                                // ready or unready
bool parse_switch(const std::string &argument, const std::string &text);  // on or off

// Refuses the address of nothing, more often a variable that was not set. It can be read: others may have written it.
void check_not_empty(const std::string &url);

}  // namespace capctl
