// wait: until a node or a scope is ready, or a record is as it is said to be.
#include <memory>
#include <nlohmann/json.hpp>

#include <trel_cap/records.h>

#include "chassis/explanation.h"
#include "chassis/judgement_json.h"
#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "command_line/text.h"
#include "record/field_text.h"
#include "record/record_json.h"
#include "record/record_text.h"
#include "store/follower.h"
#include "verbs/address.h"
#include "verbs/client_log.h"
#include "verbs/print.h"
#include "verbs/seconds.h"
#include "verbs/value.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;
using record::Record;
using record::RecordType;
using store::Snapshot;

namespace {

// What is waited for.
class Condition {
public:
    Condition() = default;
    Condition(const Condition &) = delete;
    Condition &operator=(const Condition &) = delete;
    virtual ~Condition() = default;

    virtual std::vector<const RecordType *> types() const = 0;
    // Whether a change can make a difference.
    virtual bool concerns(const Record &record) const = 0;
    virtual bool holds(const Snapshot &snapshot) const = 0;
    virtual nlohmann::ordered_json json(const Snapshot &snapshot) const = 0;
    // What it is, as on the command line, and what the store says.
    virtual std::string words() const = 0;
    virtual std::string state(const Snapshot &snapshot) const = 0;
};

// node N ready|unready, as explain judges it.
class NodeCondition : public Condition {
public:
    NodeCondition(const std::string &node, const std::string &readiness)
        : node_(record::parse_number("NODE", node)), ready_(parse_ready(readiness)) {}

    std::vector<const RecordType *> types() const override { return chassis::judged_types(); }
    // A card, or its check, may have been another node's before.
    bool concerns(const Record &record) const override {
        const bool is_readiness = record.type().descriptor == &cap_fe_ready__descriptor ||
                                  record.type().descriptor == &cap_cm_ready__descriptor;
        return !is_readiness || chassis::node_of(record) == node_;
    }
    bool holds(const Snapshot &snapshot) const override {
        return is_ready(chassis::judge(snapshot, node_).verdict) == ready_;
    }
    nlohmann::ordered_json json(const Snapshot &snapshot) const override {
        return to_json(chassis::judge(snapshot, node_));
    }
    std::string words() const override { return "node " + std::to_string(node_) + (ready_ ? " ready" : " unready"); }
    std::string state(const Snapshot &snapshot) const override {
        const chassis::Judgement judgement = chassis::judge(snapshot, node_);
        const std::string missing = chassis::missing_in_words(judgement);
        return "node " + std::to_string(node_) + " is " + std::string(name_of(judgement.verdict)) +
               (missing.empty() ? "" : "; missing: " + missing);
    }

private:
    const int32_t node_;
    const bool ready_;
};

// One record: there with these values, or gone.
class RecordCondition : public Condition {
public:
    RecordCondition(const Address &address, std::vector<std::string> values, bool gone)
        : address_(address.record()),
          key_(address_.key()),
          address_words_(address.words()),
          values_(std::move(values)),
          gone_(gone) {
        for (const std::string &word : values_) {
            expected_in(word);  // refuses what the type does not have
        }
    }

    std::vector<const RecordType *> types() const override { return {&address_.type()}; }
    bool concerns(const Record &record) const override { return record.key() == key_; }
    bool holds(const Snapshot &snapshot) const override {
        const Record *const record = snapshot.find(key_);
        if (record == nullptr || gone_) {
            return record == nullptr && gone_;
        }
        return std::all_of(values_.begin(), values_.end(),
                           [&](const std::string &word) { return has_value(*record, word); });
    }
    nlohmann::ordered_json json(const Snapshot &snapshot) const override {
        const Record *const record = snapshot.find(key_);
        return to_json(record == nullptr ? address_ : *record);
    }
    std::string words() const override {
        std::string text = address_words_;
        for (const std::string &word : values_) {
            text += " " + word;
        }
        return text + (gone_ ? " gone" : "");
    }
    std::string state(const Snapshot &snapshot) const override {
        const Record *const record = snapshot.find(key_);
        if (record == nullptr) {
            return "there is no such record";
        }
        const std::string values = assignments(*record, record->fields());
        return "it is stored" + (values.empty() ? ", without values" : " with " + values);
    }

private:
    static std::string path_of(const std::string &word) {
        const size_t equals = word.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw Failure(kUsage, quote(word) + ": FIELD=VALUE expected");
        }
        return word.substr(0, equals);
    }
    Record expected_in(const std::string &word) const {
        Record expected(address_.type());
        const std::string path = path_of(word);
        expected.set_text(path, word.substr(path.size() + 1));
        return expected;
    }
    // A field that was never written has no value, not even the default.
    bool has_value(const Record &record, const std::string &word) const {
        const Record expected = expected_in(word);
        return record.has(expected.fields().front()) && record.get(path_of(word)) == expected.get(path_of(word));
    }

    const Record address_;
    const std::string key_;
    const std::string address_words_;
    const std::vector<std::string> values_;
    const bool gone_;
};

// ready SCOPE [on|off]. What nobody has published is off.
class ScopeCondition : public Condition {
public:
    ScopeCondition(const std::string &scope, const std::string &value)
        : scope_(scope), state_(chassis::scope_ready(scope, value.empty() || parse_switch("on|off", value))) {}

