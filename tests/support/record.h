// Records as values: built by field number, copied deeply, compared and printed by their descriptors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include <protobuf-c/protobuf-c.h>

namespace test_support {

// A field by its number, with its value. nullptr makes a string NULL, which no encoding can carry but a client could
// hand over.
struct Field {
    uint32_t number;
    std::variant<int32_t, std::string, std::nullptr_t> value;

    // Out of line for the sake of the time that the tests take to compile.
    Field(uint32_t its_number, int32_t its_value);
    Field(uint32_t its_number, const std::string &its_value);
    Field(uint32_t its_number, std::nullptr_t);
    Field(const Field &);
    Field &operator=(const Field &);
    ~Field();
};
using Fields = std::vector<Field>;

class Record {
public:
    // No record at all: prints as NULL.
    Record() = default;

    // A copy of everything `message` points to; NULL is no record.
    explicit Record(const ProtobufCMessage *message);

    static Record of(const ProtobufCMessageDescriptor &type, const Fields &fields = {});

    // This record with a sub-message, which is itself given by its fields. The index is field 5 in every type.
    Record with_message(uint32_t number, const Fields &fields) const;
    Record with_index(const Fields &fields) const { return with_message(5, fields); }

    // For protobuf_c_message_free_unpacked(). Values that no encoding can carry (a boolean 5) survive.
    ProtobufCMessage *copy() const;

    const ProtobufCMessage *get() const { return message_.get(); }

    bool operator==(const Record &other) const;
    friend std::ostream &operator<<(std::ostream &out, const Record &record);

private:
    std::shared_ptr<const ProtobufCMessage> message_;
};

}  // namespace test_support
