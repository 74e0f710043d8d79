// Between messages and what is stored: keys, and fields in wire form.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <protobuf-c/protobuf-c.h>

#include "store.h"

namespace mom {

constexpr uint32_t kIndexField = 5;

// The index of a type of hashes; nullptr for a type of single objects.
const ProtobufCFieldDescriptor *index_of(const ProtobufCMessageDescriptor &type);

// Appends the key of the record that the message addresses. A code, with the reason in last_error(), when its index is
// missing, or is of a kind whose values, put side by side, could be those of another record.
int32_t append_key(const ProtobufCMessage &message, std::string &key);

// The named fields of a record, and its index, as they are stored.
class EncodedFields {
public:
    int32_t encode(const ProtobufCMessage &record, std::span<const int32_t> field_ids);

    const StoredFields &fields() const { return fields_; }
    std::string_view written() const { return written_; }

private:
    void append(const ProtobufCMessage &record, const ProtobufCFieldDescriptor &field);

    std::string numbers_;
    std::string values_;
    std::string written_;
    std::vector<std::pair<size_t, size_t>> ends_;
    StoredFields fields_;
};

std::string encode_object(const ProtobufCMessage &record);

// Whether the stored fields are what encode() makes: every name a number, and every value exactly that field. So a
// damaged value can't swallow its neighbours when they are decoded end to end.
bool are_whole(const StoredFields &fields);

// A field's number as its stored name has it; 0 when it is none.
uint32_t field_number(std::string_view name);

}  // namespace mom
