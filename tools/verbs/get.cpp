// get: prints a record, or one value of it.
#include <algorithm>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include <trel_cap/records.h>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/field_text.h"
#include "record/record_json.h"
#include "record/record_text.h"
#include "verbs/address.h"
#include "verbs/print.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;

namespace {

constexpr int32_t kPriField = 21;

struct ValueFlag {
    const char *option;
    int32_t field;
};

constexpr ValueFlag kFlags[] = {
    {"--bool", TREL_CAP_FIELD_BOOL},   {"--int", TREL_CAP_FIELD_INT32},
    {"--str", TREL_CAP_FIELD_STR},     {"--pri", kPriField},
    {"--state", TREL_CAP_FIELD_STATE},
};

struct Get {
    Address address;
    bool wanted[std::size(kFlags)] = {};
    std::string field;

    int run(Session &session) const;
    void print_field(const Session &session, const Record &record, const ProtobufCFieldDescriptor &wanted_field,
                     const std::string &path) const;
};

// What get calls a value: a capability's by the names of its options.
std::string label_of(const Record &record, const record::FieldText &field) {
    const char *label = is_capability(record.type()) ? capability_label(field.number) : nullptr;
    return label == nullptr ? field.path : label;
}

std::string lines_of(const Record &record) {
    constexpr size_t kLabelWidth = 8;  // of capabilities, whatever values they have
    std::vector<Row> rows;
    for (const record::FieldText &field : field_texts(record)) {
        std::string label = label_of(record, field);
        label.resize(std::max(label.size() + (is_capability(record.type()) ? 0 : 2), kLabelWidth), ' ');
        rows.push_back({label, field.text});
    }
    return table(rows);
}

void print_whole(const Session &session, const Record &record) {
    if (session.format == Format::kTable) {
        print_records(session, {&record});
    } else if (session.is_json()) {
        print_json(to_json(record));
    } else {
        write_output(lines_of(record));
    }
}

// Where the path leads in the record's JSON; null where a message on the way is not there.
nlohmann::ordered_json value_at(const Record &record, std::string_view path) {
    const nlohmann::ordered_json whole = to_json(record);
    const auto *index = record.type().index();
    const std::string within_index = index == nullptr ? "" : std::string(index->name) + ".";
    const bool is_of_key = index != nullptr && path.starts_with(within_index);
    path.remove_prefix(is_of_key ? within_index.size() : 0);
    const nlohmann::ordered_json *value = &whole[is_of_key ? "key" : "fields"];
    while (!path.empty() && value->is_object()) {
        const size_t dot = std::min(path.find('.'), path.size());
        value = &value->at(std::string(path.substr(0, dot)));
        path.remove_prefix(std::min(dot + 1, path.size()));
    }
    return *value;
}

void Get::print_field(const Session &session, const Record &record, const ProtobufCFieldDescriptor &wanted_field,
                      const std::string &path) const {
    if (session.is_json()) {
        print_json(value_at(record, path));
        return;
    }
    const record::Value value = record.get(path);
    const auto *text = std::get_if<std::string>(&value);
    const bool is_raw = text != nullptr && wanted_field.type == PROTOBUF_C_TYPE_STRING;
    write_output((is_raw ? *text : record::value_text(wanted_field, value)) + "\n");
}

// The field that an option names; nothing: the whole record.
std::string wanted_path(const Get &get, const record::RecordType &type) {
    const auto *flag = std::find(std::begin(get.wanted), std::end(get.wanted), true);
    if (flag == std::end(get.wanted)) {
        return get.field;
    }
    const ValueFlag &value = kFlags[flag - std::begin(get.wanted)];
    const auto *field = protobuf_c_message_descriptor_get_field(type.descriptor, static_cast<unsigned>(value.field));
    if (!is_capability(type) || field == nullptr) {
        throw Failure(kUsage, std::string(value.option) + ": " + std::string(type.name()) + " has no such value");
    }
    return field->name;
}

int Get::run(Session &session) const {
    const Record wanted_record = address.record();
    const std::string path = wanted_path(*this, wanted_record.type());
    const ProtobufCFieldDescriptor *wanted_field =
        path.empty() ? nullptr : &record::value_field(wanted_record.type(), path);
    if (wanted_field != nullptr) {
        session.prints_only("get of one value", {Format::kText, Format::kJson, Format::kNdjson});
    }
    const auto record = session.store().read(wanted_record);
    if (!record) {
        throw Failure(kNegative, address.not_found(wanted_record.type()));
    }
    if (wanted_field == nullptr) {
        print_whole(session, *record);
        return kDone;
    }
    const auto *top = protobuf_c_message_descriptor_get_field_by_name(record->type().descriptor,
                                                                      path.substr(0, path.find('.')).c_str());
    const auto number = static_cast<int32_t>(top->id);
    if (!record->has(number) && top != record->type().index()) {
        const char *label = is_capability(record->type()) ? capability_label(number) : nullptr;
        throw Failure(kNegative,
                      quote(address.word()) + ": its " + (label == nullptr ? path : label) + " was never set");
    }
    print_field(session, *record, *wanted_field, path);
    return kDone;
}

}  // namespace

void add_get(Verbs &verbs) {
    const auto get = std::make_shared<Get>();
    const Command command = verbs.add("get", "Print a capability, or any record",
                                      "  trel_capctl get /l3/arp/capacity\n"
                                      "  trel_capctl get /l3/arp/capacity --int\n"
                                      "  trel_capctl get /l3/arp/capacity --fe 0x11 --output json | jq .fields\n"
                                      "  trel_capctl get cap_fe_ready:17:900 --field real_time\n",
                                      [get](Session &session) { return get->run(session); });
    get->address.add_to(command);
    const Command one = command.add_choice("Print one value only, bare");
    one.take_one_at_most();
    for (size_t i = 0; i < std::size(kFlags); ++i) {
        one.add_flag(kFlags[i].option, get->wanted[i],
                     std::string("The value called ") + capability_label(kFlags[i].field));
    }
    one.add_option("--field", get->field, "The field of this name").type_name("NAME");
}

}  // namespace capctl