    std::vector<const RecordType *> types() const override { return {&state_.type()}; }
    bool concerns(const Record &record) const override { return &record.type() == &state_.type(); }
    bool holds(const Snapshot &snapshot) const override {
        return state_in(snapshot).get("ready") == state_.get("ready");
    }
    nlohmann::ordered_json json(const Snapshot &snapshot) const override { return to_json(state_in(snapshot)); }
    std::string words() const override { return "ready " + scope_ + (wants_on() ? " on" : " off"); }
    std::string state(const Snapshot &snapshot) const override {
        return snapshot.find(state_.key()) == nullptr ? "nobody has published it"
               : wants_on()                           ? "it is off"
                                                      : "it is on";
    }

private:
    bool wants_on() const { return std::get<bool>(state_.get("ready")); }
    Record state_in(const Snapshot &snapshot) const {
        const Record *const stored = snapshot.find(state_.key());
        return stored == nullptr ? Record(state_.type()) : *stored;
    }

    const std::string scope_;
    const Record state_;
};

// Looks after each change, not only when all that came together is told: a state that passes counts too.
class Waiter : public store::Listener {
public:
    Waiter(Session &session, const Condition &condition)
        : condition_(condition), follower_(session.store(), condition.types(), *this) {}

    // False: the time has run out.
    bool wait(const Deadline &deadline) {
        do {
            follower_.process(deadline.left());
        } while (!holds_ && !deadline.has_passed());
        return holds_;
    }
    const nlohmann::ordered_json &json() const { return json_; }
    // What the store says, which is not what is waited for.
    std::string state() const {
        return is_lost_ ? "the store is lost"
                        : (is_complete_ ? condition_.state(follower_.snapshot()) : "the store has not told all");
    }

    void changed(const store::Change &change) override {
        if (is_complete_ && condition_.concerns(change.record)) {
            look();
        }
    }
    void complete() override {
        is_complete_ = true;
        look();
    }
    void lost(const std::string &reason) override {
        is_lost_ = true;
        complain(lost_words(reason));
    }
    void still_lost(const std::string &reason) override { complain(still_lost_words(reason)); }
    void restored() override {
        is_lost_ = false;
        complain(kBackWords);
    }

private:
    void look() {
        if (!holds_ && condition_.holds(follower_.snapshot())) {
            holds_ = true;
            json_ = condition_.json(follower_.snapshot());
        }
    }

    const Condition &condition_;
    bool is_complete_ = false;
    bool is_lost_ = false;
    bool holds_ = false;
    nlohmann::ordered_json json_;
    store::Follower follower_;
};

struct Wait {
    Address address;
    std::vector<std::string> words;
    std::string timeout;
    bool gone = false;

    int run(Session &session);
    std::unique_ptr<Condition> condition();
};

void check_words(const std::vector<std::string> &words, size_t least, size_t most, const std::string &expected) {
    if (words.size() < least || words.size() > most) {
        throw Failure(kUsage, expected + " expected");
    }
}

std::unique_ptr<Condition> Wait::condition() {
    const bool is_of_record = gone || address.is_scoped();
    if (address.word() == "node" && !is_of_record) {
        check_words(words, 2, 2, "node NODE ready|unready");
        return std::make_unique<NodeCondition>(words[0], words[1]);
    }
    if (address.word() == "ready" && !is_of_record) {
        check_words(words, 1, 2, "ready SCOPE [on|off]");
        return std::make_unique<ScopeCondition>(words[0], words.size() > 1 ? words[1] : "");
    }
    if (gone && !words.empty() && (address.word() == "node" || address.word() == "ready")) {
        throw Failure(kUsage,
                      "--gone: a record is gone; a node is unready, as in wait node 17 unready, and a scope off, "
                      "as in wait ready fab off");
    }
    if (gone && !words.empty()) {
        throw Failure(kUsage, "--gone: a record that is gone has no values, such as " + quote(words.front()));
    }
    address.refuse_mistyped_key();
    return std::make_unique<RecordCondition>(address, words, gone);
}

int Wait::run(Session &session) {
    session.prints_only("wait", {Format::kText, Format::kJson, Format::kNdjson});
    tell_losses_here();
    const std::unique_ptr<Condition> wanted = condition();
    const Deadline deadline = timeout.empty() ? Deadline() : Deadline(parse_seconds("--timeout", timeout));
    Waiter waiter(session, *wanted);
    if (!waiter.wait(deadline)) {
        throw Failure(kTimeOut, wanted->words() + ": not so within " + timeout + " s; " + waiter.state());
    }
    if (session.is_json()) {
        print_json(waiter.json());
    }
    return kDone;
}

}  // namespace

void add_wait(Verbs &verbs) {
    const auto wait = std::make_shared<Wait>();
    const Command command = verbs.add("wait", "Wait until a node or scope is ready, or a value so",
                                      "  trel_capctl wait node 17 ready --timeout 30\n"
                                      "  trel_capctl wait ready fab\n"
                                      "  trel_capctl wait /l3/arp/capacity int32_value=4096\n"
                                      "  trel_capctl wait card_info:0:0:17:0 --gone --timeout 5\n",
                                      [wait](Session &session) { return wait->run(session); });
    wait->address.add_to(command, "WHAT", "node, ready, a capability's address, or any record's key");
    command.add_option("WORD", wait->words, "NODE ready|unready, SCOPE [on|off], or FIELD=VALUE");
    command.add_flag("--gone", wait->gone, "Until there is no such record");
    command.add_option("--timeout", wait->timeout, "Fail with 4 after so long; without it never").type_name("SECONDS");
}

}  // namespace capctl
