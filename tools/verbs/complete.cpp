// complete: what may come next on a command line, for the shells' completion. Not in --help: people do not call it.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <trel_cap/records.h>

#include "chassis/card.h"
#include "chassis/explanation.h"
#include "chassis/node_records.h"
#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "record/field_text.h"
#include "record/record.h"
#include "record/record_type.h"
#include "scenario/shipped.h"
#include "store/snapshot.h"
#include "verbs/address.h"
#include "verbs/client_log.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;

namespace {

using Words = std::vector<std::string>;

// Nobody waits longer for a key of theirs to be completed, whatever time their other requests may take.
void limit_requests() {
    constexpr long kMilliseconds = 500;
    const char *own = std::getenv("OX_MOM_TIMEOUT_MS");
    if (own == nullptr || std::strtol(own, nullptr, 10) > kMilliseconds) {
        setenv("OX_MOM_TIMEOUT_MS", std::to_string(kMilliseconds).c_str(), 1);
    }
}

Words alternatives_in(const std::string &text) {
    Words words;
    size_t from = 0;
    for (size_t end = 0; end != std::string::npos; from = end + 1) {
        end = text.find('|', from);
        words.push_back(text.substr(from, end - from));
    }
    return words;
}

Words names_of(const CLI::Option &option) {
    Words names;
    for (const std::string &name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

// The options of a verb, or of all of them; those in groups with them.
std::vector<const CLI::Option *> options_of(const CLI::App &app) {
    std::vector<const CLI::Option *> options = app.get_options();
    for (const CLI::App *group : app.get_subcommands([](const CLI::App *each) { return each->get_name().empty(); })) {
        const auto more = group->get_options();
        options.insert(options.end(), more.begin(), more.end());
    }
    return options;
}

class Completer {
public:
    Completer(const CLI::App &app, Session &session, std::string current)
        : app_(app), session_(session), current_(std::move(current)) {}

    Words next(const Words &words);

private:
    void take(const std::string &word);
    void take_option(const std::string &word);
    const std::string &given(const char *option) const;
    const CLI::Option *option_named(const std::string &word) const;
    Words option_names() const;
    Words verb_names() const;
    Words values_of(const CLI::Option &option);
    Words values_with_option();
    Words positional();
    Words values_named(const std::string &name);
    Words addresses();
    Words urls_in_scope();
    Words nodes();
    const record::RecordType *scope() const;
    const record::RecordType &type() const;
    Words fields() const;
    Words assignments() const;
    Words waited_for();
    store::Snapshot snapshot_at_hand();
    const store::Snapshot &snapshot();

    const CLI::App &app_;
    Session &session_;
    const std::string current_;  // the word that is completed, as far as it goes
    const CLI::App *verb_ = nullptr;
    const CLI::Option *pending_ = nullptr;  // has to be given a value
    Words arguments_;
    std::map<std::string, std::string> values_;  // of the options on the line, by their long names
    std::optional<store::Snapshot> snapshot_;
};

const CLI::Option *Completer::option_named(const std::string &word) const {
    for (const CLI::App *app : {verb_, &app_}) {
        if (app == nullptr) {
            continue;
        }
        for (const CLI::Option *option : options_of(*app)) {
            if (!option->get_positional() && option->check_name(word)) {
                return option;
            }
        }
    }
    return nullptr;
}

// --OPTION, or --OPTION=VALUE.
void Completer::take_option(const std::string &word) {
    const size_t equals = word.find('=');
    const CLI::Option *option = option_named(word.substr(0, equals));
    if (option == nullptr || option->get_items_expected_max() == 0) {
        return;
    }
    if (equals == std::string::npos) {
        pending_ = option;
    } else {
        values_[names_of(*option).front()] = word.substr(equals + 1);
    }
}

// "": it is not on the line.
const std::string &Completer::given(const char *option) const {
    static const std::string nothing;
    const auto value = values_.find(option);
    return value == values_.end() ? nothing : value->second;
}

void Completer::take(const std::string &word) {
    if (pending_ != nullptr) {
        values_[names_of(*pending_).front()] = word;
        pending_ = nullptr;
    } else if (word.starts_with("-") && word.size() > 1) {
        take_option(word);
    } else if (verb_ == nullptr) {
        const auto verbs = app_.get_subcommands([&](const CLI::App *each) { return each->get_name() == word; });
        verb_ = verbs.empty() ? nullptr : verbs.front();
    } else {
        arguments_.push_back(word);
    }
}

Words Completer::option_names() const {
    Words names;
    for (const CLI::App *app : {verb_, &app_}) {
        if (app == nullptr) {
            continue;
        }
        for (const CLI::Option *option : options_of(*app)) {
            const bool is_of_all = option->check_name("--version");
            if (!option->get_positional() && !option->get_group().empty() && !(is_of_all && verb_ != nullptr)) {
                const Words own = names_of(*option);
                names.insert(names.end(), own.begin(), own.end());
            }
        }
    }
    return names;
}

Words Completer::verb_names() const {
    Words names;
    for (const CLI::App *verb : app_.get_subcommands([](const CLI::App *each) { return !each->get_group().empty(); })) {
        names.push_back(verb->get_name());
    }
    return names;
}

Words Completer::values_of(const CLI::Option &option) {
    const std::string name = names_of(option).front();
    if (name == "--store") {
        return {"unix:///", "redis://", "sentinel://"};
    }
    if (name == "--output") {
        return {"text", "table", "json", "ndjson"};
    }
    if (name == "--color") {
        return {"auto", "always", "never"};
    }
    if (name == "--field") {
        return fields();
    }
    return values_named(option.get_type_name());
}

Words Completer::positional() {
    std::vector<const CLI::Option *> places;
    for (const CLI::Option *option : options_of(*verb_)) {
        if (option->get_positional()) {
            places.push_back(option);
        }
    }
    if (places.empty()) {
        return {};
    }
    // The last may be given many times.
    const size_t place = std::min(arguments_.size(), places.size() - 1);
    const bool is_full = place < arguments_.size() && places[place]->get_items_expected_max() == 1;
    return is_full ? Words() : values_named(places[place]->get_single_name());
}

// By the word that help has for what is expected.
Words Completer::values_named(const std::string &name) {
    if (name.find('|') != std::string::npos) {
        return alternatives_in(name);
    }
    if (name == "URL" || name == "PATTERN") {
        return addresses();
    }
    if (name == "NODE") {
        return nodes();
    }
    if (name == "WHAT") {
        Words words = addresses();
        words.insert(words.end(), {"node", "ready"});
        return words;
    }
    if (name == "WORD") {
        return waited_for();
    }
    const bool is_scenario =
        name == "SCENARIO" || (name == "FILE" && (verb_->get_name() == "play" || verb_->get_name() == "test"));
    if (is_scenario) {
        return scenario::shipped_names();
    }
    if (name == "VERB") {
        return verb_names();
    }
    if (name == "TYPE") {
        return record::type_names();
    }
    if (name == "FIELD") {
        return assignments();
    }
    return name == "SCOPE" ? chassis::scope_names() : Words();
}

// What the capabilities are of that a class or a node on the line names; nullptr: no such option is there.
const record::RecordType *Completer::scope() const {
    if (!given("--class").empty()) {
        return record::find_type("cap_" + given("--class") + "_table");
    }
    if (!given("--fe").empty()) {
        return &record::type_of(cap_glb_table__descriptor);
    }
    return given("--cm").empty() ? nullptr : &record::type_of(cap_cm_glb_table__descriptor);
}

// A key says itself whose record it is, and does not go with such an option.
Words Completer::urls_in_scope() {
    const std::string &text = given(given("--fe").empty() ? "--cm" : "--fe");
    std::optional<record::Value> node;
    try {
        node = text.empty() ? node : record::parse_number("NODE", text);
    } catch (const Failure &) {  // no number: no capabilities
        return {};
    }
    Words words;
    for (const auto &[key, record] : snapshot().records()) {
        if (&record.type() == scope() && (!node || record.get("index.node") == *node)) {
            words.push_back(std::get<std::string>(record.get("index.url")));
        }
    }
    return words;
}

// Keys of what is stored, capabilities of the device by their URLs; and the types, of what is not stored yet.
Words Completer::addresses() {
    if (scope() != nullptr) {
        return urls_in_scope();
    }
    Words words;
    for (const auto &[key, record] : snapshot().records()) {
        const bool is_by_url = &record.type() == &record::type_of(cap_table__descriptor);
        words.push_back(is_by_url ? std::get<std::string>(record.get("index.url")) : key);
    }
    for (const record::RecordType &type : record::record_types()) {
        words.push_back(std::string(type.name()) + (type.index() == nullptr ? "" : ":"));
    }
    return words;
}

Words Completer::nodes() {
    std::set<int32_t> numbers;
    for (const auto &[key, record] : snapshot().records()) {
        if (const auto node = chassis::node_of(record)) {
            numbers.insert(*node);
        }
    }
    Words words;
    std::transform(numbers.begin(), numbers.end(), std::back_inserter(words), chassis::node_argument);
    return words;
}

// What follows the first argument of wait.
Words Completer::waited_for() {
    if (arguments_.empty()) {
        return {};
    }
    const bool is_first = arguments_.size() == 1;
    if (arguments_.front() == "node") {
        return is_first ? nodes() : Words{"ready", "unready"};
    }
    if (arguments_.front() == "ready") {
        return is_first ? chassis::scope_names() : Words{"on", "off"};
    }
    return assignments();
}

// Of the record that the first argument addresses.
const record::RecordType &Completer::type() const {
    if (scope() != nullptr) {
        return *scope();
    }
    const std::string address = arguments_.empty() ? "" : arguments_.front();
    const record::RecordType *type = record::find_type(address.substr(0, address.find(':')));
    return type == nullptr ? *record::find_type("cap_table") : *type;
}

// Those of a message within once the word has come so far.
Words Completer::fields() const {
    Words words;
    for (const ProtobufCFieldDescriptor &field : type().fields()) {
        const std::string name = field.name;
        if (&field == type().index()) {
            continue;
        }
        if (field.type != PROTOBUF_C_TYPE_MESSAGE) {
            words.push_back(name);
        } else if (!current_.starts_with(name + ".")) {
            words.push_back(name + ".");
        } else {
            const auto *within = static_cast<const ProtobufCMessageDescriptor *>(field.descriptor);
            for (unsigned i = 0; i < within->n_fields; ++i) {
                const bool has_fields = within->fields[i].type == PROTOBUF_C_TYPE_MESSAGE;
                words.push_back(name + "." + within->fields[i].name + (has_fields ? "." : ""));
            }
        }
    }
    return words;
}

// FIELD=, and then the values that it may have, where they are few.
Words Completer::assignments() const {
    const size_t equals = current_.find('=');
    if (equals == std::string::npos) {
        Words words = fields();
        for (std::string &word : words) {
            word += word.ends_with('.') ? "" : "=";
        }
        return words;
    }
    Words words;
    const std::string path = current_.substr(0, equals);
    try {
        const ProtobufCFieldDescriptor &field = record::value_field(type(), path);
        if (field.type == PROTOBUF_C_TYPE_ENUM) {
            words = record::enum_names(field);
        } else if (field.type == PROTOBUF_C_TYPE_BOOL) {
            words = {"0", "1", "false", "true"};
        }
    } catch (const Failure &) {  // no such field: no values
    }
    for (std::string &word : words) {
        word.insert(0, path + "=");
    }
    return words;
}

// Of the store that the line names, else of that which all verbs take.
store::Snapshot Completer::snapshot_at_hand() {
    if (given("--store").empty()) {
        return store::Snapshot::of(session_.store());
    }
    store::Store store(store::server_name(given("--store")));
    return store::Snapshot::of(store);
}

const store::Snapshot &Completer::snapshot() {
    if (!snapshot_) {
        snapshot_.emplace();
        limit_requests();
        try {
            snapshot_ = snapshot_at_hand();
        } catch (const Failure &) {  // nobody is told: there is just nothing to complete with
        }
    }
    return *snapshot_;
}

// --OPTION=, and the value in the same word.
Words Completer::values_with_option() {
    const std::string name = current_.substr(0, current_.find('='));
    const CLI::Option *option = option_named(name);
    if (option == nullptr || option->get_items_expected_max() == 0) {
        return {};
    }
    Words words = values_of(*option);
    for (std::string &word : words) {
        word.insert(0, name + "=");
    }
    return words;
}

Words Completer::next(const Words &words) {
    for (const std::string &word : words) {
        take(word);
    }
    if (pending_ != nullptr) {
        return values_of(*pending_);
    }
    if (current_.starts_with("-")) {
        return current_.find('=') == std::string::npos ? option_names() : values_with_option();
    }
    const Words words_here = verb_ == nullptr ? verb_names() : positional();
    return words_here.empty() && current_.empty() ? option_names() : words_here;
}

int complete(Session &session, const CLI::App &app, Words words) {
    tell_unreadable_here();  // which is nowhere
    const std::string current = words.empty() ? "" : words.back();
    if (!words.empty()) {
        words.pop_back();
    }
    std::string lines;
    std::set<std::string> told;
    for (const std::string &word : Completer(app, session, current).next(words)) {
        if (word.starts_with(current) && word.find('\n') == std::string::npos && told.insert(word).second) {
            lines += word + "\n";
        }
    }
    write_output(lines);
    return kDone;
}

}  // namespace

void add_complete(Verbs &verbs) {
    const auto words = std::make_shared<Words>();
    const CLI::App &app = verbs.app();
    const Command command = verbs.add("complete", "Print what may come next on a command line",
                                      "  trel_capctl complete get /l3/\n"
                                      "  trel_capctl complete -- watch --t\n",
                                      [words, &app](Session &session) { return complete(session, app, *words); });
    command.hide();
    command.add_option("WORD", *words, "The words after the program's name, the last as far as it goes");
}

}  // namespace capctl
