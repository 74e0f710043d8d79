// The form of a notification: a head, and the record. The head is numbers of 32 bits, little-endian: the command,
// whether the record is fields (a hash) or bytes (a single object), how many fields were written, and the number of
// each. Fields are a MessagePack array of strings, the number in decimal and the value of each field in turn: what the
// server's packing function makes of the answer to HGETALL.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/store.h"

namespace mom {

struct Notification {
    int32_t cmd = 0;
    std::vector<int32_t> written = {};
    StoredFields fields = {};     // a hash's
    std::string_view bytes = {};  // of a single object; of a hash, what its fields were read from
};

// The index of a hash, as it is stored; empty when the fields have none, or are none.
std::string_view index_in(const StoredFields &fields);

// Appends a hash's fields in their form. Where in the text the index is.
std::string_view append_fields(std::string &text, const StoredFields &fields);

// Whether both have the same content. The fields of a long hash come in an order of the server's own, and in another
// one after it was restarted.
bool is_same_record(std::string_view one, std::string_view other);

// Reads a record of that form, without a head. False when it is none.
bool read_stored(bool is_hash, std::string_view bytes, Notification &notification);

void append_hash_head(std::string &text, int32_t cmd, std::span<const int32_t> written);
void append_object_head(std::string &text, int32_t cmd);

std::string encode_notification(int32_t cmd, std::span<const int32_t> written, const StoredFields &fields);
std::string encode_object_notification(int32_t cmd, std::string_view bytes);

// False when the text is none. What the notification refers to is in the text.
bool decode_notification(std::string_view text, Notification &notification);

}  // namespace mom
