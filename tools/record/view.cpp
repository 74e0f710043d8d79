#include "record/view.h"

#include <array>
#include <string_view>
#include <variant>

namespace record {

namespace {

void append_text(std::string &key, ValueView value) {
    if (const auto *text = std::get_if<std::string_view>(&value)) {
        key += *text;
    } else {
        key += std::to_string(std::get<int32_t>(value));
    }
}

// A string is the last of an index, so that it needs no end.
void append_value(std::string &order, ValueView value) {
    if (const auto *text = std::get_if<std::string_view>(&value)) {
        order += *text;
        return;
    }
    constexpr uint32_t kSign = 0x80000000U;  // turned round, so that negative numbers come first
    const uint32_t number = static_cast<uint32_t>(std::get<int32_t>(value)) ^ kSign;
    for (unsigned shift : std::array{24U, 16U, 8U, 0U}) {
        order += static_cast<char>(number >> shift & 0xFFU);
    }
}

}  // namespace

View View::whole(const ProtobufCMessage &message) {
    View view(type_of(*message.descriptor), message, {});
    view.is_whole_ = true;
    return view;
}

std::string View::key() const {
    std::string key(type_->name());
    const ProtobufCMessage *its_index = index();
    for (const ProtobufCFieldDescriptor &field : type_->index_fields()) {
        key += ':';
        append_text(key, view_of(*its_index, field));
    }
    return key;
}

void append_order(std::string &order, const View &record) {
    const ProtobufCMessage *index = record.index();
    for (const ProtobufCFieldDescriptor &field : record.type().index_fields()) {
        append_value(order, view_of(*index, field));
    }
}

Place place_of(const View &record) {
    Place place(&record.type(), {});  // types are of one array
    append_order(place.second, record);
    return place;
}

bool precedes(const View &a, const View &b) { return place_of(a) < place_of(b); }

}  // namespace record
