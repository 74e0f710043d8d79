#include "record/record.h"

#include <algorithm>
#include <cassert>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"
#include "record/field_text.h"

namespace record {

using namespace command_line;

namespace {

std::span<const ProtobufCFieldDescriptor> fields_of(const ProtobufCMessageDescriptor &type) {
    return {type.fields, type.n_fields};
}

const ProtobufCMessageDescriptor &message_type(const ProtobufCFieldDescriptor &field) {
    return *static_cast<const ProtobufCMessageDescriptor *>(field.descriptor);
}

std::vector<std::string> names_of(const ProtobufCMessageDescriptor &type) {
    std::vector<std::string> names;
    for (const ProtobufCFieldDescriptor &field : fields_of(type)) {
        names.emplace_back(field.name);
    }
    return names;
}

const ProtobufCFieldDescriptor &field_named(const ProtobufCMessageDescriptor &type, std::string_view name) {
    const auto fields = fields_of(type);
    const auto field = std::find_if(fields.begin(), fields.end(), [&](const auto &each) { return name == each.name; });
    if (field == fields.end()) {
        const std::vector<std::string> names = names_of(type);
        const std::string similar = did_you_mean(name, names);
        throw Failure(kUsage, quote(name) + ": " + type.name + " has no such field" +
                                  (similar.empty() ? "; it has " + joined(names) : similar));
    }
    return *field;
}

// The fields on the way to the one that a path names, which is the last.
using Way = std::vector<const ProtobufCFieldDescriptor *>;

Way way_to(const RecordType &type, std::string_view path) {
    Way way;
    const ProtobufCMessageDescriptor *within = type.descriptor;
    for (std::string_view left = path; within != nullptr;) {
        const size_t dot = std::min(left.find('.'), left.size());
        const bool is_last = dot == left.size();
        const ProtobufCFieldDescriptor &field = field_named(*within, left.substr(0, dot));
        if (!is_last && field.type != PROTOBUF_C_TYPE_MESSAGE) {
            throw Failure(kUsage, quote(path) + ": " + field.name + " has no fields");
        }
        way.push_back(&field);
        within = is_last ? nullptr : &message_type(field);
        left.remove_prefix(std::min(dot + 1, left.size()));
    }
    return way;
}

// The last holds a value, no message.
Way way_to_value(const RecordType &type, std::string_view path) {
    Way way = way_to(type, path);
    if (way.back()->type == PROTOBUF_C_TYPE_MESSAGE) {
        throw Failure(kUsage, quote(path) + ": it has fields of its own; name one of them, as in " + std::string(path) +
                                  "." + names_of(message_type(*way.back())).back());
    }
    return way;
}

// The message that the last of them is in; those on the way are made.
ProtobufCMessage &message_at(ProtobufCMessage &whole, const Way &way) {
    ProtobufCMessage *message = &whole;
    for (size_t i = 0; i + 1 < way.size(); ++i) {
        message = &make_message_in(*message, *way[i]);
    }
    return *message;
}

const char *kind_of(const ProtobufCFieldDescriptor &field) {
    switch (field.type) {
        case PROTOBUF_C_TYPE_BOOL:
            return "a boolean";
        case PROTOBUF_C_TYPE_STRING:
            return "a string";
        case PROTOBUF_C_TYPE_BYTES:
            return "bytes";
        default:
            return "a number";
    }
}

// As ":node:config_dev_type" stands for the index of a type.
std::string key_form(const RecordType &type) {
    std::string form(type.name());
    for (const ProtobufCFieldDescriptor &field : type.index_fields()) {
        form.append(":").append(field.name);
    }
    return form;
}

}  // namespace

Record::Record(const RecordType &type) : type_(&type), message_(make_message(*type.descriptor)) {
    if (type.index() != nullptr) {
        make_message_in(*message_, *type.index());
    }
}

Record::Record(const View &view) : type_(&view.type()), message_(copy_of(view.message())) {
    if (type_->index() != nullptr) {
        make_message_in(*message_, *type_->index());
    }
    view.each_field([this](const auto &field) { fields_.push_back(static_cast<int32_t>(field.id)); });
}

Record::Record(const Record &other) : type_(other.type_), message_(copy_of(*other.message_)), fields_(other.fields_) {
    if (type_->index() != nullptr) {
        make_message_in(*message_, *type_->index());
    }
}

Record &Record::operator=(const Record &other) {
    if (this != &other) {
        *this = Record(other);
    }
    return *this;
}

bool Record::has(int32_t field) const { return std::binary_search(fields_.begin(), fields_.end(), field); }

void Record::mark(const ProtobufCFieldDescriptor &field) {
    const auto number = static_cast<int32_t>(field.id);
    const auto place = std::lower_bound(fields_.begin(), fields_.end(), number);
    if (&field != type_->index() && (place == fields_.end() || *place != number)) {
        fields_.insert(place, number);
    }
}

Value Record::get(std::string_view path) const {
    const Way way = way_to_value(*type_, path);
    const ProtobufCMessage *message = message_.get();
    for (size_t i = 0; message != nullptr && i + 1 < way.size(); ++i) {
        message = message_in(*message, *way[i]);
    }
    return message == nullptr ? default_of(*way.back()) : value_of(*message, *way.back());
}

void Record::set(std::string_view path, const Value &value) {
    const Way way = way_to_value(*type_, path);
    if (value.index() != default_of(*way.back()).index()) {
        throw Failure(kUsage, std::string(path) + ": " + kind_of(*way.back()) + " expected");
    }
    set_value(message_at(*message_, way), *way.back(), value);
    mark(*way.front());
}

void Record::set_text(std::string_view path, std::string_view text) {
    set(path, parse_value(value_field(*type_, path), path, text));
}

void Record::set_message(std::string_view path, bool with) {
    const Way way = way_to(*type_, path);
    assert(way.back()->type == PROTOBUF_C_TYPE_MESSAGE);
    ProtobufCMessage &parent = message_at(*message_, way);
    if (with) {
        make_message_in(parent, *way.back());
    } else {
        clear_message_in(parent, *way.back());
    }
    mark(*way.front());
}

bool operator==(const Record &a, const Record &b) {
    return a.type_ == b.type_ && a.key() == b.key() && differing_fields(a, b).empty();
}

std::vector<int32_t> differing_fields(const Record &a, const Record &b) {
    std::vector<int32_t> numbers;
    for (const ProtobufCFieldDescriptor &field : a.type().fields()) {
        const auto number = static_cast<int32_t>(field.id);
        const bool in_a = a.has(number);
        if (in_a != b.has(number) || (in_a && !same(a.message(), b.message(), field))) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

const ProtobufCFieldDescriptor &value_field(const RecordType &type, std::string_view path) {
    return *way_to_value(type, path).back();
}

Record record_at(std::string_view key) {
    const size_t end = std::min(key.find(':'), key.size());
    const RecordType &type = type_named(key.substr(0, end));
    const auto fields = type.index_fields();
    Record record(type);
    std::string_view left = key.substr(end);
    for (const ProtobufCFieldDescriptor &field : fields) {
        if (left.empty()) {
            throw Failure(kUsage, quote(key) + ": " + key_form(type) + " expected");
        }
        left.remove_prefix(1);
        // A string is the last of an index, and may have colons in it.
        const size_t length =
            field.type == PROTOBUF_C_TYPE_STRING ? left.size() : std::min(left.find(':'), left.size());
        record.set(std::string(type.index()->name) + "." + field.name,
                   parse_value(field, quote(key) + ": " + field.name, left.substr(0, length)));
        left.remove_prefix(length);
    }
    if (!left.empty()) {
        throw Failure(kUsage, quote(key) + ": " + key_form(type) + " expected");
    }
    return record;
}

bool is_key(std::string_view word) { return find_type(word.substr(0, word.find(':'))) != nullptr; }

}  // namespace record
