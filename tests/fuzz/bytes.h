// The bytes of a run as the choices that a target makes of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace fuzz {

inline constexpr int kSkipped = 77;  // the exit status of a target that cannot run here

class Bytes {
public:
    Bytes(const uint8_t *data, size_t size) : left_(reinterpret_cast<const char *>(data), size) {}

    bool empty() const { return left_.empty(); }
    // 0 when there is none.
    uint8_t byte() { return empty() ? 0 : static_cast<uint8_t>(text(1).front()); }
    bool coin() { return byte() % 2 != 0; }
    // Below the limit, which is 256 at most.
    size_t below(size_t limit) { return byte() % limit; }
    int32_t number() {
        uint32_t number = 0;
        for (const char each : text(sizeof number)) {
            number = number << 8U | static_cast<uint8_t>(each);
        }
        return static_cast<int32_t>(number);
    }
    std::string_view text(size_t size) {
        const std::string_view taken = left_.substr(0, size);
        left_.remove_prefix(taken.size());
        return taken;
    }
    // As long as the byte before it says.
    std::string_view text() { return text(byte()); }
    std::string_view rest() { return text(left_.size()); }

private:
    std::string_view left_;
};

// A property that does not hold ends the run as a crash does.
inline void expect(bool holds, const char *property) {
    if (!holds) {
        std::cerr << "does not hold: " << property << std::endl;
        std::abort();
    }
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
