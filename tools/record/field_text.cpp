#include "record/field_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <span>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"

namespace record {

using namespace command_line;

namespace {

[[noreturn]] void refuse(std::string_view what, const std::string &expected, std::string_view text) {
    throw Failure(kUsage, std::string(what) + ": " + expected + " expected, not " + quote(text));
}

std::span<const ProtobufCEnumValue> values_of(const ProtobufCFieldDescriptor &field) {
    const auto *type = static_cast<const ProtobufCEnumDescriptor *>(field.descriptor);
    return {type->values, type->n_values};
}

bool parse_bool(std::string_view what, std::string_view text) {
    if (text == "1" || text == "true") {
        return true;
    }
    if (text == "0" || text == "false") {
        return false;
    }
    refuse(what, "0, 1, false or true", text);
}

template <class Number>
bool parse_all(std::string_view digits, int base, Number &number) {
    const char *end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, number, base);
    return error == std::errc() && stopped == end;
}

int32_t parse_enum(const ProtobufCFieldDescriptor &field, std::string_view what, std::string_view text) {
    const auto values = values_of(field);
    const auto named = std::find_if(values.begin(), values.end(), [&](const auto &each) { return text == each.name; });
    if (named != values.end()) {
        return named->value;
    }
    int32_t number = 0;
    if (!parse_all(text, 10, number)) {
        refuse(what, joined(enum_names(field)) + " or a number", text);
    }
    return number;
}

}  // namespace

int32_t parse_number(std::string_view what, std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        uint32_t bits = 0;
        if (parse_all(text.substr(2), 16, bits)) {
            return static_cast<int32_t>(bits);
        }
    }
    int32_t number = 0;
    if (!parse_all(text, 10, number)) {
        refuse(what, "a whole number from -2147483648 to 2147483647, or 0x and up to 8 hexadecimal digits", text);
    }
    return number;
}

std::string parse_hex(std::string_view what, std::string_view text) {
    std::string bytes;
    uint8_t byte = 0;
    for (std::string_view left = text; !left.empty(); left.remove_prefix(2)) {
        if (left.size() < 2 || !parse_all(left.substr(0, 2), 16, byte)) {
            refuse(what, "pairs of hexadecimal digits", text);
        }
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

Value parse_value(const ProtobufCFieldDescriptor &field, std::string_view what, std::string_view text) {
    switch (field.type) {
        case PROTOBUF_C_TYPE_BOOL:
            return parse_bool(what, text);
        case PROTOBUF_C_TYPE_ENUM:
            return parse_enum(field, what, text);
        case PROTOBUF_C_TYPE_STRING:
            if (text.find('\0') != std::string_view::npos) {
                refuse(what, "text without a NUL byte", text);
            }
            return std::string(text);
        case PROTOBUF_C_TYPE_BYTES:
            return parse_hex(what, text);
        default:
            return parse_number(what, text);
    }
}

std::string value_text(const ProtobufCFieldDescriptor &field, const Value &value) {
    if (const bool *flag = std::get_if<bool>(&value)) {
        return *flag ? "1" : "0";
    }
    if (const auto *text = std::get_if<std::string>(&value)) {
        return field.type == PROTOBUF_C_TYPE_BYTES ? hex(*text) : quote(*text);
    }
    const int32_t number = std::get<int32_t>(value);
    const char *name = field.type == PROTOBUF_C_TYPE_ENUM ? enum_name(field, number) : nullptr;
    return name == nullptr ? std::to_string(number) : name;
}

const char *enum_name(const ProtobufCFieldDescriptor &field, int32_t number) {
    const auto values = values_of(field);
    const auto value =
        std::find_if(values.begin(), values.end(), [&](const auto &each) { return each.value == number; });
    return value == values.end() ? nullptr : value->name;
}

std::vector<std::string> enum_names(const ProtobufCFieldDescriptor &field) {
    std::vector<std::string> names;
    const auto values = values_of(field);
    std::transform(values.begin(), values.end(), std::back_inserter(names), [](const auto &each) { return each.name; });
    return names;
}

}  // namespace record
