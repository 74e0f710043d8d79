// Between messages and what is stored: keys, and fields in wire form.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <protobuf-c/protobuf-c.h>

#include "core/store.h"

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

private:
    void append(const ProtobufCMessage &record, const ProtobufCFieldDescriptor &field);
    void append_alone(const ProtobufCMessage &record, const ProtobufCFieldDescriptor &field);

    std::vector<std::max_align_t> alone_;
    std::string values_;
    StoredFields fields_;
};

std::string encode_object(const ProtobufCMessage &record);

}  // namespace mom
