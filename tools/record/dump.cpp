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

// Text and tables begin with a key, or a type.
std::string hint_at(std::string_view text) {
    const bool is_for_readers = is_key(text.substr(0, text.find_first_of(" \n")));
    return is_for_readers ? "; it looks like a dump for readers: one by dump --output ndjson is wanted" : "";
}

Json parsed(const std::string &place, std::string_view text) {
    try {
        return Json::parse(text);
    } catch (const Json::parse_error &error) {
        fail(place, "no JSON, byte " + std::to_string(error.byte) + hint_at(text));
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

}  // namespace

std::vector<Record> parse_dump(const std::string &name, std::string_view text) {
    Reader reader;
    const size_t first = text.find_first_not_of(" \t\r\n");
    if (first != std::string_view::npos && text[first] == '[') {
        size_t number = 0;
        for (const Json &json : parsed(name, text)) {
            reader.take(name + ": record " + std::to_string(++number), json);
        }
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
