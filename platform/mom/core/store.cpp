#include "core/store.h"

#include <charconv>

namespace mom {

void append_channel(std::string &text, int32_t db, std::string_view type_or_key) {
    constexpr std::string_view kOurs = "mom:";
    char digits[16];
    const char *end = std::to_chars(digits, digits + sizeof digits, db).ptr;
    text.reserve(text.size() + kOurs.size() + sizeof digits + type_or_key.size());
    text.append(kOurs).append(digits, static_cast<size_t>(end - digits)).append(1, ':').append(type_or_key);
}

std::string channel_of(int32_t db, std::string_view type_or_key) {
    std::string text;
    append_channel(text, db, type_or_key);
    return text;
}

}  // namespace mom
