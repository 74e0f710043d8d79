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

template <class Wanted>
std::string joined(const View &record, Wanted is_wanted) {
    std::string text;
    for (const FieldText &field : field_texts(record)) {
        if (is_wanted(field.number)) {
            text += (text.empty() ? "" : " ") + field.path + "=" + field.text;
        }
    }
    return text;
}

}  // namespace

std::vector<FieldText> field_texts(const View &record) {
    std::vector<FieldText> texts;
    record.each_field([&](const ProtobufCFieldDescriptor &field) {
        add(texts, static_cast<int32_t>(field.id), "", record.message(), field);
    });
    return texts;
}

std::string assignments(const View &record) {
    return joined(record, [](int32_t) { return true; });
}

std::string assignments(const View &record, std::span<const int32_t> fields) {
    return joined(record,
                  [&](int32_t number) { return std::find(fields.begin(), fields.end(), number) != fields.end(); });
}

std::vector<std::string> field_names(const RecordType &type, std::span<const int32_t> fields) {
    std::vector<std::string> names;
    names.reserve(fields.size());
    for (const int32_t field : fields) {
        names.emplace_back(
            protobuf_c_message_descriptor_get_field(type.descriptor, static_cast<unsigned>(field))->name);
    }
    return names;
}

}  // namespace record
