// Which histories are played: $TREL_CAP_SEED names the first seed, $TREL_CAP_SEEDS how many; a seed alone is one.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>

namespace property {

struct Seeds {
    uint64_t first;
    uint64_t count;
    bool named;
};

inline uint64_t number_in(const char *variable, uint64_t otherwise) {
    const char *text = std::getenv(variable);
    return text == nullptr || *text == '\0' ? otherwise : std::strtoull(text, nullptr, 10);
}

// Told on standard output, in the form in which they are named.
inline Seeds seeds(uint64_t usual_count) {
    const bool named = std::getenv("TREL_CAP_SEED") != nullptr;
    const Seeds chosen{number_in("TREL_CAP_SEED", 1), number_in("TREL_CAP_SEEDS", named ? 1 : usual_count), named};
    std::cout << "TREL_CAP_SEED=" << chosen.first << " TREL_CAP_SEEDS=" << chosen.count << std::endl;
    return chosen;
}

}  // namespace property
