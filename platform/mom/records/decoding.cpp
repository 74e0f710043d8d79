#include "records/decoding.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace mom {

namespace {

constexpr int kDeepest = 32;  // messages inside messages

struct LongVarint {
    const char *end;  // nullptr: none
    uint64_t value;
};

// Apart from the usual case of one byte, which is read in line.
LongVarint long_varint(const char *at, const char *end, unsigned bits) {
    uint64_t value = 0;
    for (unsigned shift = 0; shift < bits && at != end; shift += 7) {
        const auto byte = static_cast<uint8_t>(*at++);
        value |= uint64_t{byte & 0x7FU} << shift;
        if (byte < 0x80) {
            return {.end = at, .value = value};
        }
    }
    return {.end = nullptr, .value = 0};
}

// Bytes being read. Reading past the end, or what no reader takes, makes it bad for good.
class Cursor {
public:
    explicit Cursor(std::string_view bytes) : at_(bytes.data()), end_(at_ + bytes.size()) {}

    bool at_end() const { return at_ == end_; }
    bool bad() const { return bad_; }
    std::string_view rest() const { return {at_, static_cast<size_t>(end_ - at_)}; }
    void fail() { bad_ = true; }

    // Of so many bits, and in no more bytes than these take.
    template <unsigned kBits = 64>
    uint64_t varint() {
        if (at_ != end_ && static_cast<uint8_t>(*at_) < 0x80) {
            return static_cast<uint8_t>(*at_++);
        }
        const LongVarint read = long_varint(at_, end_, kBits);
        bad_ = bad_ || read.end == nullptr;
        at_ = read.end != nullptr ? read.end : end_;
        return read.value;
    }

    std::string_view take(uint64_t size) {
        if (size > static_cast<uint64_t>(end_ - at_)) {
            fail();
            return {};
        }
        const char *from = at_;
        at_ += size;
        return {from, static_cast<size_t>(size)};
    }

    std::string_view length_prefixed() { return take(varint<32>()); }

private:
    const char *at_;
    const char *end_;
    bool bad_ = false;
};

void skip(Cursor &cursor, unsigned wire_type) {
    switch (wire_type) {
        case PROTOBUF_C_WIRE_TYPE_VARINT:
            cursor.varint();
            break;
        case PROTOBUF_C_WIRE_TYPE_64BIT:
            cursor.take(8);
            break;
        case PROTOBUF_C_WIRE_TYPE_32BIT:
            cursor.take(4);
            break;
        case PROTOBUF_C_WIRE_TYPE_LENGTH_PREFIXED:
            cursor.length_prefixed();
            break;
        default:
            cursor.fail();
    }
}

constexpr bool is_number(ProtobufCType type) {
    constexpr unsigned kNumbers = 1U << PROTOBUF_C_TYPE_INT32 | 1U << PROTOBUF_C_TYPE_ENUM | 1U << PROTOBUF_C_TYPE_BOOL;
    return (kNumbers >> type & 1U) != 0;
}

bool is_long(ProtobufCType type) {
    return type == PROTOBUF_C_TYPE_STRING || type == PROTOBUF_C_TYPE_BYTES || type == PROTOBUF_C_TYPE_MESSAGE;
}

// Without presence: it is there, once.
bool is_singular(const ProtobufCFieldDescriptor &field) {
    return field.label == PROTOBUF_C_LABEL_NONE && (field.flags & PROTOBUF_C_FIELD_FLAG_ONEOF) == 0;
}

// Of a type that records have, too: the only kind that is decoded here.
bool is_plain(const ProtobufCFieldDescriptor &field) {
    return is_singular(field) && (is_number(field.type) || is_long(field.type));
}

// Of a message that comes twice, what comes later is added to what was there.
bool is_second(const ProtobufCFieldDescriptor &field, const std::byte *member) {
    const void *message = nullptr;
    if (field.type == PROTOBUF_C_TYPE_MESSAGE) {
        std::memcpy(&message, member, sizeof message);
    }
    return message != nullptr;
}

constexpr size_t kSmallField = 2;
constexpr unsigned kMoreFollows = 0x80;  // in a byte of a tag or a number

// Takes what most fields are: a number or truth value whose tag and value have a byte each. False when it is anything
// else, which is decoded with more care.
inline bool take_small(ProtobufCMessage &message, const ProtobufCFieldDescriptor *field, std::string_view bytes) {
    if (bytes.size() < kSmallField || field == nullptr || static_cast<uint8_t>(bytes[0]) != field->id << 3 ||
        ((static_cast<uint8_t>(bytes[0]) | static_cast<uint8_t>(bytes[1])) & kMoreFollows) != 0 ||
        !is_number(field->type) || !is_singular(*field)) {
        return false;
    }
    const auto number = uint32_t{static_cast<uint8_t>(bytes[1])};
    const uint32_t value = field->type == PROTOBUF_C_TYPE_BOOL ? (number != 0 ? 1U : 0U) : number;
    std::memcpy(reinterpret_cast<std::byte *>(&message) + field->offset, &value, sizeof value);
    return true;
}

// Finds the fields of a type by number. They mostly come in ascending order, and are then the next in the list.
class Fields {
public:
    explicit Fields(const ProtobufCMessageDescriptor &type) : type_(type) {}

