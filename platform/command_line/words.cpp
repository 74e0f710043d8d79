#include "command_line/words.h"

#include <algorithm>
#include <utility>

namespace command_line {

namespace {

class Splitter {
public:
    explicit Splitter(std::string_view line) : line_(line) {}

    Split run() {
        for (; at_ < line_.size() && split_.error.empty(); ++at_) {
            take(line_[at_]);
        }
        if (split_.error.empty() && quote_ != '\0') {
            split_.error = std::string("a ") + quote_ + " is not closed";
        }
        split_.in_word = in_word_;
        end_word();
        return std::move(split_);
    }

private:
    void take(char c) {
        if (c == quote_) {
            quote_ = '\0';
        } else if (c == '\\' && quote_ != '\'') {
            take_escaped();
        } else if (quote_ != '\0') {
            put(c, false);
        } else if (c == '\'' || c == '"') {
            quote_ = c;
            begin_special();
        } else if (c == ' ' || c == '\t') {
            end_word();
        } else {
            put(c, true);
        }
    }

    void take_escaped() {
        if (++at_ == line_.size()) {
            split_.error = "nothing follows the backslash";
            return;
        }
        put(line_[at_], false);
    }

    void put(char c, bool bare) {
        if (!bare) {
            begin_special();
        }
        in_word_ = true;
        word_.text += c;
        word_.bare += all_bare_ ? 1 : 0;
    }

    void begin_special() {
        in_word_ = true;
        all_bare_ = false;
    }

    void end_word() {
        if (in_word_) {
            split_.words.push_back(std::exchange(word_, {}));
        }
        in_word_ = false;
        all_bare_ = true;
    }

    std::string_view line_;
    size_t at_ = 0;
    char quote_ = '\0';  // the quote that is open
    bool in_word_ = false;
    bool all_bare_ = true;
    Word word_;
    Split split_;
};

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        result += c;
    }
    return result + '"';
}

// The name of an argument and its '=' stay outside of the quotes: inside, they would be a part of the value.
std::string as_typed(std::string_view word) {
    if (!word.empty() && word.find_first_of(" \t\r'\"\\") == std::string_view::npos) {
        return std::string(word);
    }
    const size_t equals = word.find('=');
    const bool named = equals != std::string_view::npos && is_argument_name(word.substr(0, equals));
    const size_t bare = named ? equals + 1 : 0;
    return std::string(word.substr(0, bare)) + quoted(word.substr(bare));
}

}  // namespace

Split split(std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
        return {.words = {}, .error = "the line holds a NUL byte"};
    }
    return Splitter(line).run();
}

std::string join(const std::vector<std::string> &words) {
    std::string line;
    for (const std::string &word : words) {
        line.append(line.empty() ? "" : " ").append(as_typed(word));
    }
    return line;
}

std::string_view trimmed(std::string_view line) {
    constexpr std::string_view kBlanks = " \t\r";
    const size_t from = line.find_first_not_of(kBlanks);
    return from == std::string_view::npos ? "" : line.substr(from, line.find_last_not_of(kBlanks) - from + 1);
}

bool is_argument_name(std::string_view text) {
    const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    return !text.empty() && !is_digit(text.front()) &&
           std::ranges::all_of(text, [&](char c) { return is_letter(c) || is_digit(c); });
}

}  // namespace command_line
