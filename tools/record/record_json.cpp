#include "record/record_json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>

#include "base/utf8.h"
#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"
#include "record/field_text.h"

namespace record {

using namespace command_line;

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kHexSuffix = "_hex";

bool is_utf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t length = base::sequence_length(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

// Written as text at once: a document of each record would cost more than reading it from the store.
void append_message(std::string &json, const ProtobufCMessage *message);

// Most strings are written as they are.
bool is_plain(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char each) { return each >= ' ' && each <= '~' && each != '"' && each != '\\'; });
}

void append_string(std::string &json, std::string_view text) {
    if (is_plain(text)) {
        json.append("\"").append(text).append("\"");
    } else {
        json += Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
    }
}

void append_name(std::string &json, std::string_view name, std::string_view suffix = "") {
    if (json.back() != '{') {
        json += ',';
    }
    json += '"';
    json.append(name).append(suffix).append("\":");
}

void append_number(std::string &json, int32_t number) {
    std::array<char, std::numeric_limits<int32_t>::digits10 + 2> digits;
    json.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

void append_value(std::string &json, const ProtobufCFieldDescriptor &field, ValueView value) {
    if (const bool *flag = std::get_if<bool>(&value)) {
        json += *flag ? "true" : "false";
    } else if (const auto *text = std::get_if<std::string_view>(&value)) {
        append_string(json, field.type == PROTOBUF_C_TYPE_BYTES ? hex(*text) : *text);
    } else {
        const int32_t number = std::get<int32_t>(value);
        const char *name = field.type == PROTOBUF_C_TYPE_ENUM ? enum_name(field, number) : nullptr;
        if (name == nullptr) {
            append_number(json, number);
        } else {
            append_string(json, name);
        }
    }
}

void append_member(std::string &json, const ProtobufCMessage &message, const ProtobufCFieldDescriptor &field) {
    append_name(json, field.name);
    if (field.type == PROTOBUF_C_TYPE_MESSAGE) {
        append_message(json, message_in(message, field));
        return;
    }
    const ValueView value = view_of(message, field);
    append_value(json, field, value);
    if (field.type == PROTOBUF_C_TYPE_STRING && !is_utf8(std::get<std::string_view>(value))) {
        append_name(json, field.name, kHexSuffix);
        append_string(json, hex(std::get<std::string_view>(value)));
    }
}

void append_message(std::string &json, const ProtobufCMessage *message) {
    if (message == nullptr) {
        json += "null";
        return;
    }
    json += '{';
    for (const ProtobufCFieldDescriptor &field :
         std::span(message->descriptor->fields, message->descriptor->n_fields)) {
        append_member(json, *message, field);
    }
    json += '}';
}

void append_fields(std::string &json, const View &record) {
    json += '{';
    record.each_field([&](const auto &field) { append_member(json, record.message(), field); });
    json += '}';
}

[[noreturn]] void refuse(const std::string &what, const std::string &expected, const Json &value) {
    throw Failure(kUnreadable, what + ": " + expected + " expected, not " +
                                   printable(value.dump(-1, ' ', true, Json::error_handler_t::replace)));
}

std::string text_in(const std::string &what, const Json &value) {
    if (!value.is_string()) {
        refuse(what, "a string", value);
    }
    return value.get<std::string>();
}

const Json &object_in(const Json &json, const char *name) {
    const auto member = json.find(name);
    if (member == json.end()) {
        throw Failure(kUnreadable, quote(name) + " is missing");
    }
    if (!member->is_object()) {
        refuse(name, "an object", *member);
    }
    return *member;
}

Value value_in(const ProtobufCFieldDescriptor &field, const std::string &what, const Json &value) {
    switch (field.type) {
        case PROTOBUF_C_TYPE_BOOL:
            if (!value.is_boolean()) {
                refuse(what, "true or false", value);
            }
            return value.get<bool>();
        case PROTOBUF_C_TYPE_INT32:
        case PROTOBUF_C_TYPE_ENUM:
            if (value.is_number_integer() && value >= INT32_MIN && value <= INT32_MAX) {
                return value.get<int32_t>();
            }
            if (field.type == PROTOBUF_C_TYPE_ENUM && value.is_string()) {
                return parse_value(field, what, value.get<std::string>());
            }
            refuse(what, "a whole number from -2147483648 to 2147483647", value);
        default:
            return parse_value(field, what, text_in(what, value));
    }
}

// Puts the members of an object into the fields below a path of the record.
class Filler {
public:
    Filler(Record &record, const ProtobufCMessageDescriptor &type, std::string path, std::string shown)
        : record_(record), type_(type), path_(std::move(path)), shown_(std::move(shown)) {}

    void fill(const Json &object) {
        for (const auto &[name, value] : object.items()) {
            const std::string_view view = name;
            if (view.ends_with(kHexSuffix) && find(view) == nullptr) {
                fill_hex(view.substr(0, view.size() - kHexSuffix.size()), value);
            } else if (!object.contains(name + std::string(kHexSuffix))) {
                fill_field(known(view), value);
            }
        }
    }

private:
    const ProtobufCFieldDescriptor *find(std::string_view name) const {
        const std::string terminated(name);
        return protobuf_c_message_descriptor_get_field_by_name(&type_, terminated.c_str());
    }

    const ProtobufCFieldDescriptor &known(std::string_view name) const {
        const ProtobufCFieldDescriptor *field = find(name);
        if (field == nullptr || (path_.empty() && field == record_.type().index())) {
            throw Failure(kUnreadable, shown_ + ": " + type_.name + " has no field " + quote(name));
        }
        return *field;
    }

    void fill_hex(std::string_view name, const Json &value) {
        const ProtobufCFieldDescriptor &field = known(name);
        const std::string what = shown_ + "." + field.name + std::string(kHexSuffix);
        record_.set(path_ + field.name, parse_hex(what, text_in(what, value)));
    }

    void fill_field(const ProtobufCFieldDescriptor &field, const Json &value) {
        const std::string what = shown_ + "." + field.name;
        if (field.type != PROTOBUF_C_TYPE_MESSAGE) {
            record_.set(path_ + field.name, value_in(field, what, value));
        } else if (value.is_object()) {
            const auto &within = *static_cast<const ProtobufCMessageDescriptor *>(field.descriptor);
            record_.set_message(path_ + field.name, true);
            Filler(record_, within, path_ + field.name + ".", what).fill(value);
        } else if (value.is_null()) {
            record_.set_message(path_ + field.name, false);
        } else {
            refuse(what, "an object or null", value);
        }
    }

    Record &record_;
    const ProtobufCMessageDescriptor &type_;
    std::string path_;
    std::string shown_;
};

const RecordType &type_in(const Json &json) {
    const auto name = json.find("type");
    if (name == json.end()) {
        throw Failure(kUnreadable, "\"type\" is missing");
    }
    const RecordType *type = find_type(text_in("type", *name));
    if (type == nullptr) {
        throw Failure(kUnreadable, "type: no such record type as " + quote(name->get<std::string>()) +
                                       did_you_mean(name->get<std::string>(), type_names()));
    }
    return *type;
}

void fill_key(Record &record, const Json &key) {
    for (const ProtobufCFieldDescriptor &field : record.type().index_fields()) {
        if (!key.contains(field.name)) {
            throw Failure(kUnreadable, std::string("key: ") + quote(field.name) + " is missing");
        }
    }
    if (const ProtobufCFieldDescriptor *index = record.type().index()) {
        Filler(record, *static_cast<const ProtobufCMessageDescriptor *>(index->descriptor),
               std::string(index->name) + ".", "key")
            .fill(key);
    } else if (!key.empty()) {
        refuse("key", "{}", key);
    }
}

}  // namespace