    const ProtobufCFieldDescriptor *find(uint32_t number) {
        if (next_ == end_ || next_->id != number) {
            const auto *field = protobuf_c_message_descriptor_get_field(&type_, number);
            if (field == nullptr) {
                return nullptr;
            }
            next_ = field;
        }
        return next_++;
    }

    // The one that is expected next; nullptr after the last.
    const ProtobufCFieldDescriptor *next() const { return next_ != end_ ? next_ : nullptr; }
    void pass() { ++next_; }

private:
    const ProtobufCMessageDescriptor &type_;
    const ProtobufCFieldDescriptor *next_ = type_.fields;
    const ProtobufCFieldDescriptor *const end_ = type_.fields + type_.n_fields;
};

class Decoder {
public:
    explicit Decoder(Arena &arena) : arena_(arena) {}

    ProtobufCMessage *message(const ProtobufCMessageDescriptor &type, std::string_view bytes);
    ProtobufCMessage *from_fields(const ProtobufCMessageDescriptor &type, const StoredFields &stored);

private:
    ProtobufCMessage *blank(const ProtobufCMessageDescriptor &type);
    ProtobufCMessage *end_to_end(const ProtobufCMessageDescriptor &type, const StoredFields &stored);
    ProtobufCMessage *generally(const ProtobufCMessageDescriptor &type, std::string_view bytes);
    bool one_field(ProtobufCMessage &message, const ProtobufCFieldDescriptor *field, unsigned wire_type,
                   Cursor &cursor);
    bool long_value(std::byte *member, const ProtobufCFieldDescriptor &field, std::string_view bytes);

