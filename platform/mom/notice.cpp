#include "notice.h"

#include <cstring>

namespace mom {

namespace {

// Copied as they lie in memory, here and in the decoding of fixed numbers.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

void append(std::string &text, size_t number) {
    const auto value = static_cast<uint32_t>(number);
    text.append(reinterpret_cast<const char *>(&value), sizeof value);
}

// Takes count numbers off the front; nullptr when there are not so many.
const char *take(std::string_view &text, uint64_t count) {
    const uint64_t size = count * sizeof(uint32_t);
    if (size > text.size()) {
        return nullptr;
    }
    const char *numbers = text.data();
    text.remove_prefix(static_cast<size_t>(size));
    return numbers;
}

uint32_t at(const char *numbers, size_t place) {
    uint32_t number = 0;
    std::memcpy(&number, numbers + place * sizeof number, sizeof number);
    return number;
}

}  // namespace

std::string write_notice(int32_t cmd, std::span<const int32_t> written, const StoredFields &fields) {
    std::string text;
    append(text, static_cast<uint32_t>(cmd));
    append(text, written.size());
    append(text, fields.size());
    for (const int32_t number : written) {
        append(text, static_cast<uint32_t>(number));
    }
    for (const StoredField &field : fields) {
        append(text, field.number);
        append(text, field.value.size());
    }
    for (const StoredField &field : fields) {
        text.append(field.value);
    }
    return text;
}

std::string write_object_notice(int32_t cmd, std::string_view bytes) { return write_notice(cmd, {}, {}).append(bytes); }

bool read_notice(std::string_view text, Notice &notice) {
    constexpr size_t kHead = 3;
    const char *head = take(text, kHead);
    const char *written = head ? take(text, at(head, 1)) : nullptr;
    const char *fields = written ? take(text, uint64_t{2} * at(head, 2)) : nullptr;
    if (!fields) {
        return false;
    }
    notice.cmd = static_cast<int32_t>(at(head, 0));
    notice.written.resize(at(head, 1));
    if (!notice.written.empty()) {
        std::memcpy(notice.written.data(), written, notice.written.size() * sizeof(int32_t));
    }
    notice.bytes = text;
    notice.fields.resize(at(head, 2));
    for (StoredField &field : notice.fields) {
        const uint32_t length = at(fields, 1);
        if (length > text.size()) {
            return false;
        }
        field = {.number = at(fields, 0), .value = text.substr(0, length)};
        text.remove_prefix(length);
        fields += 2 * sizeof(uint32_t);
    }
    return notice.fields.empty() || text.empty();
}

}  // namespace mom
