#include "record/dump.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "command_line/exit_status.h"
#include "command_line/text.h"
#include "record/record_json.h"

namespace record {

using namespace command_line;

namespace {

using Json = nlohmann::ordered_json;

[[noreturn]] void fail(const std::string &place, const std::string &what) {
    throw Failure(kUnreadable, place + ": " + what);
}

// As editors count.
size_t line_of(std::string_view text, size_t at) {
    return 1 + static_cast<size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
}

// The lines on which the elements of an array begin, which is JSON.
std::vector<size_t> element_lines(std::string_view array) {
    std::vector<size_t> found;
    size_t line = 1;  // no newline stands in a string
    size_t depth = 0;
    bool is_text = false;
    bool is_next = false;
    for (size_t at = 0; at < array.size(); ++at) {
        const char each = array[at];
        if (is_text) {
            at += each == '\\' ? 1 : 0;
            is_text = each != '"';
            continue;
        }
        if (is_next && std::string_view(" \t\r\n").find(each) == std::string_view::npos) {
            found.push_back(line);
            is_next = false;
        }
        line += each == '\n' ? 1 : 0;
        is_text = each == '"';
        depth += each == '[' || each == '{' ? 1 : 0;
        depth -= each == ']' || each == '}' ? 1 : 0;
        is_next = is_next || (depth == 1 && (each == ',' || (each == '[' && found.empty())));
    }
    return found;
}

// Text and tables begin with a key, or a type.
std::string hint_at(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first != std::string_view::npos && text.find_first_not_of(" \t\r{", first) == std::string_view::npos) {
        return "; a record on each line is wanted, or an array of them: jq -c keeps a record on its line";
    }
    const bool is_for_readers = is_key(text.substr(0, text.find_first_of(" \n")));
    return is_for_readers ? "; it looks like a dump for readers: one by dump --output ndjson is wanted" : "";
}

// Of a text of several lines the place has the line, and the byte is the line's.
Json parsed(const std::string &name, std::string_view text, bool has_lines = false) {
    std::string place = name;
    try {
        return Json::parse(text);
    } catch (const Json::parse_error &error) {
        size_t byte = error.byte;
        if (has_lines) {
            const size_t at = std::min(byte - std::min<size_t>(byte, 1), text.size());
            place += ":" + std::to_string(line_of(text, at));
            byte = at - (text.substr(0, at).rfind('\n') + 1) + 1;  // npos + 1 is 0
        }
        fail(place, "no JSON, byte " + std::to_string(byte) + hint_at(text));
    } catch (const Json::out_of_range &) {
        fail(place, "a number in it is larger than any that JSON is read with");
    }
}

class Reader {
public:
    void take(const std::string &place, const Json &json) {
        Record record = read(place, json);
        const auto [before, is_new] = places_.emplace(record.key(), place);
        if (!is_new) {
            fail(place, quote(record.key()) + ": the same record as at " + before->second);
        }
        records.push_back(std::move(record));
    }

    std::vector<Record> records;

private:
    static Record read(const std::string &place, const Json &json) {
        try {
            return from_json(json);
        } catch (const Failure &failure) {
            fail(place, failure.what());
        }
    }

    std::map<std::string, std::string> places_;
};

void read_array(Reader &reader, const std::string &name, std::string_view text) {
    const bool has_lines = text.substr(0, text.find_last_not_of(" \t\r\n") + 1).find('\n') != std::string_view::npos;
    const Json array = parsed(name, text, has_lines);
    const std::vector<size_t> lines = has_lines ? element_lines(text) : std::vector<size_t>();
    for (size_t i = 0; i < array.size(); ++i) {
        const std::string line = has_lines ? ":" + std::to_string(lines[i]) : "";
        reader.take(name + line + ": record " + std::to_string(i + 1), array[i]);
    }
}

}  // namespace

std::vector<Record> parse_dump(const std::string &name, std::string_view text) {
    Reader reader;
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first != std::string_view::npos && text[first] == '[') {
        read_array(reader, name, text);
        return std::move(reader.records);
    }
    size_t number = 0;
    for (std::string_view left = text; !left.empty();) {
        const size_t end = std::min(left.find('\n'), left.size());
        const std::string_view line = left.substr(0, end);
        const std::string place = name + ":" + std::to_string(++number);
        if (line.find_first_not_of(" \t\r") != std::string_view::npos) {
            reader.take(place, parsed(place, line));
        }
        left.remove_prefix(std::min(end + 1, left.size()));
    }
    return std::move(reader.records);
}

}  // namespace record
