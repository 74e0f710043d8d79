#include "command_line/text.h"

#include <algorithm>

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

std::string table(const std::vector<Row> &rows) {
    std::vector<size_t> widths;
    for (const Row &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        std::ranges::transform(row, widths, widths.begin(),
                               [](const std::string &cell, size_t width) { return std::max(cell.size(), width); });
    }
    std::string text;
    for (const Row &row : rows) {
        std::string line;
        size_t column = 0;
        for (size_t i = 0; i < row.size(); column += widths[i++]) {
            line.resize(column, ' ');
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
