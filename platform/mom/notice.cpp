#include "notice.h"

#include <charconv>

namespace mom {

namespace {

// Takes what stands before the separator, and the separator, off the front.
bool take_until(std::string_view &text, char separator, std::string_view &part) {
    const size_t end = text.find(separator);
    if (end == std::string_view::npos) {
        return false;
    }
    part = text.substr(0, end);
    text.remove_prefix(end + 1);
    return true;
}

template <class Number>
bool parse(std::string_view text, Number &number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

// "5:12,6:2" over the bytes that follow.
bool read_fields(std::string_view list, std::string_view bytes, StoredFields &fields) {
    while (!list.empty()) {
        const std::string_view entry = list.substr(0, list.find(','));
        list.remove_prefix(std::min(entry.size() + 1, list.size()));
        const size_t colon = entry.find(':');
        size_t length = 0;
        if (colon == std::string_view::npos || !parse(entry.substr(colon + 1), length) || length > bytes.size()) {
            return false;
        }
        fields.push_back({.number = field_number(entry.substr(0, colon)), .value = bytes.substr(0, length)});
        bytes.remove_prefix(length);
    }
    return bytes.empty();
}

}  // namespace

std::string write_notice(int32_t cmd, std::string_view written, const StoredFields &fields) {
    std::string text = std::to_string(cmd);
    text.append(" ").append(written).append(" ");
    const char *separator = "";
    for (const StoredField &field : fields) {
        text.append(separator).append(std::to_string(field.number)).append(":");
        text.append(std::to_string(field.value.size()));
        separator = ",";
    }
    text += '\n';
    for (const StoredField &field : fields) {
        text.append(field.value);
    }
    return text;
}

std::string write_object_notice(int32_t cmd, std::string_view bytes) {
    return std::to_string(cmd).append(" - -\n").append(bytes);
}

bool read_notice(std::string_view text, Notice &notice) {
    std::string_view cmd;
    std::string_view list;
    notice.fields.clear();
    if (!take_until(text, ' ', cmd) || !parse(cmd, notice.cmd) || !take_until(text, ' ', notice.written) ||
        !take_until(text, '\n', list)) {
        return false;
    }
    notice.bytes = text;
    return list == "-" || read_fields(list, text, notice.fields);
}

bool notice_names(const Notice &notice, int32_t field) {
    std::string_view rest = notice.written;
    while (!rest.empty()) {
        const std::string_view entry = rest.substr(0, rest.find(','));
        rest.remove_prefix(std::min(entry.size() + 1, rest.size()));
        int32_t number = 0;
        if (parse(entry, number) && number == field) {
            return true;
        }
    }
    return false;
}

}  // namespace mom
