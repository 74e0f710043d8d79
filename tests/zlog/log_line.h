// What the tests say, and how.
#pragma once

#include <ox_zlog.h>

#include <cstring>
#include <string>

namespace zlog_test {

constexpr int kInfo = 40;
constexpr int kError = 100;

constexpr char kPath[] = "app/trel_cap/src/trel_cap";

inline void say(void *category, const std::string &message, int level = kError, long line = 7) {
    oxdf_zlog(category, kPath, strlen(kPath), "speak", strlen("speak"), line, level, "%s", message.c_str());
}

}  // namespace zlog_test
