#include "usage.h"

#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>

namespace crowd {
namespace {

// The name, in brackets, may contain anything.
double processor_seconds(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    std::string skipped;
    for (int i = 0; i < 11; ++i) {
        fields >> skipped;
    }
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

int64_t own_memory_kib(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    int64_t sum = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("Private_")) {
            sum += std::stoll(line.substr(line.find(':') + 1));
        }
    }
    return sum;
}

}  // namespace

double processor_seconds(const std::vector<pid_t> &processes) {
    double sum = 0;
    for (const pid_t process : processes) {
        sum += processor_seconds(process);
    }
    return sum;
}

int64_t own_memory_kib(const std::vector<pid_t> &processes) {
    int64_t sum = 0;
    for (const pid_t process : processes) {
        sum += own_memory_kib(process);
    }
    return processes.empty() ? 0 : sum / static_cast<int64_t>(processes.size());
}

}  // namespace crowd
