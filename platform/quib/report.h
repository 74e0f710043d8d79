// Words on standard error, for the one who starts the program.
#pragma once

namespace quib {

void report(const char *format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace quib
