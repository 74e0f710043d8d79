// The logging macros. Every message of the library goes through one of them.
#pragma once

#include <atomic>
#include <cstdint>

#include "trel_cap/logging.h"

namespace trel_cap {

// A message is formed when the log level reaches its gate, and passed on with its zlog level.
struct Severity {
    uint32_t gate;
    int zlog_level;
};

inline constexpr Severity kError{1, 100};
inline constexpr Severity kProgress{2, 80};
inline constexpr Severity kNotice{3, 60};
inline constexpr Severity kDetail{4, 40};

// Who speaks, as a log line names it: a source folder and an exported function. The line is that of its own call.
struct Caller {
    const char *path;
    const char *function;
    long line;
};

// To C programs the level and the category are plain variables, which any thread may change at any time; relaxed
// atomic accesses keep that from being a data race and cost nothing.
inline int32_t log_level() { return std::atomic_ref(g_trel_cap_zlog_level).load(std::memory_order_relaxed); }

inline void set_log_level(int32_t level) {
    std::atomic_ref(g_trel_cap_zlog_level).store(level, std::memory_order_relaxed);
}

inline void *log_category() { return std::atomic_ref(g_trel_cap_zlog_category).load(std::memory_order_relaxed); }

inline void set_log_category(void *category) {
    std::atomic_ref(g_trel_cap_zlog_category).store(category, std::memory_order_relaxed);
}

// The comparison is unsigned, so that a negative level opens every gate.
inline bool gate_is_open(Severity severity) { return static_cast<uint32_t>(log_level()) >= severity.gate; }

// Forms one message and passes it on. Out of line and cold, so that what logs keeps no buffer and stays small.
[[gnu::cold, gnu::noinline, gnu::format(printf, 4, 5)]] void write_message(const Caller &caller, int zlog_level,
                                                                           long line, const char *format, ...);

}  // namespace trel_cap

// This line, under the name of an exported function. It is data, so that to pass it on costs one pointer.
#define TREL_CAP_CALLER_AS(function)                                                                                   \
    (*__extension__({                                                                                                  \
        static constexpr ::trel_cap::Caller kCaller{TREL_CAP_SOURCE_PATH, function, __LINE__};                         \
        &kCaller;                                                                                                      \
    }))

// The exported function that this stands in. Inside a lambda __func__ is another name: take the caller outside.
#define TREL_CAP_CALLER TREL_CAP_CALLER_AS(__func__)

// Logs on behalf of an exported function: (caller, severity, format, arguments...). A closed gate costs a load and a
// branch; the arguments are evaluated behind an open one only.
#define TREL_CAP_LOG_AS(caller, severity, ...) TREL_CAP_LOG_AT((caller), __LINE__, severity, __VA_ARGS__)

// The same for a message that all share, such as that of a NULL argument: its place is the line of the caller.
#define TREL_CAP_LOG_AT_CALLER(caller, severity, ...) TREL_CAP_LOG_AT((caller), (caller).line, severity, __VA_ARGS__)

#define TREL_CAP_LOG_AT(caller, source_line, severity, ...)                                                            \
    do {                                                                                                               \
        if (::trel_cap::gate_is_open(severity)) [[unlikely]] {                                                         \
            ::trel_cap::write_message(caller, (severity).zlog_level, source_line, __VA_ARGS__);                        \
        }                                                                                                              \
    } while (false)

// Logs in an exported function's own body: (severity, format, arguments...).
#define TREL_CAP_LOG(severity, ...) TREL_CAP_LOG_AS(TREL_CAP_CALLER, severity, __VA_ARGS__)
