#include "random_record.h"

#include <string>

namespace store_test {

using record::Record;
using record::Value;

namespace {

bool chance(std::mt19937 &random) { return random() % 2 == 0; }

std::string random_bytes(std::mt19937 &random, bool with_nul) {
    std::string bytes(random() % 9, ' ');
    for (char &byte : bytes) {
        byte = static_cast<char>(random() % 4 == 0 ? 128 + random() % 128 : 1 + random() % 127);
        if (with_nul && chance(random)) {
            byte = '\0';
        }
    }
    return bytes;
}

Value random_value(const ProtobufCFieldDescriptor &field, std::mt19937 &random) {
    switch (field.type) {
        case PROTOBUF_C_TYPE_BOOL:
            return chance(random);
        case PROTOBUF_C_TYPE_STRING:
            return random_bytes(random, false);
        case PROTOBUF_C_TYPE_BYTES:
            return random_bytes(random, true);
        case PROTOBUF_C_TYPE_ENUM:
            return static_cast<int32_t>(random() % 3);  // the last has no name
        default:
            return static_cast<int32_t>(random() % 3 == 0 ? random() : random() % 4);
    }
}

void fill(Record &record, const ProtobufCMessageDescriptor &type, const std::string &path, bool all,
          std::mt19937 &random) {
    for (const ProtobufCFieldDescriptor &field : std::span(type.fields, type.n_fields)) {
        const std::string its_path = path + field.name;
        const bool is_index = path.empty() && &field == record.type().index();
        if (!all && !is_index && chance(random)) {
            continue;
        }
        if (field.type != PROTOBUF_C_TYPE_MESSAGE) {
            record.set(its_path, random_value(field, random));
            continue;
        }
        const bool with = is_index || chance(random);
        record.set_message(its_path, with);
        if (with) {
            fill(record, *static_cast<const ProtobufCMessageDescriptor *>(field.descriptor), its_path + ".", is_index,
                 random);
        }
    }
}

}  // namespace

Record random_record(const record::RecordType &type, std::mt19937 &random) {
    Record record(type);
    fill(record, *type.descriptor, "", type.index() == nullptr, random);
    return record;
}

}  // namespace store_test
