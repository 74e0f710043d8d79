// get and set: capabilities of the whole device.
#include <trel_cap/records.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record_json.h"
#include "value.h"
#include "verbs.h"

namespace capctl {

using namespace command_line;

namespace {

constexpr int32_t kPriField = 21;

struct Field {
    const char *option;
    const char *label;  // what get calls its value
    int32_t number;
};

constexpr Field kFields[] = {
    {"--bool", "bool", TREL_CAP_FIELD_BOOL},    {"--int", "int32", TREL_CAP_FIELD_INT32},
    {"--str", "string", TREL_CAP_FIELD_STR},    {"--pri", "pri", kPriField},
    {"--state", "state", TREL_CAP_FIELD_STATE},
};

// A CapTable record with the URL in its index. It points at the URL and into itself.
struct Capability {
    explicit Capability(std::string &url) {
        cap_table_index__init(&index);
        cap_table__init(&record);
        index.url = url.data();
        record.index = &index;
    }
    Capability(const Capability &) = delete;
    Capability &operator=(const Capability &) = delete;

    CapTableIndex index;
    CapTable record;
};

// A field's value on one line; a string in quotes, or as it is.
std::string value_text(const CapTable &record, const Field &field, bool raw_string) {
    const auto value = field_json(record.base, field.number);
    if (value.is_boolean()) {
        return value.get<bool>() ? "1" : "0";
    }
    if (value.is_string()) {
        return raw_string ? value.get<std::string>() : quote(value.get<std::string>());
    }
    return value.dump();
}

struct Get {
    std::string url;
    bool wanted[std::size(kFields)] = {};

    // The field asked for, or NULL: all.
    const Field *picked() const {
        const auto *first = std::find(std::begin(wanted), std::end(wanted), true);
        return first == std::end(wanted) ? nullptr : &kFields[first - std::begin(wanted)];
    }

    int run(Session &session);
};

[[noreturn]] void not_found(const std::string &url, const std::string &what) {
    throw Failure(kNegative, quote(url) + ": " + what);
}

void print_field(bool json, const CapTable &record, const Field &field) {
    if (json) {
        print_json(field_json(record.base, field.number));
    } else {
        write_output(value_text(record, field, true) + "\n");
    }
}

void print_all(bool json, const CapTable &record, std::span<const int32_t> present) {
    if (json) {
        print_json(record_json(record.base, present));
        return;
    }
    constexpr size_t kLabelWidth = 8;
    std::string lines;
    for (const Field &field : kFields) {
        if (std::find(present.begin(), present.end(), field.number) != present.end()) {
            std::string label = field.label;
            label.resize(kLabelWidth, ' ');
            lines += label + value_text(record, field, false) + "\n";
        }
    }
    write_output(lines);
}

int Get::run(Session &session) {
    check_url(url);
    session.store.connect(TREL_CAP_DB_CAPABILITIES);
    const Capability request(url);
    const HashResult result = session.store.read_hash(TREL_CAP_DB_CAPABILITIES, request.record.base);
    if (result->record == nullptr) {
        not_found(url, "no such capability");
    }
    const auto &record = *reinterpret_cast<const CapTable *>(result->record);
    const std::span<const int32_t> present(result->field_ids, result->n_field_ids);
    const Field *field = picked();
    if (field == nullptr) {
        print_all(session.json, record, present);
    } else if (std::find(present.begin(), present.end(), field->number) != present.end()) {
        print_field(session.json, record, *field);
    } else {
        not_found(url, std::string("its ") + field->label + " was never set");
    }
    return kDone;
}

// Options that exclude each other.
CLI::Option_group &add_choice(CLI::App &command, const std::string &title) {
    CLI::Option_group &group = *command.add_option_group(title);
    group.set_help_flag();
    return group;
}

void add_get(Verbs &verbs) {
    const auto get = std::make_shared<Get>();
    CLI::App &command = verbs.add("get", "Print a capability of the whole device",
                                  "  trel_capctl get /l3/arp/capacity\n"
                                  "  trel_capctl get /l3/arp/capacity --int\n"
                                  "  trel_capctl get /l3/arp/capacity --output json | jq .fields\n",
                                  [get](Session &session) { return get->run(session); });
    command.add_option("URL", get->url, "The capability's address, at most 255 bytes")->required();
    CLI::Option_group &one = add_choice(command, "Print one value only, bare");
    one.require_option(0, 1);
    for (size_t i = 0; i < std::size(kFields); ++i) {
        one.add_flag(kFields[i].option, get->wanted[i], std::string("The value called ") + kFields[i].label)
            ->disable_flag_override();
    }
}

struct Set {
    std::string url;
    std::string bool_text;
    std::string int_text;
    std::string state_text;
    CLI::App *command = nullptr;

    bool given(const char *option) const { return command->count(option) != 0; }
    // Fills the one value that was given; returns its field number.
    int32_t fill(CapTable &record);
    int run(Session &session);
};

int32_t Set::fill(CapTable &record) {
    if (given("--bool")) {
        record.bool_value = parse_bool("--bool", bool_text);
        return TREL_CAP_FIELD_BOOL;
    }
    if (given("--int")) {
        record.int32_value = parse_int32("--int", int_text);
        return TREL_CAP_FIELD_INT32;
    }
    record.state = parse_bool("--state", state_text);
    return TREL_CAP_FIELD_STATE;
}

int Set::run(Session &session) {
    check_url(url);
    check_not_empty(url);
    Capability capability(url);
    const int32_t fields[] = {fill(capability.record)};
    session.store.connect(TREL_CAP_DB_CAPABILITIES);
    session.store.write_hash(TREL_CAP_DB_CAPABILITIES, capability.record.base, fields);
    if (session.json) {
        print_json(record_json(capability.record.base, fields));
    }
    return kDone;
}

// The record has room for a string, and get prints one that somebody has put there; but the library has no function
// that reads it, so that what is written here would seem to be published, and no application could ever see it.
void refuse_strings(CLI::App &command) {
    const CLI::callback_t refuse = [](const CLI::results_t &) -> bool {
        throw Failure(kUsage, "--str: applications read strings of card nodes only, so none would ever see one of the "
                              "device; --bool, --int or --state expected");
    };
    command.add_option("--str", refuse)->expected(0, 1)->group("");
}

void add_set(Verbs &verbs) {
    const auto set = std::make_shared<Set>();
    CLI::App &command = verbs.add("set", "Write one value of a capability; its others stay as they are",
                                  "  trel_capctl set /l3/arp/enabled --bool 1\n"
                                  "  trel_capctl set /l3/arp/capacity --int 4096\n"
                                  "  trel_capctl set /l3/arp/capacity --state 1\n",
                                  [set](Session &session) { return set->run(session); });
    set->command = &command;
    command.add_option("URL", set->url, "The capability's address, 1 to 255 bytes")->required();
    CLI::Option_group &one = add_choice(command, "The value, one of");
    one.require_option(1);
    one.add_option("--bool", set->bool_text, "The boolean")->type_name("0|1");
    one.add_option("--int", set->int_text, "The 32-bit integer")->type_name("N");
    one.add_option("--state", set->state_text, "The state")->type_name("0|1");
    refuse_strings(command);
}

}  // namespace

void add_capability_verbs(Verbs &verbs) {
    add_get(verbs);
    add_set(verbs);
}

}  // namespace capctl