void append_record_line(std::string &json, const View &record) {
    json.append("{\"type\":\"").append(record.type().full_name()).append("\",\"key\":");
    if (const ProtobufCMessage *index = record.index()) {
        append_message(json, index);
    } else {
        json += "{}";
    }
    json += ",\"fields\":";
    append_fields(json, record);
    json += "}\n";
}

std::string record_line(const View &record) {
    std::string line;
    append_record_line(line, record);
    return line;
}

Json to_json(const View &record) { return Json::parse(record_line(record)); }

Json fields_json(const Record &record, std::span<const int32_t> fields) {
    std::string json;
    append_fields(json, {record.type(), record.message(), fields});
    return Json::parse(json);
}

Json field_json(const Record &record, int32_t field) {
    Json object = fields_json(record, {&field, 1});
    return object.begin().value();
}

Record from_json(const Json &json) {
    if (!json.is_object()) {
        refuse("a record", "an object", json);
    }
    for (const auto &[name, value] : json.items()) {
        if (name != "type" && name != "key" && name != "fields") {
            throw Failure(kUnreadable, quote(name) + ": a record has type, key and fields, and nothing else");
        }
    }
    const RecordType &type = type_in(json);
    Record record(type);
    try {
        fill_key(record, object_in(json, "key"));
        Filler(record, *type.descriptor, "", "fields").fill(object_in(json, "fields"));
    } catch (const Failure &failure) {  // of a value that is written as on a command line
        throw Failure(kUnreadable, failure.what());
    }
    return record;
}

std::string json_line(const Json &value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n"; }

}  // namespace record
