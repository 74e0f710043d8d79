// set: writes fields of one record.
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include <trel_cap/records.h>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"
#include "record/field_text.h"
#include "verbs/address.h"
#include "verbs/input.h"
#include "verbs/print.h"
#include "verbs/value.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;

namespace {

struct ValueOption {
    const char *name;
    const char *field;
};

constexpr ValueOption kOptions[] = {
    {"--bool", "bool_value"}, {"--int", "int32_value"}, {"--str", "str_value"}, {"--state", "state"}};

struct Set {
    Address address;
    std::vector<std::string> fields;
    std::string bool_text;
    std::string int_text;
    std::string state_text;
    std::string str_text;
    Command command;

    bool given(const char *option) const { return command.is_given(option); }
    void fill(Record &record) const;
    void fill_from_fields(Record &record) const;
    bool fill_capability(Record &record) const;
    int run(Session &session) const;
};

bool is_readable(const record::RecordType &type, const ValueOption &option) {
    const bool is_string = std::string_view(option.field) == "str_value";
    return protobuf_c_message_descriptor_get_field_by_name(type.descriptor, option.field) != nullptr &&
           (!is_string || chassis::has_readable_string(type));
}

[[noreturn]] void refuse_string() {
    throw Failure(kUsage,
                  "--str: applications read strings of card nodes only (--fe, --cm), so none would ever see one "
                  "of the device or a class; --bool, --int or --state expected");
}

std::vector<std::string> readable_options(const record::RecordType &type) {
    std::vector<std::string> names;
    for (const ValueOption &option : kOptions) {
        if (is_capability(type) && is_readable(type, option)) {
            names.emplace_back(option.name);
        }
    }
    return names;
}

[[noreturn]] void refuse_without_value(const Record &record) {
    std::vector<std::string> names = readable_options(record.type());
    names.emplace_back("FIELD=VALUE");
    throw Failure(kUsage, "a value is missing: " + alternatives(names) + " expected");
}

void refuse_state_of_node(const record::RecordType &type) {
    if (is_node_capability(type)) {
        throw Failure(kUsage, "--state: a capability of a node has no state; " + alternatives(readable_options(type)) +
                                  " expected");
    }
}

// By an option; false: none was given.
bool Set::fill_capability(Record &record) const {
    if (given("--str") && !chassis::has_readable_string(record.type())) {
        refuse_string();
    }
    std::vector<std::string> options;
    for (const ValueOption &option : kOptions) {
        if (given(option.name)) {
            options.emplace_back(option.name);
        }
    }
    if (options.size() > 1) {
        throw Failure(kUsage, only_one_of(options));
    }
    if (!options.empty() && !is_capability(record.type())) {
        throw Failure(kUsage, quote(address.word()) + ": it is no capability; FIELD=VALUE expected");
    }
    if (given("--str")) {
        record.set("str_value", str_text);
    } else if (given("--bool")) {
        record.set("bool_value", parse_bool("--bool", bool_text));
    } else if (given("--int")) {
        record.set("int32_value", parse_int32("--int", int_text));
    } else if (given("--state")) {
        refuse_state_of_node(record.type());
        record.set("state", parse_bool("--state", state_text));
    }
    return !options.empty();
}

// NAME=VALUE, or NAME@FILE with the value from a file or, as -, from standard input.
struct Assignment {
    std::string path;
    std::string value;
    bool is_file = false;

    void apply(Record &record) const;
};

Assignment assignment(const std::string &word) {
    const size_t end = word.find_first_of("=@");
    if (end == 0 || end == std::string::npos) {
        throw Failure(kUsage, quote(word) + ": FIELD=VALUE or FIELD@FILE expected");
    }
    const std::string path = word.substr(0, end);
    if (path == "index" || path.starts_with("index.")) {
        throw Failure(kUsage, quote(word) + ": what addresses the record is in its key");
    }
    return {.path = path, .value = word.substr(end + 1), .is_file = word[end] == '@'};
}

void Assignment::apply(Record &record) const {
    if (!is_file) {
        record.set_text(path, value);
        return;
    }
    record::value_field(record.type(), path);  // one that is not there is told before the file is read
    try {
        set_from_bytes(record, path, read_input(value));
    } catch (const Failure &failure) {
        const std::string message = failure.what();
        throw Failure(failure.status(), message.starts_with(path + ":") ? message : path + ": " + message);
    }
}

void Set::fill_from_fields(Record &record) const {
    std::set<std::string> paths;
    bool has_read_input = false;
    for (const std::string &word : fields) {
        const Assignment its = assignment(word);
        if (!paths.insert(its.path).second) {
            throw Failure(kUsage, quote(its.path) + ": it is given more than one value");
        }
        if (its.is_file && its.value == "-" && std::exchange(has_read_input, true)) {
            throw Failure(kUsage, quote(word) + ": standard input has one value, which another field has taken");
        }
        its.apply(record);
    }
}

void Set::fill(Record &record) const {
    const bool by_option = fill_capability(record);
    if (!by_option && fields.empty()) {
        refuse_without_value(record);
    }
    if (by_option && !fields.empty()) {
        throw Failure(kUsage, quote(fields.front()) +
                                  ": give FIELD=VALUE, or one of --bool, --int, --str and --state, not both");
    }
    fill_from_fields(record);
    if (is_capability(record.type()) && !chassis::has_readable_string(record.type()) &&
        record.has(TREL_CAP_FIELD_STR)) {
        refuse_string();
    }
}

int Set::run(Session &session) const {
    Record record = address.record();
    address.refuse_mistyped_key();
    if (is_capability(record.type())) {
        check_not_empty(address.word());
    }
    fill(record);
    session.store().write(record);
    print_written(session, record);
    return kDone;
}

}  // namespace

void add_set(Verbs &verbs) {
    const auto set = std::make_shared<Set>();
    const Command command = verbs.add("set", "Write values of a capability, or of any record",
                                      "  trel_capctl set /l3/arp/capacity --int 4096\n"
                                      "  trel_capctl set /l3/arp/enabled --class fab --bool 1\n"
                                      "  trel_capctl set /l3/arp/mode --fe 0x11 --str wide\n"
                                      "  trel_capctl set cap_fe_ready:17:900 ready=1 real_time=1 node_type=3\n"
                                      "  trel_capctl set card_info:0:0:1:0 serial@- < serial.bin\n",
                                      [set](Session &session) { return set->run(session); });
    set->command = command;
    set->address.add_to(command);
    command.add_option("FIELD", set->fields, "FIELD=VALUE, or FIELD@FILE: from a file, - is standard input");
    const Command one = command.add_choice("Or one value of a capability");
    one.add_option("--bool", set->bool_text, "The boolean").type_name("0|1").may_be_empty();
    one.add_option("--int", set->int_text, "The 32-bit integer").type_name("N").may_be_empty();
    one.add_option("--str", set->str_text, "The string; of a node only").type_name("TEXT").may_be_empty();
    one.add_option("--state", set->state_text, "The state").type_name("0|1").may_be_empty();
}

}  // namespace capctl
