// set: writes fields of one record.
#include <algorithm>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>

#include <trel_cap/records.h>

#include "command_line/exit_status.h"
#include "command_line/text.h"
#include "verbs/address.h"
#include "verbs/input.h"
#include "verbs/print.h"
#include "verbs/value.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;

namespace {

constexpr const char *kOptions[] = {"--bool", "--int", "--str", "--state"};

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
    bool fill_capability(Record &record) const;
    int run(Session &session) const;
};

// The record has room for a string, and get prints one that somebody has put there; but the library has no function
// that reads it, so that what is written here would seem to be published, and no application could ever see it.
[[noreturn]] void refuse_string() {
    throw Failure(kUsage,
                  "--str: applications read strings of card nodes only (--fe, --cm), so none would ever see one "
                  "of the device or a class; --bool, --int or --state expected");
}

// By an option; false: none was given.
bool Set::fill_capability(Record &record) const {
    if (given("--str") && !is_node_capability(record.type())) {
        refuse_string();
    }
    const auto count =
        std::count_if(std::begin(kOptions), std::end(kOptions), [this](const char *option) { return given(option); });
    if (count > 1) {
        throw Failure(kUsage,
                      "one of [--bool,--int,--str,--state] is required, but " + std::to_string(count) + " were given");
    }
    if (count > 0 && !is_capability(record.type())) {
        throw Failure(kUsage, quote(address.word()) + ": it is no capability; FIELD=VALUE expected");
    }
    if (given("--str")) {
        record.set("str_value", str_text);
    } else if (given("--bool")) {
        record.set("bool_value", parse_bool("--bool", bool_text));
    } else if (given("--int")) {
        record.set("int32_value", parse_int32("--int", int_text));
    } else if (given("--state")) {
        record.set("state", parse_bool("--state", state_text));
    } else {
        return false;
    }
    return true;
}

// NAME=VALUE, or NAME@FILE with the value from a file or, as -, from standard input.
void set_field(Record &record, const std::string &word) {
    const size_t end = word.find_first_of("=@");
    if (end == 0 || end == std::string::npos) {
        throw Failure(kUsage, quote(word) + ": FIELD=VALUE or FIELD@FILE expected");
    }
    const std::string path = word.substr(0, end);
    const std::string rest = word.substr(end + 1);
    if (path == "index" || path.starts_with("index.")) {
        throw Failure(kUsage, quote(word) + ": what addresses the record is in its key");
    }
    if (word[end] == '=') {
        record.set_text(path, rest);
    } else {
        set_from_bytes(record, path, read_input(rest));
    }
}

void Set::fill(Record &record) const {
    const bool by_option = fill_capability(record);
    if (!by_option && fields.empty()) {
        throw Failure(kUsage, "a value is missing: one of [--bool,--int,--state] is required, or FIELD=VALUE");
    }
    if (by_option && !fields.empty()) {
        throw Failure(kUsage, quote(fields.front()) +
                                  ": give FIELD=VALUE, or one of --bool, --int, --str and --state, not both");
    }
    for (const std::string &word : fields) {
        set_field(record, word);
    }
    if (is_capability(record.type()) && !is_node_capability(record.type()) && record.has(TREL_CAP_FIELD_STR)) {
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
    one.add_option("--bool", set->bool_text, "The boolean").type_name("0|1");
    one.add_option("--int", set->int_text, "The 32-bit integer").type_name("N");
    one.add_option("--str", set->str_text, "The string; of a node only").type_name("TEXT");
    one.add_option("--state", set->state_text, "The state").type_name("0|1");
}

}  // namespace capctl
