#include "binding.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

#include "command_line/names.h"
#include "command_line/text.h"

namespace quib {

using command_line::shown;
using command_line::Word;

namespace {

// Decimal, or hexadecimal as programs print their bits: 0xffffffff is -1. Returns what is wrong, or nothing.
const char *read_number(std::string_view text, int32_t &number) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const std::string_view digits = hexadecimal ? text.substr(2) : text;
    uint32_t bits = 0;
    const auto [end, error] = hexadecimal ? std::from_chars(digits.begin(), digits.end(), bits, 16)
                                          : std::from_chars(digits.begin(), digits.end(), number);
    if (end != digits.end() || error == std::errc::invalid_argument) {
        return " is no number";
    }
    if (error == std::errc::result_out_of_range) {
        return hexadecimal ? " is not within 0x0 and 0xffffffff" : " is not within -2147483648 and 2147483647";
    }
    number = hexadecimal ? static_cast<int32_t>(bits) : number;
    return nullptr;
}

class Binder {
public:
    explicit Binder(const Format &format) : format_(format), given_(format.size()) {
        binding_.values.resize(format.size());
    }

    Binding run(std::span<const Word> words) {
        std::vector<std::string_view> in_order;
        for (const Word &word : words) {
            const auto name = name_in(word);
            if (!name) {
                in_order.push_back(word.text);
            } else {
                give_by_name(*name, std::string_view(word.text).substr(name->size() + 1));
            }
        }
        for (const std::string_view value : in_order) {
            give_next(value);
        }
        for (size_t i = 0; i < format_.size(); ++i) {
            if (!given_[i]) {
                fail(label(i) + " is missing");
            }
        }
        return std::move(binding_);
    }

private:
    // The part before the '=' in a word, if it can be meant as a name. A URL such as /a?b=c, or anything in quotes,
    // can't.
    std::optional<std::string_view> name_in(const Word &word) const {
        const size_t equals = word.text.find('=');
        const bool any_named = std::ranges::any_of(format_, [](const Argument &each) { return !each.name.empty(); });
        if (!any_named || equals >= word.bare) {
            return std::nullopt;
        }
        const std::string_view name = std::string_view(word.text).substr(0, equals);
        return command_line::is_argument_name(name) ? std::optional(name) : std::nullopt;
    }

    void give_by_name(std::string_view name, std::string_view value) {
        const auto argument = std::ranges::find(format_, name, &Argument::name);
        if (argument == format_.end()) {
            fail("there is no argument " + shown(name) + command_line::did_you_mean(name, names()));
            return;
        }
        const auto i = static_cast<size_t>(argument - format_.begin());
        if (given_[i]) {
            fail(label(i) + " is given twice");
            return;
        }
        give(i, value);
    }

    void give_next(std::string_view value) {
        const auto free = std::ranges::find(given_, false);
        if (free == given_.end()) {
            fail(shown(value) + " is one argument too many");
            return;
        }
        give(static_cast<size_t>(free - given_.begin()), value);
    }

    void give(size_t i, std::string_view text) {
        given_[i] = true;
        Value &value = binding_.values[i];
        value.kind = format_[i].kind;
        if (value.kind == Argument::Kind::kText) {
            value.text = text;
            return;
        }
        if (const char *wrong = read_number(text, value.number)) {
            fail(label(i) + ": " + shown(text) + wrong);
        }
    }

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const Argument &argument : format_) {
            if (!argument.name.empty()) {
                all.push_back(argument.name);
            }
        }
        return all;
    }

    std::string label(size_t i) const {
        return !format_[i].name.empty() ? format_[i].name : "argument " + std::to_string(i + 1);
    }

    // The first thing that is wrong is told.
    void fail(std::string error) {
        if (binding_.error.empty()) {
            binding_.error = std::move(error);
        }
    }

    const Format &format_;
    std::vector<bool> given_;
    Binding binding_;
};

}  // namespace

Binding bind(const Format &format, std::span<const Word> words) { return Binder(format).run(words); }

}  // namespace quib
