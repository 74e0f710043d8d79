#include "store.h"

#include <charconv>

namespace mom {

std::string channel_of(int32_t db, std::string_view type_or_key) {
    return std::string("mom:").append(std::to_string(db)).append(":").append(type_or_key);
}

uint32_t field_number(std::string_view name) {
    constexpr uint32_t kHighest = (1U << 29) - 1;
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool valid = error == std::errc() && end == name.data() + name.size() && number <= kHighest;
    return valid ? number : 0;
}

}  // namespace mom
