#include "record.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <ostream>
#include <stdexcept>

namespace test_support {
namespace {

template <class Member>
Member &member(ProtobufCMessage *message, const ProtobufCFieldDescriptor &field) {
    return *reinterpret_cast<Member *>(reinterpret_cast<char *>(message) + field.offset);
}

template <class Member>
const Member &member(const ProtobufCMessage *message, const ProtobufCFieldDescriptor &field) {
    return *reinterpret_cast<const Member *>(reinterpret_cast<const char *>(message) + field.offset);
}

const ProtobufCMessageDescriptor &message_type(const ProtobufCFieldDescriptor &field) {
    return *static_cast<const ProtobufCMessageDescriptor *>(field.descriptor);
}

void *allocate(size_t size) {
    void *memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

char *copy_string(const char *string) {
    const size_t size = std::strlen(string) + 1;
    return static_cast<char *>(std::memcpy(allocate(size), string, size));
}

ProtobufCMessage *deep_copy(const ProtobufCMessage *source) {
    const ProtobufCMessageDescriptor &type = *source->descriptor;
    if (type.magic != PROTOBUF_C__MESSAGE_DESCRIPTOR_MAGIC) {
        throw std::invalid_argument("a record without a descriptor");
    }
    auto *copy =
        static_cast<ProtobufCMessage *>(std::memcpy(allocate(type.sizeof_message), source, type.sizeof_message));
    for (unsigned i = 0; i < type.n_fields; ++i) {
        const ProtobufCFieldDescriptor &field = type.fields[i];
        if (field.type == PROTOBUF_C_TYPE_STRING) {
            auto &string = member<char *>(copy, field);
            string = string == nullptr || string == field.default_value ? string : copy_string(string);
        } else if (field.type == PROTOBUF_C_TYPE_MESSAGE) {
            auto &message = member<ProtobufCMessage *>(copy, field);
            message = message == nullptr ? nullptr : deep_copy(message);
        } else if (field.type == PROTOBUF_C_TYPE_BYTES) {
            auto &bytes = member<ProtobufCBinaryData>(copy, field);
            if (bytes.len > 0) {
                bytes.data = static_cast<uint8_t *>(std::memcpy(allocate(bytes.len), bytes.data, bytes.len));
            }
        }
    }
    return copy;
}

std::shared_ptr<ProtobufCMessage> own(ProtobufCMessage *message) {
    return {message, [](ProtobufCMessage *owned) { protobuf_c_message_free_unpacked(owned, nullptr); }};
}

const ProtobufCFieldDescriptor &field_of(const ProtobufCMessageDescriptor &type, uint32_t number) {
    const ProtobufCFieldDescriptor *field = protobuf_c_message_descriptor_get_field(&type, number);
    if (field == nullptr) {
        throw std::invalid_argument(std::string(type.name) + " has no field " + std::to_string(number));
    }
    return *field;
}

void set(ProtobufCMessage *message, const Field &value) {
    const ProtobufCFieldDescriptor &field = field_of(*message->descriptor, value.number);
    if (field.type == PROTOBUF_C_TYPE_STRING) {
        const auto *text = std::get_if<std::string>(&value.value);
        member<char *>(message, field) = text == nullptr ? nullptr : copy_string(text->c_str());
    } else if (field.type == PROTOBUF_C_TYPE_BYTES) {
        const auto &text = std::get<std::string>(value.value);
        auto *data = static_cast<uint8_t *>(std::memcpy(allocate(text.size() + 1), text.data(), text.size()));
        member<ProtobufCBinaryData>(message, field) = {text.size(), data};
    } else {
        static_assert(sizeof(protobuf_c_boolean) == sizeof(int32_t));
        member<int32_t>(message, field) = std::get<int32_t>(value.value);
    }
}

ProtobufCMessage *build(const ProtobufCMessageDescriptor &type, const Fields &fields) {
    auto *message = static_cast<ProtobufCMessage *>(allocate(type.sizeof_message));
    protobuf_c_message_init(&type, message);
    for (const Field &field : fields) {
        set(message, field);
    }
    return message;
}

bool same(const ProtobufCMessage *left, const ProtobufCMessage *right);

bool same_field(const ProtobufCMessage *left, const ProtobufCMessage *right, const ProtobufCFieldDescriptor &field) {
    if (field.type == PROTOBUF_C_TYPE_STRING) {
        const char *a = member<char *>(left, field);
        const char *b = member<char *>(right, field);
        return a == b || (a != nullptr && b != nullptr && std::strcmp(a, b) == 0);
    }
    if (field.type == PROTOBUF_C_TYPE_MESSAGE) {
        return same(member<ProtobufCMessage *>(left, field), member<ProtobufCMessage *>(right, field));
    }
    if (field.type == PROTOBUF_C_TYPE_BYTES) {
        const auto &a = member<ProtobufCBinaryData>(left, field);
        const auto &b = member<ProtobufCBinaryData>(right, field);
        return a.len == b.len && (a.len == 0 || std::memcmp(a.data, b.data, a.len) == 0);
    }
    return member<int32_t>(left, field) == member<int32_t>(right, field);
}

bool same(const ProtobufCMessage *left, const ProtobufCMessage *right) {
    if (left == nullptr || right == nullptr) {
        return left == right;
    }
    if (left->descriptor != right->descriptor || left->n_unknown_fields != right->n_unknown_fields) {
        return false;
    }
    for (unsigned i = 0; i < left->descriptor->n_fields; ++i) {
        if (!same_field(left, right, left->descriptor->fields[i])) {
            return false;
        }
    }
    return true;
}

void print(std::ostream &out, const ProtobufCMessage *message);

void print_field(std::ostream &out, const ProtobufCMessage *message, const ProtobufCFieldDescriptor &field) {
    if (field.type == PROTOBUF_C_TYPE_STRING) {
        const char *string = member<char *>(message, field);
        string == nullptr ? out << "NULL" : out << '"' << string << '"';
    } else if (field.type == PROTOBUF_C_TYPE_MESSAGE) {
        print(out, member<ProtobufCMessage *>(message, field));
    } else if (field.type == PROTOBUF_C_TYPE_BYTES) {
        out << member<ProtobufCBinaryData>(message, field).len << " bytes";
    } else {
        out << member<int32_t>(message, field);
    }
}

void print(std::ostream &out, const ProtobufCMessage *message) {
    if (message == nullptr) {
        out << "NULL";
        return;
    }
    out << message->descriptor->name << '{';
    const char *separator = "";
    for (unsigned i = 0; i < message->descriptor->n_fields; ++i) {
        const ProtobufCFieldDescriptor &field = message->descriptor->fields[i];
        out << separator << field.name << ": ";
        print_field(out, message, field);
        separator = ", ";
    }
    out << '}';
}

}  // namespace

Field::Field(uint32_t its_number, int32_t its_value) : number(its_number), value(its_value) {}
Field::Field(uint32_t its_number, const std::string &its_value) : number(its_number), value(its_value) {}
Field::Field(uint32_t its_number, std::nullptr_t) : number(its_number), value(nullptr) {}
Field::Field(const Field &) = default;
Field &Field::operator=(const Field &) = default;
Field::~Field() = default;

Record::Record(const ProtobufCMessage *message) {
    if (message != nullptr) {
        message_ = own(deep_copy(message));
    }
}

Record Record::of(const ProtobufCMessageDescriptor &type, const Fields &fields) {
    Record record;
    record.message_ = own(build(type, fields));
    return record;
}

Record Record::with_message(uint32_t number, const Fields &fields) const {
    const auto changed = own(copy());
    const ProtobufCFieldDescriptor &field = field_of(*changed->descriptor, number);
    member<ProtobufCMessage *>(changed.get(), field) = build(message_type(field), fields);
    Record record;
    record.message_ = changed;
    return record;
}

ProtobufCMessage *Record::copy() const { return message_ == nullptr ? nullptr : deep_copy(message_.get()); }

bool Record::operator==(const Record &other) const { return same(message_.get(), other.message_.get()); }

std::ostream &operator<<(std::ostream &out, const Record &record) {
    print(out, record.message_.get());
    return out;
}

}  // namespace test_support
