#include "verbs/address.h"

#include <trel_cap/records.h>
#include <trel_cap/status.h>

#include <algorithm>

#include "command_line/exit_status.h"
#include "command_line/names.h"
#include "command_line/text.h"
#include "record/field_text.h"

namespace capctl {

using namespace command_line;
using record::Record;
using record::RecordType;

namespace {

void check_url(const std::string &url) {
    if (url.size() > TREL_CAP_URL_MAX) {
        throw Failure(kUsage, "URL: at most " + std::to_string(TREL_CAP_URL_MAX) + " bytes expected, not " +
                                  std::to_string(url.size()));
    }
}

Record at_url(const RecordType &type, const std::string &url) {
    Record record(type);
    record.set("index.url", url);
    return record;
}

Record of_node(const ProtobufCMessageDescriptor &type, const char *option, const std::string &node,
               const std::string &url) {
    Record record = at_url(record::type_of(type), url);
    record.set("index.node", record::parse_number(option, node));
    return record;
}

}  // namespace

void Address::add_to(const Command &command) {
    add_to(command, "URL", "A capability's address, at most 255 bytes, or any record's key");
}

void Address::add_to(const Command &command, const std::string &argument, const std::string &about) {
    command.add_option(argument, word_, about).required();
    const Option of_class = command.add_option("--class", card_class_, "The capability of a card class");
    const Option of_fe = command.add_option("--fe", fe_, "The capability of a line card's node");
    const Option of_cm = command.add_option("--cm", cm_, "The capability of a control module's node");
    of_class.type_name("cm|fab|hps").one_of({"cm", "fab", "hps"}).excludes(of_fe).excludes(of_cm);
    of_fe.type_name("NODE").excludes(of_cm);
    of_cm.type_name("NODE");
}

Record Address::record() const {
    if (record::is_key(word_)) {
        if (is_scoped()) {
            throw Failure(kUsage,
                          quote(word_) + ": a key says whose record it is; --class, --fe and --cm go with a URL");
        }
        return record::record_at(word_);
    }
    check_url(word_);
    if (!card_class_.empty()) {
        return at_url(record::type_named("cap_" + card_class_ + "_table"), word_);
    }
    if (!fe_.empty()) {
        return of_node(cap_glb_table__descriptor, "--fe", fe_, word_);
    }
    if (!cm_.empty()) {
        return of_node(cap_cm_glb_table__descriptor, "--cm", cm_, word_);
    }
    return at_url(record::type_of(cap_table__descriptor), word_);
}

std::string Address::words() const {
    const auto option = [](const char *name, const std::string &value) {
        return value.empty() ? "" : std::string(" ") + name + " " + value;
    };
    return on_one_line(word_ + option("--class", card_class_) + option("--fe", fe_) + option("--cm", cm_));
}

std::string Address::suggestion() const {
    const std::string beginning = word_.substr(0, word_.find(':'));
    if (is_scoped() || word_.starts_with('/') || record::is_key(word_)) {
        return "";
    }
    // A word may be a part of many names: that is no mistake.
    constexpr size_t kLettersPerMistake = 3;
    std::vector<std::string> names = similar_names(beginning, record::type_names());
    std::erase_if(names, [&](const std::string &name) {
        const size_t longer = std::max(name.size(), beginning.size());
        return longer - std::min(name.size(), beginning.size()) > beginning.size() / kLettersPerMistake;
    });
    return names.empty() ? "" : "; did you mean " + joined(names) + "?";
}

void Address::refuse_mistyped_key() const {
    if (const std::string meant = suggestion(); !meant.empty()) {
        throw Failure(kUsage, quote(word_) + ": it looks like a mistyped key" + meant +
                                  " If it is a capability's URL, write " + quote("cap_table:" + word_));
    }
}

std::string Address::not_found(const RecordType &type) const {
    return quote(word_) + ": no such " + (is_capability(type) ? "capability" + suggestion() : "record");
}

}  // namespace capctl
