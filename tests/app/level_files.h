// The files that set the log level, in a /data of the process's own.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "private_root.h"

namespace trel_cap_tests {

inline const std::string kLevelDirectory = "/data/.oxos/vsd/0/sw-frame/cap/trel_cap/";
inline const std::string kCommonLevelFile = "trel_cap_dbg.txt";

// An empty file is what is left of a file that could not be written: the tests of empty files would pass on it.
inline void write_level_file(const std::string &name, const std::string &content) {
    std::filesystem::create_directories(kLevelDirectory);
    std::ofstream file(kLevelDirectory + name, std::ios::binary);
    file << content << std::flush;
    ASSERT_TRUE(file.good()) << name;
}

inline size_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

// The name by which the library knows this program.
inline std::string program_name() { return std::filesystem::read_symlink("/proc/self/exe").filename(); }

}  // namespace trel_cap_tests

#define TREL_CAP_NEEDS_PRIVATE_ROOT()                                                                                  \
    if (const std::string why = test_support::enter_private_root(); !why.empty()) {                                    \
        GTEST_SKIP() << "level files need a /data of their own, which is not to be had: " << why;                      \
    }
