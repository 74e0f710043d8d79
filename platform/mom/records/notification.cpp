#include "records/notification.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "records/key.h"

namespace mom {

namespace {

// Copied as they lie in memory, here and in the decoding of fixed numbers.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

enum class Form : uint32_t { kBytes, kFields };

struct Head {
    int32_t cmd;
    Form form;
    uint32_t n_written;
};

void append_head(std::string &text, int32_t cmd, Form form, std::span<const int32_t> written) {
    const Head head{.cmd = cmd, .form = form, .n_written = static_cast<uint32_t>(written.size())};
    text.reserve(text.size() + sizeof head + written.size_bytes());
    text.append(reinterpret_cast<const char *>(&head), sizeof head);
    text.append(reinterpret_cast<const char *>(written.data()), written.size_bytes());
}

// MessagePack, as far as it is used here. A kind of value has a byte for each width of its length, which follows with
// its highest byte first; a short length is part of the byte.
struct Kind {
    uint8_t of_short;
    uint8_t longest_short;
    uint8_t of_8_bits;  // 0: there is none
    uint8_t of_16_bits;
    uint8_t of_32_bits;
};

constexpr Kind kArray{.of_short = 0x90, .longest_short = 15, .of_8_bits = 0, .of_16_bits = 0xDC, .of_32_bits = 0xDD};
constexpr Kind kText{.of_short = 0xA0, .longest_short = 31, .of_8_bits = 0xD9, .of_16_bits = 0xDA, .of_32_bits = 0xDB};

void append_length(std::string &text, const Kind &kind, size_t length) {
    if (length <= kind.longest_short) {
        text += static_cast<char>(kind.of_short | length);
        return;
    }
    const unsigned width = length <= UINT8_MAX && kind.of_8_bits != 0 ? 1 : length <= UINT16_MAX ? 2 : 4;
    text += static_cast<char>(width == 1 ? kind.of_8_bits : width == 2 ? kind.of_16_bits : kind.of_32_bits);
    for (unsigned bits = width * 8; bits > 0; bits -= 8) {
        text += static_cast<char>(length >> (bits - 8));
    }
}

void append_text(std::string &text, std::string_view value) {
    append_length(text, kText, value.size());
    text.append(value);
}

// Readers take something off the front of the bytes, and return where the rest begins; nullptr when there is none. The
// bytes are two pointers, which stay in registers: a notification is read in a few dozen nanoseconds.

const char *read_length(const char *at, const char *end, const Kind &kind, size_t &length) {
    if (at == nullptr || at == end) {
        return nullptr;
    }
    const auto first = static_cast<uint8_t>(*at++);
    length = first ^ kind.of_short;
    if (length <= kind.longest_short) {
        return at;
    }
    const bool is_8_bits = first == kind.of_8_bits && kind.of_8_bits != 0;
    const int width = is_8_bits ? 1 : first == kind.of_16_bits ? 2 : first == kind.of_32_bits ? 4 : 0;
    if (width == 0 || end - at < width) {
        return nullptr;
    }
    length = 0;
    for (const char *after = at + width; at != after; ++at) {
        length = length << 8 | static_cast<uint8_t>(*at);
    }
    return at;
}

const char *read_text(const char *at, const char *end, std::string_view &text) {
    size_t length = 0;
    at = read_length(at, end, kText, length);
    if (at == nullptr || length > static_cast<size_t>(end - at)) {
        return nullptr;
    }
    text = {at, length};
    return at + length;
}

constexpr char short_text(size_t length) { return static_cast<char>(kText.of_short | length); }

// Reads what most fields are: a number of so many digits, and a short value. The two numbers of digits have a branch
// each, which the processor predicts, so that it need not wait for one field to know where the next begins.
template <int kDigits>
const char *read_small_field(const char *at, const char *end, StoredField &field) {
    constexpr int kHead = kDigits + 2;
    if (end - at < kHead || *at != short_text(kDigits)) {
        return nullptr;
    }
    uint32_t number = 0;
    for (int i = 1; i <= kDigits; ++i) {
        const uint32_t digit = static_cast<uint8_t>(at[i]) - uint32_t{'0'};
        if (digit > 9) {
            return nullptr;
        }
        number = number * 10 + digit;
    }
    const auto length = static_cast<uint8_t>(at[kHead - 1] ^ short_text(0));
    if (length > kText.longest_short || length > end - at - kHead) {
        return nullptr;
    }
    field.number = number;
    field.value = {at + kHead, length};
    return at + kHead + length;
}

const char *read_any_field(const char *at, const char *end, StoredField &field) {
    std::string_view name;
    at = read_text(read_text(at, end, name), end, field.value);
    field.number = field_number(name);
    return at;
}

// Reads all of the text; false when it is anything but fields.
bool read_fields(std::string_view text, StoredFields &fields) {
    const char *const end = text.data() + text.size();
    size_t n_strings = 0;
    const char *at = read_length(text.data(), end, kArray, n_strings);
    if (at == nullptr || n_strings % 2 != 0 || n_strings > text.size()) {
        return false;
    }
    fields.resize(n_strings / 2);
    for (StoredField &field : fields) {
        const char *next = read_small_field<1>(at, end, field);
        next = next != nullptr ? next : read_small_field<2>(at, end, field);
        at = next != nullptr ? next : read_any_field(at, end, field);
        if (at == nullptr) {
            return false;
        }
    }
    return at == end;
}

}  // namespace

void append_hash_head(std::string &text, int32_t cmd, std::span<const int32_t> written) {
    append_head(text, cmd, Form::kFields, written);
}

void append_object_head(std::string &text, int32_t cmd) { append_head(text, cmd, Form::kBytes, {}); }

std::string_view index_in(const StoredFields &fields) {
    const auto index = std::ranges::find(fields, kIndexField, &StoredField::number);
    return index == fields.end() ? std::string_view() : index->value;
}

std::string_view append_fields(std::string &text, const StoredFields &fields) {
    size_t index_at = 0;
    size_t index_size = 0;
    append_length(text, kArray, 2 * fields.size());
    for (const StoredField &field : fields) {
        append_text(text, std::to_string(field.number));
        append_text(text, field.value);
        if (field.number == kIndexField) {
            index_size = field.value.size();
            index_at = text.size() - index_size;
        }
    }
    return std::string_view(text).substr(index_at, index_size);
}

std::string encode_notification(int32_t cmd, std::span<const int32_t> written, const StoredFields &fields) {
    std::string text;
    append_hash_head(text, cmd, written);
    append_fields(text, fields);
    return text;
}

std::string encode_object_notification(int32_t cmd, std::string_view bytes) {
    std::string text;
    append_object_head(text, cmd);
    return text.append(bytes);
}

bool decode_notification(std::string_view text, Notification &notification) {
    Head head{};
    if (text.size() < sizeof head) {
        return false;
    }
    std::memcpy(&head, text.data(), sizeof head);
    text.remove_prefix(sizeof head);
    if (text.size() / sizeof(int32_t) < head.n_written || head.form > Form::kFields) {
        return false;
    }
    notification.cmd = head.cmd;
    notification.written.resize(head.n_written);
    const size_t written_size = head.n_written * sizeof(int32_t);
    if (written_size > 0) {
        std::memcpy(notification.written.data(), text.data(), written_size);
    }
    return read_stored(head.form == Form::kFields, text.substr(written_size), notification);
}

bool is_same_record(std::string_view one, std::string_view other) {
    if (one.size() != other.size() || one == other) {
        return one == other;
    }
    StoredFields fields;
    StoredFields others;
    if (!read_fields(one, fields) || !read_fields(other, others)) {
        return false;
    }
    std::ranges::sort(fields, {}, &StoredField::number);
    std::ranges::sort(others, {}, &StoredField::number);
    return std::ranges::equal(fields, others, [](const StoredField &a, const StoredField &b) {
        return a.number == b.number && a.value == b.value;
    });
}

bool read_stored(bool is_hash, std::string_view bytes, Notification &notification) {
    notification.bytes = bytes;
    if (is_hash) {
        return read_fields(bytes, notification.fields);
    }
    notification.fields.clear();
    return true;
}

}  // namespace mom
