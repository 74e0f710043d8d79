// Verdicts in the forms that test harnesses read.
#pragma once

#include <string>
#include <vector>

#include "trial/verdict.h"

namespace trial {

// TAP version 13: a header, then each verdict when it is there.
std::string tap_header(size_t count);
std::string tap_line(const Verdict &verdict, size_t number);

// JUnit's XML, which is told at the end.
std::string junit(const std::vector<Verdict> &verdicts);

}  // namespace trial
