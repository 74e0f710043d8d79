// The bytes of a server, as the readers' tests make and show them.
#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

#include "redis/reply.h"

namespace mom_test {

inline std::string text(std::string_view value) {
    return "$" + std::to_string(value.size()) + "\r\n" + std::string(value) + "\r\n";
}

template <class Reader>
void receive(Reader &reader, std::string_view bytes) {
    while (!bytes.empty()) {
        const std::span<char> room = reader.room();
        const size_t size = std::min(room.size(), bytes.size());
        std::copy_n(bytes.data(), size, room.data());
        reader.received(size);
        bytes.remove_prefix(size);
    }
}

inline std::string show(const mom::redis::Reply &reply) {
    std::string shown(reply.text);
    if (reply.type == mom::redis::Reply::Type::kInteger) {
        shown = ":" + std::to_string(reply.integer);
    }
    for (const mom::redis::Reply &element : reply.elements) {
        shown += "[" + show(element) + "]";
    }
    return shown;
}

}  // namespace mom_test
