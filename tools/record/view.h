// A record that somebody else keeps: a Record, or the client, for as long as its callback takes.
#pragma once

#include <cstdint>
#include <protobuf-c/protobuf-c.h>
#include <span>
#include <string>
#include <utility>

#include "record/message.h"
#include "record/record_type.h"

namespace record {

class View {
public:
    // The index is there: no client shows a record without. The fields that are there ascend; numbers that the type
    // does not have count for nothing, nor does the index's.
    View(const RecordType &type, const ProtobufCMessage &message, std::span<const int32_t> fields)
        : type_(&type), message_(&message), fields_(fields) {}
    // With all fields of its type.
    static View whole(const ProtobufCMessage &message);

    const RecordType &type() const { return *type_; }
    const ProtobufCMessage &message() const { return *message_; }
    // What addresses it; nullptr for a single object.
    const ProtobufCMessage *index() const {
        const ProtobufCFieldDescriptor *field = type_->index();
        return field == nullptr ? nullptr : message_in(*message_, *field);
    }

    // As it is addressed on a command line: cap_fe_ready:3:16, cap_table:/l3/arp, cap_glb_state.
    std::string key() const;

    // Calls back for each field that is there, ascending, without the index's.
    template <class Visit>
    void each_field(Visit visit) const {
        auto number = fields_.begin();
        const ProtobufCFieldDescriptor *index = type_->index();
        for (const ProtobufCFieldDescriptor &field : type_->fields()) {
            const auto its_number = static_cast<int32_t>(field.id);
            while (number != fields_.end() && *number < its_number) {
                ++number;
            }
            const bool is_there = is_whole_ || (number != fields_.end() && *number == its_number);
            if (is_there && &field != index) {
                visit(field);
            }
        }
    }

private:
    const RecordType *type_;
    const ProtobufCMessage *message_;
    std::span<const int32_t> fields_;
    bool is_whole_ = false;
};

// Where a record stands among others: by its type and, within that, by the values of its index, nodes by their numbers.
using Place = std::pair<const RecordType *, std::string>;
Place place_of(const View &record);
bool precedes(const View &a, const View &b);

// The second half of a place: bytes that stand in the order of the values.
void append_order(std::string &order, const View &record);

}  // namespace record
