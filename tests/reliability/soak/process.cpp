#include "process.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace soak {
namespace {

// Of the lines that begin so, the numbers, together.
int64_t sum_of(const std::string &file, const std::string &beginning) {
    std::ifstream lines(file);
    int64_t sum = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(beginning)) {
            sum += std::stoll(line.substr(line.find(':') + 1));
        }
    }
    return sum;
}

int64_t ticks_of(const std::string &file) {
    std::ifstream stat(file);
    std::string line;
    std::getline(stat, line);
    std::istringstream fields(line.substr(line.rfind(')') + 2));  // behind the name, which may have blanks
    constexpr int kBefore = 11;
    std::string skipped;
    for (int i = 0; i < kBefore; ++i) {
        fields >> skipped;
    }
    int64_t user = 0;
    int64_t system = 0;
    fields >> user >> system;
    return user + system;
}

}  // namespace

Usage usage_of(pid_t process) {
    const std::string place = "/proc/" + std::to_string(process) + "/";
    return {.own_kib = sum_of(place + "smaps_rollup", "Private_"),
            .descriptors = std::distance(std::filesystem::directory_iterator(place + "fd"), {}),
            .wakeups = sum_of(place + "status", "voluntary_ctxt_switches"),
            .ticks = ticks_of(place + "stat")};
}

}  // namespace soak
