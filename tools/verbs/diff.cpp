// diff: what is not the same in two stores or dumps.
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/exit_status.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/record_json.h"
#include "record/record_text.h"
#include "store/snapshot.h"
#include "verbs/client_log.h"
#include "verbs/colour.h"
#include "verbs/input.h"
#include "verbs/print.h"
#include "verbs/selection.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;
using store::Snapshot;

namespace {

struct Diff {
    std::string before;
    std::string after;

    int run(Session &session) const;
};

// A dump's file, or a store by its name.
Snapshot read_side(const std::string &name) {
    if (name.find("://") != std::string::npos) {
        store::Store store(name);
        return Snapshot::of(store);
    }
    return read_snapshot(name);
}

struct Difference {
    const Record *before;  // nullptr: there was none
    const Record *after;   // nullptr: there is none
    std::vector<int32_t> fields;

    const Record &record() const { return after != nullptr ? *after : *before; }
};

std::vector<int32_t> all_fields(const Record &record) { return {record.fields().begin(), record.fields().end()}; }

std::vector<Difference> differences(const Snapshot &before, const Snapshot &after) {
    std::vector<Difference> found;
    for (const auto &[key, record] : before.records()) {
        const Record *other = after.find(key);
        if (other == nullptr) {
            found.push_back({&record, nullptr, all_fields(record)});
        } else if (auto fields = differing_fields(record, *other); !fields.empty()) {
            found.push_back({&record, other, std::move(fields)});
        }
    }
    for (const auto &[key, record] : after.records()) {
        if (before.find(key) == nullptr) {
            found.push_back({nullptr, &record, all_fields(record)});
        }
    }
    std::sort(found.begin(), found.end(),
              [](const Difference &a, const Difference &b) { return precedes(a.record(), b.record()); });
    return found;
}

std::string side_text(const Session &session, char sign, const Record *record, const std::vector<int32_t> &fields) {
    if (record == nullptr) {
        return "";
    }
    const std::string values = assignments(*record, fields);
    const std::string line = sign + on_one_line(record->key()) + (values.empty() ? "" : " " + values);
    return painted(session, sign == '-' ? Colour::kRed : Colour::kGreen, line) + "\n";
}

nlohmann::ordered_json side_json(const Record *record, const std::vector<int32_t> &fields) {
    if (record == nullptr) {
        return nullptr;
    }
    std::vector<int32_t> present;
    std::copy_if(fields.begin(), fields.end(), std::back_inserter(present),
                 [&](int32_t field) { return record->has(field); });
    return fields_json(*record, present);
}

nlohmann::ordered_json difference_json(const Difference &difference) {
    nlohmann::ordered_json json = to_json(difference.record());
    json.erase("fields");
    json["before"] = side_json(difference.before, difference.fields);
    json["after"] = side_json(difference.after, difference.fields);
    return json;
}

int Diff::run(Session &session) const {
    session.prints_only("diff", {Format::kText, Format::kJson, Format::kNdjson});
    tell_unreadable_here();
    const Snapshot first = read_side(before);
    const Snapshot second = after.empty() ? Snapshot::of(session.store()) : read_side(after);
    const std::vector<Difference> found = differences(first, second);
    std::string lines;
    auto array = nlohmann::ordered_json::array();
    for (const Difference &each : found) {
        if (session.is_json()) {
            array.push_back(difference_json(each));
        } else {
            lines +=
                side_text(session, '-', each.before, each.fields) + side_text(session, '+', each.after, each.fields);
        }
    }
    if (session.is_json()) {
        print_list(session, array);
    } else {
        write_output(lines);
    }
    store::Unreadables unreadable = first.unreadable();
    unreadable.insert(second.unreadable().begin(), second.unreadable().end());
    return end_with(unreadable, found.empty() ? kDone : kNegative);
}

}  // namespace

void add_diff(Verbs &verbs) {
    const auto diff = std::make_shared<Diff>();
    const Command command = verbs.add("diff", "Print what differs between two dumps or stores",
                                      "  trel_capctl diff chassis.ndjson\n"
                                      "  trel_capctl diff before.ndjson after.ndjson\n"
                                      "  trel_capctl diff redis://10.0.0.1 redis://10.0.0.2 --output ndjson\n",
                                      [diff](Session &session) { return diff->run(session); });
    command.add_option("BEFORE", diff->before, "A dump's file, - for standard input, or a store's name").required();
    command.add_option("AFTER", diff->after, "Likewise; without it the store at hand");
}

}  // namespace capctl
