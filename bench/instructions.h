// Counting instructions, by callgrind: ./dev bench runs the benchmarks under it a second time.
#pragma once

#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>

#include <valgrind/callgrind.h>

namespace bench {

// Where callgrind leaves its counts, when that is to be done: their common path, to which it appends their number.
inline const char *counts_path() { return std::getenv("TREL_CAP_BENCH_COUNTS"); }

inline bool counts_instructions() { return counts_path() != nullptr; }

// Of this process, the kernel's left out. 0 when callgrind has left no count.
inline double instructions_of(const std::function<void()> &work) {
    static int dumps = 0;
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
    work();
    CALLGRIND_DUMP_STATS;
    CALLGRIND_STOP_INSTRUMENTATION;
    std::ifstream counts(counts_path() + ("." + std::to_string(++dumps)));
    for (std::string line; std::getline(counts, line);) {
        if (line.starts_with("totals: ")) {
            return std::stod(line.substr(line.find(' ')));
        }
    }
    return 0;
}

}  // namespace bench
