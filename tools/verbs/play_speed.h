// How fast a scenario is played, as it is written on a command line.
#pragma once

#include <string>

namespace capctl {

// A factor; 0 for "max". Throws a usage failure.
double parse_speed(const std::string &text);

}  // namespace capctl
