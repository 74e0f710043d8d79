#include "record/record_text.h"

#include <algorithm>

#include "record/field_text.h"

namespace record {

namespace {

void add(std::vector<FieldText> &texts, int32_t number, const std::string &path, const ProtobufCMessage &message,
         const ProtobufCFieldDescriptor &field) {
    const std::string its_path = path + field.name;
    if (field.type != PROTOBUF_C_TYPE_MESSAGE) {
        texts.push_back({number, its_path, value_text(field, value_of(message, field))});
        return;
    }
    const ProtobufCMessage *within = message_in(message, field);
    if (within == nullptr) {
        return;
    }
    for (const ProtobufCFieldDescriptor &each : std::span(within->descriptor->fields, within->descriptor->n_fields)) {
        add(texts, number, its_path + ".", *within, each);
    }
}

}  // namespace

std::vector<FieldText> field_texts(const Record &record) {
    std::vector<FieldText> texts;
    for (const int32_t number : record.fields()) {
        add(texts, number, "", record.message(),
            *protobuf_c_message_descriptor_get_field(record.type().descriptor, static_cast<unsigned>(number)));
    }
    return texts;
}

std::string assignments(const Record &record, std::span<const int32_t> fields) {
    std::string text;
    for (const FieldText &field : field_texts(record)) {
        if (std::find(fields.begin(), fields.end(), field.number) != fields.end()) {
            text += (text.empty() ? "" : " ") + field.path + "=" + field.text;
        }
    }
    return text;
}

}  // namespace record
