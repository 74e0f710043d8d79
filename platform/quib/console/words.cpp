#include "words.h"

namespace console {

namespace {

constexpr std::string_view kBlanks = " \t\r";

bool in_name(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9') ||
           letter == '_';
}

// How much of a word is the name of an argument with its '='. In quotes, a module would take it for a part of the
// value.
size_t length_of_name(std::string_view word) {
    size_t n = 0;
    while (n < word.size() && in_name(word[n])) {
        ++n;
    }
    return n > 0 && n < word.size() && word[n] == '=' ? n + 1 : 0;
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\') {
            result += '\\';
        }
        result += letter;
    }
    return result + '"';
}

std::string as_typed(std::string_view word) {
    if (!word.empty() && word.find_first_of(" \t\r'\"\\") == std::string_view::npos) {
        return std::string(word);
    }
    const size_t name = length_of_name(word);
    return std::string(word.substr(0, name)) + quoted(word.substr(name));
}

}  // namespace

std::string_view trimmed(std::string_view line) {
    const size_t from = line.find_first_not_of(kBlanks);
    return from == std::string_view::npos ? "" : line.substr(from, line.find_last_not_of(kBlanks) - from + 1);
}

bool ends_session(std::string_view line) { return trimmed(line) == "quit" || trimmed(line) == "exit"; }

std::string line_of(const std::vector<std::string> &words) {
    std::string line;
    for (const std::string &word : words) {
        line.append(line.empty() ? "" : " ").append(as_typed(word));
    }
    return line;
}

}  // namespace console
