#include "verbs/selection.h"

#include <fnmatch.h>

#include <algorithm>

#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "command_line/text.h"
#include "store/ordered_text.h"
#include "verbs/address.h"

namespace capctl {

using namespace command_line;
using record::Record;
using record::RecordType;
using record::View;

namespace {

std::string url_of(const View &record) {
    return std::string(
        std::get<std::string_view>(record::view_of(*record.index(), record.type().index_fields().back())));
}

bool matches(const std::string &pattern, const View &record) {
    const auto fits = [&](const std::string &text) { return fnmatch(pattern.c_str(), text.c_str(), 0) == 0; };
    return fits(record.key()) || (is_capability(record.type()) && fits(url_of(record)));
}

bool is_name(const std::string &pattern) { return pattern.find_first_of("*?[\\") == std::string::npos; }

}  // namespace

void Selection::add_to(const Command &command) {
    command.add_option("PATTERN", patterns_, "Keys, or URLs of capabilities; * ? and [...] as in the shell");
    command.add_option("--type", types_, "Records of this type only; may be given again").type_name("TYPE").repeated();
}

std::vector<const RecordType *> Selection::types() const {
    if (types_.empty()) {
        return store::all_types();
    }
    std::vector<const RecordType *> types;
    for (const std::string &name : types_) {
        const RecordType &type = record::type_named(name);
        if (std::find(types.begin(), types.end(), &type) == types.end()) {
            types.push_back(&type);
        }
    }
    return types;
}

bool Selection::has(const View &record) const {
    bool is_met = patterns_.empty();
    for (const std::string &pattern : patterns_) {
        if (matches(pattern, record)) {
            is_met = true;
            if (is_name(pattern)) {
                met_.insert(pattern);
            }
        }
    }
    return is_met;
}

int Selection::end(int status) const {
    for (const std::string &pattern : patterns_) {
        if (is_name(pattern) && !met_.contains(pattern)) {
            complain(quote(pattern) + ": no such record");
            status = kNegative;
        }
    }
    return status;
}

// Of a key that is no record's nobody can say that it is not meant.
store::Unreadables Selection::of(const store::Unreadables &unreadable) const {
    store::Unreadables meant = unreadable;
    std::erase_if(meant, [&](const auto &entry) {
        const auto address = store::address_of(entry);
        return address && !has(*address);
    });
    return meant;
}

int end_with(const store::Unreadables &unreadable, int status) {
    for (const auto &each : unreadable) {
        complain(store::in_words(each));
    }
    return unreadable.empty() ? status : kUnreadable;
}

std::string selected_lines(Session &session, const Selection &selection, AppendLine append) {
    return ordered_text(session.store(), selection.types(), [&](std::string &lines, const View &record) {
        if (selection.has(record)) {
            append(session, lines, record);
        }
    });
}

std::vector<const Record *> selected(const store::Snapshot &snapshot, const Selection &selection) {
    std::vector<const Record *> records = snapshot.in_order();
    std::erase_if(records, [&](const Record *each) { return !selection.has(*each); });
    return records;
}

}  // namespace capctl
