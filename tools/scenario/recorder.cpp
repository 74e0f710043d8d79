#include "scenario/recorder.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "command_line/text.h"
#include "record/record_json.h"

namespace scenario {

namespace {

using record::Record;
using record::View;

// The fields of those numbers alone.
View part(const Record &record, const std::vector<int32_t> &fields) {
    return {record.type(), record.message(), fields};
}

// A write leaves fields that it does not name: one that is gone was deleted with the record.
bool has_lost_fields(const store::Change &change) {
    return std::any_of(change.changed.begin(), change.changed.end(),
                       [&](int32_t field) { return !change.record.has(field); });
}

}  // namespace

Recorder::Recorder(const std::string &store_name, Sink sink) : sink_(std::move(sink)) {
    sink_("# Recorded from " + command_line::masked(store_name) +
          ". trel_capctl play writes it into a store again.\n\nbefore:\n");
}

// Since the recording began: seconds, exact to the microsecond.
std::string Recorder::at() const {
    const auto since =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - *begin_);
    std::array<char, 48> text;
    std::snprintf(text.data(), text.size(), "%" PRId64 ".%06" PRId64 "s", int64_t{since.count() / 1000000},
                  int64_t{since.count() % 1000000});
    return text.data();
}

void Recorder::put(const char *action, const View &record, bool with_fields) {
    nlohmann::ordered_json json = to_json(record);
    if (!with_fields) {
        json["fields"] = nlohmann::ordered_json::object();
    }
    std::string line = record::json_line(json);
    line.pop_back();
    sink_((begin_ ? "  - {at: " + at() + ", " : std::string("  - {")) + action + ": " + line + "}\n");
}

void Recorder::changed(const store::Change &change) {
    const bool changed_only = !change.changed.empty() && change.record.type().index() != nullptr;
    if (change.kind == store::Change::Kind::kDeleted) {
        put("del", change.record, false);
    } else if (has_lost_fields(change)) {
        put("del", change.record, false);
        put("set", change.record, true);
    } else {
        put("set", changed_only ? part(change.record, change.changed) : View(change.record), true);
    }
    if (begin_) {
        ++changes_;
    }
}

void Recorder::complete() {
    begin_ = std::chrono::steady_clock::now();
    sink_("steps:\n");
}

void Recorder::remark(const std::string &text) const {
    sink_("# " + (begin_ ? at() + ": " : std::string()) + command_line::masked(text) + "\n");
}

void Recorder::lost(const std::string &reason) { remark("the store is lost: " + reason); }

void Recorder::still_lost(const std::string &reason) { remark("the store is still lost: " + reason); }

void Recorder::restored() { remark("the store is back; what was missed has been recorded as it was learned"); }

}  // namespace scenario
