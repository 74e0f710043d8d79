// From messages to what is stored: fields in wire form.
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

// The named fields of a record, and its index, as they are stored. Used again and again, so that a write allocates
// nothing here.
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
