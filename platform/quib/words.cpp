#include "words.h"

#include <utility>

namespace quib {

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

}  // namespace

Split split(std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
        return {.words = {}, .error = "the line holds a NUL byte"};
    }
    return Splitter(line).run();
}

std::string shown(std::string_view word) {
    constexpr size_t kLongest = 60;
    std::string text = "\"";
    for (const char c : word.substr(0, kLongest)) {
        const auto byte = static_cast<unsigned char>(c);
        text += byte < ' ' || byte == 0x7f ? '?' : c;
    }
    return text + (word.size() > kLongest ? "...\"" : "\"");
}

}  // namespace quib
