#include "format.h"

#include <algorithm>

#include "command_line/words.h"

namespace quib {

namespace {

constexpr std::string_view kNoArguments = "void";

std::optional<Argument> parse_argument(std::string_view word) {
    const size_t equals = word.find('=');
    const bool named = equals != std::string_view::npos;
    const std::string_view name = named ? word.substr(0, equals) : std::string_view();
    const std::string_view conversion = named ? word.substr(equals + 1) : word;
    if (named && !command_line::is_argument_name(name)) {
        return std::nullopt;
    }
    if (conversion != "%d" && conversion != "%s") {
        return std::nullopt;
    }
    return Argument{.name = std::string(name),
                    .kind = conversion == "%d" ? Argument::Kind::kNumber : Argument::Kind::kText};
}

}  // namespace

std::optional<Format> parse_format(std::string_view text) {
    Format format;
    if (text == kNoArguments) {
        return format;
    }
    for (bool more = true; more;) {
        const size_t blank = text.find(' ');
        more = blank != std::string_view::npos;
        const auto argument = parse_argument(text.substr(0, blank));
        const auto same_name = [&](const Argument &other) { return other.name == argument->name; };
        if (!argument || (!argument->name.empty() && std::ranges::any_of(format, same_name))) {
            return std::nullopt;
        }
        format.push_back(*argument);
        text.remove_prefix(more ? blank + 1 : 0);
    }
    return format;
}

std::string describe(const Format &format) {
    std::string text;
    for (const Argument &argument : format) {
        text += ' ';
        if (!argument.name.empty()) {
            text += argument.name + '=';
        }
        text += argument.kind == Argument::Kind::kNumber ? "NUMBER" : "TEXT";
    }
    return text;
}

}  // namespace quib
