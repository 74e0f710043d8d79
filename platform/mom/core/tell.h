// For whoever runs the program: what happens when nobody has called, so that nobody can be told by a code.
#pragma once

#include <string_view>

#include "ox_zlog.h"

namespace mom {

// One line of words, cut where it is longer. Control characters, which servers and names may have, are shown as "?".
class Words {
public:
    Words() = default;
    explicit Words(const char *format, ...) __attribute__((format(printf, 2, 3)));

    const char *c_str() const { return text_; }
    std::string_view view() const { return text_; }

private:
    char text_[512] = "";
};

// Of a loss and of the return kError and kNotice, of whatever else kWarning: who tells losses itself goes by that.
enum class Level : int { kNotice = OX_ZLOG_NOTICE, kWarning = OX_ZLOG_WARN, kError = OX_ZLOG_ERROR };

// Through the logging layer, as category "ox_mom", when the program has one; else on standard error, if that is open.
void tell(Level level, const Words &words, const char *function = __builtin_FUNCTION(),
          long line = __builtin_LINE()) noexcept;

}  // namespace mom
