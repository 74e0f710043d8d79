// watch: what is stored, and then every change, a line each.
#include <charconv>
#include <chrono>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>

#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "record/record_json.h"
#include "record/record_text.h"
#include "store/follower.h"
#include "verbs/client_log.h"
#include "verbs/colour.h"
#include "verbs/print.h"
#include "verbs/seconds.h"
#include "verbs/selection.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using store::Change;
using Json = nlohmann::ordered_json;

namespace {

struct Watch {
    Selection selection;
    std::string count_text;
    std::string timeout_text;
    bool changes_only = false;

    int run(Session &session) const;
};

// In UTC, to the millisecond.
std::string time_text() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto since = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
    std::tm parts = {};
    gmtime_r(&seconds, &parts);
    char text[40];
    const size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + size, sizeof text - size, ".%03dZ", static_cast<int>(since.count() % 1000));
    return text;
}

const char *name_of(Change::Kind kind) {
    switch (kind) {
        case Change::Kind::kInitial:
            return "initial";
        case Change::Kind::kWritten:
            return "written";
        default:
            return "deleted";
    }
}

class Printer : public store::Listener {
public:
    // So many changes at most, for several may come at once.
    Printer(const Session &session, const Selection &selection, bool changes_only, size_t most)
        : session_(session), selection_(selection), changes_only_(changes_only), most_(most) {}

    // Of the changes after what was stored at the beginning.
    size_t changes() const { return changes_; }

    void changed(const Change &change) override {
        const bool is_initial = change.kind == Change::Kind::kInitial;
        if (is_initial ? changes_only_ : changes_ == most_) {
            return;
        }
        if (!selection_.has(change.record)) {
            return;
        }
        changes_ += is_initial ? 0 : 1;
        write_output(session_.is_json() ? json_line_of(change) : text_of(change));
    }

    void complete() override { tell("complete", "all that is stored has been told", ""); }
    void lost(const std::string &reason) override { tell("lost", lost_words(reason), reason); }
    void still_lost(const std::string &reason) override { tell("still_lost", still_lost_words(reason), reason); }
    void restored() override {
        tell("restored", std::string(kBackWords) + "; what changed meanwhile has been told", "");
    }

    // Those that are new: what was told stays so until it is mended.
    void tell_unreadable(const store::Unreadables &unreadable) {
        store::Unreadables meant = selection_.of(unreadable);
        for (const auto &each : meant) {
            if (!unreadable_.contains(each.first)) {
                complain(store::in_words(each));
            }
        }
        unreadable_ = std::move(meant);
    }

private:
    static std::string json_line_of(const Change &change) {
        const Json record = to_json(change.record);
        return record::json_line({{"time", time_text()},
                                  {"event", name_of(change.kind)},
                                  {"type", record["type"]},
                                  {"key", record["key"]},
                                  {"changed", field_names(change.record.type(), change.changed)},
                                  {"fields", record["fields"]}});
    }

    // A record that was written is told by what is new of it, since the rest was told before.
    std::string text_of(const Change &change) const {
        const bool is_written = change.kind == Change::Kind::kWritten;
        const std::string values =
            assignments(change.record, is_written ? std::span<const int32_t>(change.changed) : change.record.fields());
        const Colour colour =
            change.kind == Change::Kind::kDeleted ? Colour::kRed : (is_written ? Colour::kGreen : Colour::kGrey);
        return time_text() + "  " + painted(session_, colour, std::string(name_of(change.kind)) + "  ") +
               on_one_line(change.record.key()) + (values.empty() ? (is_written ? " (as it was)" : "") : " " + values) +
               "\n";
    }

    void tell(const char *event, const std::string &words, const std::string &reason) const {
        if (session_.is_json()) {
            Json json = {{"time", time_text()}, {"event", event}};
            if (!reason.empty()) {
                json["reason"] = reason;
            }
            write_output(record::json_line(json));
        } else {
            complain(words);
        }
    }

    const Session &session_;
    const Selection &selection_;
    const bool changes_only_;
    const size_t most_;
    size_t changes_ = 0;
    store::Unreadables unreadable_;  // that have been told
};

size_t parse_count(const std::string &text) {
    size_t count = 0;
    const char *end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, count);
    if (error != std::errc() || stopped != end || text.empty()) {
        throw Failure(kUsage, "--count: a whole number from 0 expected, not " + quote(text));
    }
    return count;
}

// Its time running out is a failure when something was waited for.
int Watch::run(Session &session) const {
    session.prints_only("watch", {Format::kText, Format::kJson, Format::kNdjson});
    tell_losses_here();
    tell_unreadable_here();
    const bool is_counted = !count_text.empty();
    const size_t count = is_counted ? parse_count(count_text) : SIZE_MAX;
    const Deadline deadline = timeout_text.empty() ? Deadline() : Deadline(parse_seconds("--timeout", timeout_text));
    Printer printer(session, selection, changes_only, count);
    store::Follower follower(session.store(), selection.types(), printer);
    while (!is_counted || !follower.complete() || printer.changes() < count) {
        if (deadline.has_passed()) {
            return is_counted ? kTimeOut : kDone;
        }
        follower.process(deadline.left());
        printer.tell_unreadable(session.store().unreadable());
    }
    return kDone;
}

}  // namespace

void add_watch(Verbs &verbs) {
    const auto watch = std::make_shared<Watch>();
    const Command command = verbs.add("watch", "Print what is stored, then every change, a line each",
                                      "  trel_capctl watch\n"
                                      "  trel_capctl watch 'cap_fe_ready:*' --changes-only\n"
                                      "  trel_capctl watch --type card_info --output ndjson | jq .event\n"
                                      "  trel_capctl watch /l3/arp/capacity --count 1 --timeout 30\n",
                                      [watch](Session &session) { return watch->run(session); });
    watch->selection.add_to(command);
    command.add_option("--count", watch->count_text, "End after so many changes; 0: after what is stored")
        .type_name("N");
    command.add_option("--timeout", watch->timeout_text, "End after so long; with --count that fails with 4")
        .type_name("SECONDS");
    command.add_flag("--changes-only", watch->changes_only, "Not what is stored at the beginning");
}

}  // namespace capctl
