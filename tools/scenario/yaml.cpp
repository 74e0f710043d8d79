#include "scenario/yaml.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "command_line/names.h"
#include "command_line/text.h"

namespace scenario {

using namespace command_line;

namespace {

// As editors count.
[[noreturn]] void fail_at(const std::string &file, const YAML::Mark &mark, const std::string &message) {
    // A file with nothing in it has no place of its own: what is missing is missing at its beginning.
    const int line = mark.is_null() ? 1 : mark.line + 1;
    const int column = mark.is_null() ? 1 : mark.column + 1;
    throw Mistake(file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + message);
}

}  // namespace

Value Value::of_text(const std::string &text, const std::string &file) {
    try {
        return {std::make_shared<std::string>(file), YAML::Load(text)};
    } catch (const YAML::ParserException &mistake) {
        fail_at(file, mistake.mark, "not YAML: " + mistake.msg);
    } catch (const YAML::Exception &mistake) {
        fail_at(file, mistake.mark, mistake.msg);
    }
}

void Value::fail(const std::string &message) const { fail_at(*file_, node_.Mark(), message); }

void Value::expected(const std::string &what) const { fail(what + " expected, not " + shown()); }

std::string Value::shown() const {
    if (is_list()) {
        return "a list";
    }
    if (is_map()) {
        return "a map";
    }
    return is_scalar() ? command_line::shown(node_.Scalar()) : "nothing";
}

const std::string &Value::text(const char *what) const {
    if (!is_scalar()) {
        expected(what);
    }
    return node_.Scalar();
}

const std::string &Value::one_of(const std::vector<std::string> &words, const std::string &what) const {
    if (!is_scalar()) {
        expected(what);
    }
    const std::string &word = node_.Scalar();
    if (std::find(words.begin(), words.end(), word) == words.end()) {
        fail(what + " expected, not " + shown() + did_you_mean(word, words));
    }
    return word;
}

const std::string &Value::one_of(const std::vector<std::string> &words) const {
    return one_of(words, words.size() == 1 ? words.front() : "one of " + joined(words));
}

int32_t Value::integer() const {
    static constexpr char kWhat[] = "a whole number, decimal or 0x and hexadecimal,";
    std::string_view digits = text(kWhat);
    int base = 10;
    if (digits.starts_with("0x")) {
        digits.remove_prefix(2);
        base = 16;
    }
    int64_t number = 0;
    const char *end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, number, base);
    // What is hexadecimal may be the bits of a negative one: nodes are shown so.
    const int64_t most = base == 16 ? std::numeric_limits<uint32_t>::max() : std::numeric_limits<int32_t>::max();
    if (error != std::errc() || stopped != end || number > most || number < std::numeric_limits<int32_t>::min()) {
        expected(kWhat);
    }
    return static_cast<int32_t>(number);
}

int32_t Value::count() const {
    const int32_t number = integer();
    if (number < 1) {
        expected("1 or more");
    }
    return number;
}

bool Value::truth() const {
    static const std::vector<std::string> affirmative = {"yes", "true", "on"};
    static const std::vector<std::string> negative = {"no", "false", "off"};
    const std::string &word = text("yes or no");
    if (std::find(affirmative.begin(), affirmative.end(), word) != affirmative.end()) {
        return true;
    }
    if (std::find(negative.begin(), negative.end(), word) == negative.end()) {
        expected("yes or no");
    }
    return false;
}

Time Value::time() const {
    static constexpr char kWhat[] = "a time as 50ms, 2s or 1.5m";
    const std::optional<Time> time = parse_time(text(kWhat));
    if (!time) {
        expected(kWhat);
    }
    return *time;
}

std::vector<Value> Value::list() const {
    if (is_nothing()) {
        return {};
    }
    if (!is_list()) {
        expected("a list");
    }
    std::vector<Value> items;
    items.reserve(node_.size());
    for (const YAML::Node &item : node_) {
        items.emplace_back(file_, item);
    }
    return items;
}

std::vector<Value> Value::list_or_one() const { return is_list() ? list() : std::vector<Value>{*this}; }

std::vector<std::pair<Value, Value>> Value::map() const {
    if (!is_map()) {
        expected("a map");
    }
    std::vector<std::pair<Value, Value>> members;
    members.reserve(node_.size());
    for (const auto &member : node_) {
        const Value key(file_, member.first);
        const std::string &name = key.text("a name");
        const bool twice = std::any_of(members.begin(), members.end(),
                                       [&](const auto &before) { return before.first.text() == name; });
        if (twice) {
            key.fail(command_line::shown(name) + " is here a second time");
        }
        members.emplace_back(key, Value(file_, member.second));
    }
    return members;
}

Fields::Fields(const Value &map, const std::vector<std::string> &keys) : Fields(map, map.map(), keys) {}

Fields::Fields(Value whole, std::vector<std::pair<Value, Value>> members, const std::vector<std::string> &keys)
    : whole_(std::move(whole)), members_(std::move(members)) {
    for (const auto &[key, value] : members_) {
        static_cast<void>(key.one_of(keys));
    }
}

const Value *Fields::find(std::string_view key) const {
    const auto found =
        std::find_if(members_.begin(), members_.end(), [&](const auto &member) { return member.first.text() == key; });
    return found == members_.end() ? nullptr : &found->second;
}

const Value &Fields::need(const std::string &key) const {
    const Value *value = find(key);
    if (value == nullptr) {
        whole_.fail(key + " is missing");
    }
    return *value;
}

}  // namespace scenario
