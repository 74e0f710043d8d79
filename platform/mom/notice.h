// The form of a notification: numbers of 32 bits, little-endian, and the record's bytes. The numbers are the command,
// how many fields were written, how many are present; each field written; of each field present its number and length.
// The server's scripts make the same.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store.h"

namespace mom {

struct Notice {
    int32_t cmd = 0;
    std::vector<int32_t> written = {};
    StoredFields fields = {};     // a hash's
    std::string_view bytes = {};  // of the whole record
};

std::string write_notice(int32_t cmd, std::span<const int32_t> written, const StoredFields &fields);
std::string write_object_notice(int32_t cmd, std::string_view bytes);

// False when the bytes are none.
bool read_notice(std::string_view text, Notice &notice);

}  // namespace mom
