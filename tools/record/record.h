// One record: a message of its type, and which of its fields are there.
#pragma once

#include <cstdint>
#include <protobuf-c/protobuf-c.h>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "record/message.h"
#include "record/record_type.h"
#include "record/view.h"

namespace record {

class Record {
public:
    // Its index is all defaults, and no field is there.
    explicit Record(const RecordType &type);
    // A copy.
    explicit Record(const View &view);
    Record(const Record &other);
    Record &operator=(const Record &other);
    Record(Record &&) = default;
    Record &operator=(Record &&) = default;
    ~Record() = default;

    const RecordType &type() const { return *type_; }
    const ProtobufCMessage &message() const { return *message_; }
    // The message as the struct that is generated for its type.
    template <class T>
    const T &as() const {
        return *reinterpret_cast<const T *>(message_.get());
    }

    operator View() const { return {*type_, *message_, fields_}; }

    // The numbers of the fields that are there, ascending, without the index's.
    std::span<const int32_t> fields() const { return fields_; }
    bool has(int32_t field) const;

    std::string key() const { return View(*this).key(); }

    // A field by its name, one of a message within by both: ready, static_info.node_type, index.slotid. A field that is
    // set is there. Throw a usage failure when the type has no such field, or the value is not of its kind.
    Value get(std::string_view path) const;
    void set(std::string_view path, const Value &value);
    // From text: 0, 1, true, false; numbers in decimal or hexadecimal; enumerations by name or number; bytes in
    // hexadecimal.
    void set_text(std::string_view path, std::string_view text);
    // A field that holds a message is there: with one, that it has or all of whose fields are at their defaults, or
    // without.
    void set_message(std::string_view path, bool with);

    // What they hold, and which fields are there.
    friend bool operator==(const Record &a, const Record &b);

private:
    void mark(const ProtobufCFieldDescriptor &field);

    const RecordType *type_;
    Message message_;
    std::vector<int32_t> fields_;
};

// The record that a key addresses, without a field. Throws a usage failure that says what is expected.
Record record_at(std::string_view key);
// Whether a word is a key, or begins as one does: a type's name, and ':' or nothing after it.
bool is_key(std::string_view word);

// The field that a path names, which holds a value. Throws a usage failure when there is none.
const ProtobufCFieldDescriptor &value_field(const RecordType &type, std::string_view path);

// The numbers of the fields in which two records of one type differ, ascending: one has it and the other has not, or
// the values are not the same.
std::vector<int32_t> differing_fields(const Record &a, const Record &b);

}  // namespace record
