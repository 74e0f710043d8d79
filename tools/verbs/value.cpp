#include "verbs/value.h"

#include <algorithm>
#include <charconv>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"

namespace capctl {

using namespace command_line;

namespace {

[[noreturn]] void refuse(const std::string &argument, const std::string &expected, const std::string &text) {
    throw Failure(kUsage, argument + ": " + expected + " expected, not " + quote(text));
}

}  // namespace

bool parse_bool(const std::string &argument, const std::string &text) {
    if (text != "0" && text != "1") {
        refuse(argument, "0 or 1", text);
    }
    return text == "1";
}

int32_t parse_int32(const std::string &argument, const std::string &text) {
    int32_t value = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stopped != end) {
        refuse(argument, "a whole number from -2147483648 to 2147483647", text);
    }
    return value;
}

void check_choice(const std::string &word, const std::vector<std::string> &choices) {
    if (std::find(choices.begin(), choices.end(), word) == choices.end()) {
        throw Failure(kUsage, alternatives(choices) + " expected, not " + quote(word) + did_you_mean(word, choices));
    }
}

bool parse_ready(const std::string &text) {
    check_choice(text, {"ready", "unready"});
    return text == "ready";
}

bool parse_switch(const std::string &argument, const std::string &text) {
    if (text != "on" && text != "off") {
        refuse(argument, "on or off", text);
    }
    return text == "on";
}

void check_not_empty(const std::string &url) {
    if (url.empty()) {
        throw Failure(kUsage, "URL: a capability's address expected, not " + quote(url));
    }
}

}  // namespace capctl
