// How far a long work has come, on standard error where that is a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace capctl {

// 1 record, 2 records.
std::string counted(uint64_t count, const std::string &what);

class Progress {
public:
    // total 0: nobody knows.
    Progress(std::string what, size_t total);
    ~Progress() { erase(); }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // From a second after the beginning on, ten times a second.
    void show(size_t done);
    // Makes room for another line.
    void erase();

private:
    std::string what_;
    size_t total_;
    bool is_terminal_;
    bool is_shown_ = false;
    std::chrono::steady_clock::time_point next_;
};

}  // namespace capctl
