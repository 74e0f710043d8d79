// Standard error, while a test looks at it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace mom_test {

// What is printed on standard error as long as it lives.
class StandardError {
public:
    StandardError() { testing::internal::CaptureStderr(); }
    ~StandardError() { text(); }
    StandardError(const StandardError &) = delete;
    StandardError &operator=(const StandardError &) = delete;

    const std::string &text() {
        if (!taken_) {
            text_ = testing::internal::GetCapturedStderr();
            taken_ = true;
        }
        return text_;
    }
    auto lines() { return std::count(text().begin(), text().end(), '\n'); }

private:
    std::string text_;
    bool taken_ = false;
};

// As long as it lives the process has no standard error: its number is free for another descriptor.
class NoStandardError {
public:
    NoStandardError() : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) { close(STDERR_FILENO); }
    ~NoStandardError() {
        dup2(kept_, STDERR_FILENO);
        close(kept_);
    }
    NoStandardError(const NoStandardError &) = delete;
    NoStandardError &operator=(const NoStandardError &) = delete;

private:
    int kept_;
};

}  // namespace mom_test