    Arena &arena_;
    int depth_ = 0;
    bool general_ = false;  // a field came that is not plain, or a message twice
};

ProtobufCMessage *Decoder::blank(const ProtobufCMessageDescriptor &type) {
    auto *message = static_cast<ProtobufCMessage *>(arena_.allocate(type.sizeof_message));
    if (message != nullptr) {
        protobuf_c_message_init(&type, message);
    }
    return message;
}

ProtobufCMessage *Decoder::generally(const ProtobufCMessageDescriptor &type, std::string_view bytes) {
    ProtobufCAllocator allocator{
        .alloc = [](void *arena, size_t size) { return static_cast<Arena *>(arena)->allocate(size); },
        .free = [](void *, void *) {},
        .allocator_data = &arena_};
    return protobuf_c_message_unpack(&type, &allocator, bytes.size(), reinterpret_cast<const uint8_t *>(bytes.data()));
}

ProtobufCMessage *Decoder::message(const ProtobufCMessageDescriptor &type, std::string_view bytes) {
    ProtobufCMessage *message = depth_ < kDeepest ? blank(type) : nullptr;
    ++depth_;
    Fields fields(type);
    Cursor cursor(bytes);
    while (message != nullptr && !cursor.at_end()) {
        if (take_small(*message, fields.next(), cursor.rest())) {
            fields.pass();
            cursor.take(kSmallField);
            continue;
        }
        const uint64_t tag = cursor.varint<32>();
        const uint64_t number = tag >> 3;
        if (cursor.bad() || number == 0 || number > kHighestField ||
            !one_field(*message, fields.find(static_cast<uint32_t>(number)), tag & 7, cursor)) {
            message = nullptr;
        }
    }
    --depth_;
    return message == nullptr && std::exchange(general_, false) ? generally(type, bytes) : message;
}

ProtobufCMessage *Decoder::from_fields(const ProtobufCMessageDescriptor &type, const StoredFields &stored) {
    ProtobufCMessage *message = blank(type);
    if (message == nullptr) {
        return nullptr;
    }
    Fields fields(type);
    for (const StoredField &one : stored) {
        const auto *field = fields.find(one.number);
        if (one.value.size() == kSmallField && take_small(*message, field, one.value)) {
            continue;
        }
        if (one.number == 0) {
            return nullptr;
        }
        if (one.value.empty()) {
            continue;  // at its default
        }
        Cursor cursor(one.value);
        const uint64_t tag = cursor.varint<32>();
        if (cursor.bad() || tag >> 3 != one.number || !one_field(*message, field, tag & 7, cursor) ||
            !cursor.at_end()) {
            return std::exchange(general_, false) ? end_to_end(type, stored) : nullptr;
        }
    }
    return message;
}

ProtobufCMessage *Decoder::end_to_end(const ProtobufCMessageDescriptor &type, const StoredFields &stored) {
    std::string bytes;
    for (const StoredField &one : stored) {
        bytes += one.value;
    }
    return generally(type, bytes);
}

// False when the value is damaged or memory is exhausted.
bool Decoder::one_field(ProtobufCMessage &message, const ProtobufCFieldDescriptor *field, unsigned wire_type,
                        Cursor &cursor) {
    if (field == nullptr) {
        skip(cursor, wire_type);
        return !cursor.bad();
    }
    auto *member = reinterpret_cast<std::byte *>(&message) + field->offset;
    general_ = !is_plain(*field) || is_second(*field, member);
    const bool expects_number = is_number(field->type);
    if (general_ ||
        wire_type != (expects_number ? PROTOBUF_C_WIRE_TYPE_VARINT : PROTOBUF_C_WIRE_TYPE_LENGTH_PREFIXED)) {
        return false;
    }
    if (!expects_number) {
        const std::string_view bytes = cursor.length_prefixed();
        return !cursor.bad() && long_value(member, *field, bytes);
    }
    const uint64_t number = cursor.varint();
    const auto value = static_cast<uint32_t>(field->type == PROTOBUF_C_TYPE_BOOL ? (number != 0 ? 1U : 0U) : number);
    std::memcpy(member, &value, sizeof value);
    return !cursor.bad();
}

bool Decoder::long_value(std::byte *member, const ProtobufCFieldDescriptor &field, std::string_view bytes) {
    if (field.type == PROTOBUF_C_TYPE_MESSAGE) {
        const auto &type = *static_cast<const ProtobufCMessageDescriptor *>(field.descriptor);
        ProtobufCMessage *inner = message(type, bytes);
        std::memcpy(member, &inner, sizeof inner);
        return inner != nullptr;
    }
    char *text = arena_.keep(bytes);
    if (field.type == PROTOBUF_C_TYPE_BYTES) {
        const ProtobufCBinaryData data{.len = bytes.size(), .data = reinterpret_cast<uint8_t *>(text)};
        std::memcpy(member, &data, sizeof data);
    } else {
        std::memcpy(member, &text, sizeof text);
    }
    return text != nullptr;
}

}  // namespace

ProtobufCMessage *decode_message(const ProtobufCMessageDescriptor &type, std::string_view bytes, Arena &arena) {
    return Decoder(arena).message(type, bytes);
}

ProtobufCMessage *decode_fields(const ProtobufCMessageDescriptor &type, const StoredFields &fields, Arena &arena) {
    return Decoder(arena).from_fields(type, fields);
}

}  // namespace mom
