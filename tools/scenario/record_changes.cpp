#include "scenario/record_changes.h"

#include <trel_cap/status.h>

#include <charconv>
#include <nlohmann/json.hpp>
#include <string_view>

#include "chassis/capability.h"
#include "record/record_json.h"

namespace scenario {

namespace {

using record::Record;
using Json = nlohmann::ordered_json;

struct ValueField {
    const char *option;
    const char *field;
};

constexpr ValueField kValueFields[] = {
    {"bool", "bool_value"}, {"int", "int32_value"}, {"str", "str_value"}, {"pri", "pri"}, {"state", "state"},
};

// Whose capability it is; the device's without a scope.
Record capability_at(const Fields &step, const Cards &cards) {
    const Value *card_class = step.find("class");
    const Value *fe = step.find("fe");
    const Value *cm = step.find("cm");
    if ((card_class != nullptr) + (fe != nullptr) + (cm != nullptr) > 1) {
        step.whole().fail("a capability has one scope: class, fe or cm");
    }
    if (card_class != nullptr) {
        return Record(record::type_named("cap_" + card_class->one_of({"cm", "fab", "hps"}) + "_table"));
    }
    if (fe == nullptr && cm == nullptr) {
        return Record(record::type_named("cap_table"));
    }
    Record record(record::type_named(fe != nullptr ? "cap_glb_table" : "cap_cm_glb_table"));
    record.set("index.node", cards.node(fe != nullptr ? *fe : *cm));
    return record;
}

record::Value field_value(const std::string &option, const Value &value) {
    if (option == "bool" || option == "state") {
        return value.truth();
    }
    if (option == "str") {
        return value.text("a string");
    }
    return value.integer();
}

// Words without quotes are what they look like, as in JSON.
Json scalar_json(const Value &value) {
    const std::string &word = value.text();
    if (value.is_quoted()) {
        return word;
    }
    if (word == "true" || word == "false") {
        return word == "true";
    }
    int32_t number = 0;
    const char *end = word.data() + word.size();
    const auto [stopped, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && stopped == end ? Json(number) : Json(word);
}

Json json_of(const Value &value) {
    if (value.is_nothing()) {
        return nullptr;
    }
    if (!value.is_map()) {
        return scalar_json(value);
    }
    Json object = Json::object();
    for (const auto &[key, member] : value.map()) {
        object[key.text()] = json_of(member);
    }
    return object;
}

Record record_of(const Value &value) {
    if (value.is_map()) {
        Json json = json_of(value);
        json.emplace("fields", Json::object());  // what is deleted needs none
        return value.here([&] { return record::from_json(json); });
    }
    return value.here([&] { return record::record_at(value.text("a record's key")); });
}

}  // namespace

std::vector<std::string> capability_options() {
    std::vector<std::string> options = {"class", "fe", "cm"};
    for (const ValueField &each : kValueFields) {
        options.emplace_back(each.option);
    }
    return options;
}

void change_capability(Course &course, const Fields &step, const Cards &cards) {
    const Value &address = step.need("capability");
    const std::string &url = address.text("a capability's URL");
    if (url.empty() || url.size() > TREL_CAP_URL_MAX) {
        address.expected("a URL of 1 to " + std::to_string(TREL_CAP_URL_MAX) + " bytes");
    }
    Record record = capability_at(step, cards);
    record.set("index.url", url);
    std::string text = record.key();
    bool has_value = false;
    for (const auto &[option, field] : kValueFields) {
        if (const Value *value = step.find(option)) {
            if (option == std::string_view("str") && !chassis::has_readable_string(record.type())) {
                value->fail("applications read strings of card nodes only: fe or cm is missing");
            }
            value->here([&, name = option, path = field] { record.set(path, field_value(name, *value)); });
            text += std::string(", ") + option + " " + value->text();
            has_value = true;
        }
    }
    if (!has_value) {
        step.whole().fail("a value is missing: bool, int, str, pri or state");
    }
    course.add("capability " + text, Write::Kind::kSet, std::move(record));
}

void set_record(Course &course, const Fields &step) {
    const Value &address = step.need("set");
    Record record = record_of(address);
    if (const Value *fields = step.find("fields")) {
        for (const auto &[name, value] : fields->map()) {
            name.here([&, &field = name, &given = value] { record.set_text(field.text(), given.text("a value")); });
        }
    }
    if (record.fields().empty() && address.is_scalar()) {
        step.whole().fail("fields is missing: what is to be set");
    }
    std::string text = "set " + record.key();
    course.add(std::move(text), Write::Kind::kSet, std::move(record));
}

void delete_records(Course &course, const Value &keys) {
    for (const Value &key : keys.list_or_one()) {
        Record record = record_of(key);
        std::string text = "del " + record.key();
        course.add(std::move(text), Write::Kind::kDelete, std::move(record));
    }
}

}  // namespace scenario
