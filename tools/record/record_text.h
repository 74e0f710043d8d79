// Records as text, a field a word or a line.
#pragma once

#include <string>
#include <vector>

#include "record/record.h"

namespace record {

struct FieldText {
    int32_t number;    // of the record's field, also where it is a field of a message within
    std::string path;  // static_info.node_type
    std::string text;  // as value_text() has it
};

// Of the fields that are there, those of messages within included.
std::vector<FieldText> field_texts(const View &record);

// ready=1 node_type=3 name="LPU"
std::string assignments(const View &record);
// Of these of them alone.
std::string assignments(const View &record, std::span<const int32_t> fields);

// The names of these fields of a type.
std::vector<std::string> field_names(const RecordType &type, std::span<const int32_t> fields);

}  // namespace record
