// What a command prints, and the status that it returns to the console.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace trel_cap_tests {

struct Printed {
    int32_t status;
    std::string output;

    bool operator==(const Printed &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const Printed &printed) {
        return out << printed.status << " \"" << printed.output << '"';
    }
};

template <class Command>
Printed print(Command command) {
    ::testing::internal::CaptureStdout();
    const int32_t status = command();
    return {status, ::testing::internal::GetCapturedStdout()};
}

}  // namespace trel_cap_tests
