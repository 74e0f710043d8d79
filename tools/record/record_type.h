// The types of record that the store holds. All that is known of a type comes from its descriptor, but for its
// database.
#pragma once

#include <cstdint>
#include <protobuf-c/protobuf-c.h>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace record {

constexpr int32_t kIndexField = 5;

struct RecordType {
    const ProtobufCMessageDescriptor *descriptor;
    int32_t db;

    std::string_view full_name() const { return descriptor->name; }  // s_frame.cap_fe_ready
    std::string_view name() const;                                   // cap_fe_ready, which no two types share
    std::span<const ProtobufCFieldDescriptor> fields() const { return {descriptor->fields, descriptor->n_fields}; }
    // The field that holds what addresses a record; nullptr: there is one record of the type, an object written whole.
    const ProtobufCFieldDescriptor *index() const;
    std::span<const ProtobufCFieldDescriptor> index_fields() const;  // empty for a single object
};

// In the order in which a card comes up: cards, their checks, nodes, readiness, capabilities.
std::span<const RecordType> record_types();

// By either name, or the generated one (CapFeReady); nullptr: there is none.
const RecordType *find_type(std::string_view name);
// Throws a usage failure that suggests what may have been meant.
const RecordType &type_named(std::string_view name);
// Of a descriptor that is one of those.
const RecordType &type_of(const ProtobufCMessageDescriptor &descriptor);
std::vector<std::string> type_names();

}  // namespace record
