// The fields of a message in memory.
#pragma once

#include <cstddef>

#include <protobuf-c/protobuf-c.h>

namespace mom {

template <class T>
const T &member(const ProtobufCMessage &message, size_t offset) {
    return *reinterpret_cast<const T *>(reinterpret_cast<const std::byte *>(&message) + offset);
}

}  // namespace mom
