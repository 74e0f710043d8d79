#include "command_line/text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "base/utf8.h"

namespace command_line {

namespace {

std::string escaped(char byte) {
    switch (byte) {
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        default:
            return "\\x" + hex({&byte, 1});
    }
}

bool is_special_in_quotes(std::string_view sequence) {
    return base::is_control(sequence) || sequence == "\"" || sequence == "\\";
}

bool is_special_in_lines(std::string_view sequence) { return base::is_control(sequence) && sequence != "\n"; }

std::string escape(std::string_view bytes, bool (*is_special)(std::string_view sequence)) {
    std::string text;
    while (!bytes.empty()) {
        const size_t well_formed = base::sequence_length(bytes);
        const std::string_view sequence = bytes.substr(0, well_formed == 0 ? 1 : well_formed);
        if (well_formed != 0 && !is_special(sequence)) {
            text += sequence;
        } else {
            for (const char byte : sequence) {
                text += escaped(byte);
            }
        }
        bytes.remove_prefix(sequence.size());
    }
    return text;
}

struct Range {
    uint32_t first;
    uint32_t last;
};

constexpr Range kUponAnother[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},   {0x610, 0x61A},
                                  {0x64B, 0x65F},   {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F},
                                  {0x20D0, 0x20F0}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xE0100, 0xE01EF}};
constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},  {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},
                           {0xA960, 0xA97C},   {0xAC00, 0xD7A3},  {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},
                           {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF},
                           {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <class Ranges>
bool has(const Ranges &ranges, uint32_t code_point) {
    return std::any_of(std::begin(ranges), std::end(ranges), [code_point](const Range &range) {
        return code_point >= range.first && code_point <= range.last;
    });
}

size_t columns_of_sequence(std::string_view sequence) {
    const uint32_t code_point = base::code_point_of(sequence);
    return has(kUponAnother, code_point) ? 0 : (has(kWide, code_point) ? 2 : 1);
}

}  // namespace

std::string quote(std::string_view bytes) { return '"' + escape(bytes, is_special_in_quotes) + '"'; }

std::string printable(std::string_view text) { return escape(text, is_special_in_lines); }

std::string on_one_line(std::string_view text) { return escape(text, base::is_control); }

std::string masked(std::string_view text) {
    std::string result(text);
    std::ranges::replace_if(
        result, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return result;
}

std::string shown(std::string_view word) {
    constexpr size_t kLongest = 60;
    return '"' + masked(word.substr(0, kLongest)) + (word.size() > kLongest ? "...\"" : "\"");
}

size_t columns_of(std::string_view text) {
    size_t columns = 0;
    while (!text.empty()) {
        const size_t well_formed = base::sequence_length(text);
        columns += well_formed < 2 ? 1 : columns_of_sequence(text.substr(0, well_formed));
        text.remove_prefix(std::max<size_t>(well_formed, 1));
    }
    return columns;
}

std::string table(const std::vector<Row> &rows) {
    std::vector<size_t> widths;
    for (const Row &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        std::ranges::transform(row, widths, widths.begin(),
                               [](const std::string &cell, size_t width) { return std::max(columns_of(cell), width); });
    }
    std::string text;
    for (const Row &row : rows) {
        std::string line;
        size_t column = 0;
        for (size_t i = 0; i < row.size(); column += widths[i++]) {
            line.append(column - std::min(columns_of(line), column), ' ');
            line += row[i];
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

std::string hex(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string digits;
    for (const char byte : bytes) {
        digits += kDigits[static_cast<unsigned char>(byte) >> 4U];
        digits += kDigits[static_cast<unsigned char>(byte) & 0xFU];
    }
    return digits;
}

}  // namespace command_line
