#include "store_play.h"

#include <algorithm>
#include <atomic>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "model.h"
#include "observed.h"
#include "records.h"
#include "store_contents.h"
#include "store_follower.h"
#include "trel_cap/trel_cap.h"

namespace property {
namespace {

using test_support::RedisOptions;
using test_support::RedisServer;

class StorePlayer {
public:
    StorePlayer(const StoreHistory &history, const test_support::StoreKind &kind) : history_(history) {
        static std::atomic<int> names_used = 0;
        if (kind.program.empty()) {
            store_ = "mem:property-" + std::to_string(++names_used);
        } else {
            RedisOptions options;
            options.program = kind.program;
            server_.emplace(options);
            store_ = server_->store_name();
        }
        connect_publisher();
    }
    ~StorePlayer() { forget_everything(); }
    StorePlayer(const StorePlayer &) = delete;
    StorePlayer &operator=(const StorePlayer &) = delete;

    StorePlayed play() {
        for (size_t i = 0; i < history_.events.size() && disagreement_.empty(); ++i) {
            latest_.push_back(i);
            std::visit([this](const auto &event) { act(event); }, history_.events[i]);
        }
        return {disagreement_.empty() ? std::nullopt : std::optional(in_words()), std::move(heard_), missed_};
    }

private:
    void act(const Write &event) {
        contents_.write(event.type, event.report);
        publish(event);
        notify(event.type, event.report, follows_a_state(event.type) ? 1 : 4);
    }

    void act(const Erase &event) {
        const int32_t db = db_of(event.type);
        const auto record = record_of(event.type, event.report);
        check(ox_mom_del_sync(publisher_.get(), db, record.get()), "erase");
        if (const auto erased = contents_.erase(event.type, event.report)) {
            notify(event.type, *erased, 3);
        }
    }

    void act(const Start &) {
        callbacks() = {.clearing_events = history_.clearing_events, .heard = {}};
        for (const AskForEvents &asked : history_.asked) {
            check(ask_for_events(asked), "registration");
            model_.play(step(asked));
        }
        follower_.emplace(store_);
        subscribe();
    }

    void act(const Settle &) {
        if (!follower_.has_value()) {
            return;
        }
        if (lost_) {
            // Each of the library's two databases has its handler called.
            check(follower_->reconnects() ? 0 : -1, "reconnection");
            subscribe();
            subscribe();
            lost_ = false;
            has_returned_ = true;
        }
        publish_fence(publisher_.get(), ++fences_);
        check(follower_->reaches_fence(fences_) ? 0 : -1, "fence");
        compare();
        latest_.clear();
    }

    void act(const Lose &event) {
        act(Settle{});
        if (!disagreement_.empty()) {
            return;
        }
        if (event.how == Lose::kNotifications) {
            server_->connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
        } else {
            server_->restart(event.how == Lose::kServer ? RedisServer::Data::kDropped : RedisServer::Data::kKept);
            connect_publisher();
        }
        if (event.how == Lose::kServer) {
            contents_.clear();
        }
        lost_ = follower_.has_value();
    }

    // The model subscribes as at a reconnection, and then every subscription is confirmed once.
    void subscribe() {
        following_.clear();
        due_.clear();
        for (const Question &question : model_.play(step(Reconnect{})).questions) {
            following_.push_back(question.processor.value());
            Report confirmation;
            confirmation.cmd = 29;
            due_.push_back({following_.back(), confirmation});
        }
    }

    // What is published while nobody follows, nobody is told.
    void notify(Processor type, Report report, int32_t cmd) {
        report.cmd = cmd;
        for (const Processor processor : following_) {
            if (follower_.has_value() && !lost_ && type_of(processor) == type) {
                due_.push_back({processor, report});
                remember(due_.back());
            }
        }
    }

    void remember(const Deliver &told) {
        if (told.report.cmd == 3) {
            told_.erase(type_of(told.processor), told.report);
        } else {
            told_.write(type_of(told.processor), told.report);
        }
    }

    // What was missed, of the type that is confirmed first and of the others.
    struct Expected {
        std::vector<Deliver> before;  // anything is confirmed: of the others
        std::vector<Deliver> after;   // the first has been
    };

    Expected expected_missed() const {
        std::vector<Processor> first;
        std::vector<Processor> others;
        for (const Processor processor : following_) {
            (type_of(processor) == type_of(following_.front()) ? first : others).push_back(processor);
        }
        Expected expected{.before = told_.missed(contents_, others), .after = told_.missed(contents_, first)};
        std::erase_if(expected.after, [](const Deliver &told) { return told.report.cmd != 3; });
        if (!expected.after.empty()) {
            const std::vector<Deliver> fresh = told_.fresh(contents_, first);
            expected.after.insert(expected.after.end(), fresh.begin(), fresh.end());
        }
        return expected;
    }

    // Each once to each, in an order of the client's own but for deletions first.
    static bool are_as_expected(const std::vector<Deliver> &expected, const std::vector<Deliver> &told) {
        return std::is_permutation(expected.begin(), expected.end(), told.begin(), told.end(),
                                   [](const Deliver &a, const Deliver &b) {
                                       return a.processor == b.processor && a.report == b.report;
                                   }) &&
               std::ranges::is_partitioned(told, [](const Deliver &one) { return one.report.cmd == 3; });
    }

    // All that was missed has been told, and in its place.
    bool told_what_was_missed() {
        const Expected expected = std::exchange(has_returned_, false) ? expected_missed() : Expected{};
        Expected told;
        for (const Missed &missed : follower_->take_missed()) {
            (missed.confirmed == 0 ? told.before : told.after).push_back(missed.told);
            if (missed.confirmed > 1) {
                disagreement_ = "what was missed: told when more than the first type was confirmed";
                return false;
            }
        }
        if (!are_as_expected(expected.before, told.before) || !are_as_expected(expected.after, told.after)) {
            disagreement_ = "what was missed: " + std::to_string(expected.before.size()) + " and then " +
                            std::to_string(expected.after.size()) + " expected, " + std::to_string(told.before.size()) +
                            " and " + std::to_string(told.after.size()) + " told, or not deletions first";
            return false;
        }
        for (const std::vector<Deliver> *each : {&told.before, &told.after}) {
            std::ranges::for_each(*each, [this](const Deliver &one) { remember(one); });
            missed_ += each->size();
        }
        if (!due_.empty()) {
            due_.insert(due_.begin() + 1, told.after.begin(), told.after.end());
        }
        due_.insert(due_.begin(), told.before.begin(), told.before.end());
        return true;
    }

    void compare() {
        Outcome expected;
        Outcome seen;
        size_t scans = 0;
        const std::vector<Scanned> scanned = follower_->take_scans();
        if (!told_what_was_missed()) {
            return;
        }
        if (!scanned.empty()) {
            told_.load(contents_, following_);
        }
        for (const Deliver &delivery : std::exchange(due_, {})) {
            Step made = step(delivery);
            if (delivery.report.cmd == 29 && !answer(made, delivery.processor, scanned, scans)) {
                return;
            }
            Outcome outcome = model_.play(made);
            expected.heard.insert(expected.heard.end(), outcome.heard.begin(), outcome.heard.end());
        }
        if (scans != scanned.size()) {
            disagreement_ = "more scans than confirmations";
            return;
        }
        // A step without effect, for the state as it is now.
        const Outcome now = model_.play(step(DeliverNothing{Processor::kSystem}));
        expected.state = now.state;
        expected.all_loaded = now.all_loaded;
        seen.heard = std::exchange(callbacks().heard, {});
        seen.state = observed_state();
        seen.all_loaded = observed_all_loaded();
        disagreement_ = difference(expected, seen);
        heard_.insert(heard_.end(), seen.heard.begin(), seen.heard.end());
    }

    // What the store answers to a processor whose subscription is confirmed: all that it holds, in an order of its own.
    bool answer(Step &made, Processor processor, const std::vector<Scanned> &scanned, size_t &scans) {
        if (follows_a_state(processor)) {
            const auto state = contents_.state(processor);
            made.answers.states.push_back({0, state.has_value(), state.value_or(Report{}).ready});
            return true;
        }
        const bool is_complete = scans < scanned.size() && scanned[scans].processor == processor &&
                                 contents_.are(type_of(processor), scanned[scans].reports);
        if (!is_complete) {
            std::ostringstream out;
            out << "a scan that does not find what the store holds, for " << processor;
            disagreement_ = out.str();
            return false;
        }
        made.answers.scans.push_back({0, scanned[scans].reports});
        ++scans;
        return true;
    }

    Step step(const Action &action) const { return {action, {}, 1, 0, history_.clearing_events}; }

    static int32_t db_of(Processor type) {
        return type == Processor::kInstall ? TREL_CAP_DB_CARDS : TREL_CAP_DB_CAPABILITIES;
    }

    void publish(const Write &event) {
        const auto record = record_of(event.type, event.report);
        if (follows_a_state(event.type)) {
            check(ox_mom_set_sync(publisher_.get(), db_of(event.type), record.get()), "write");
            return;
        }
        std::vector<int32_t> fields;
        for (unsigned i = 0; i < record.get()->descriptor->n_fields; ++i) {
            if (const auto id = static_cast<int32_t>(record.get()->descriptor->fields[i].id); id != 5) {
                fields.push_back(id);
            }
        }
        check(ox_mom_hmset_sync(publisher_.get(), db_of(event.type), record.get(), fields.data(),
                                static_cast<uint32_t>(fields.size())),
              "write");
    }

    void connect_publisher() {
        publisher_ = test_support::connect_client(store_, {TREL_CAP_DB_CARDS, TREL_CAP_DB_CAPABILITIES});
    }

    static void check(int32_t status, const char *what) {
        if (status != 0) {
            throw std::runtime_error(std::string(what) + ": " + ox_mom_last_error());
        }
    }

    std::string in_words() const {
        std::ostringstream out;
        for (const size_t event : latest_) {
            out << "    " << event + 1 << ". " << history_.events[event] << '\n';
        }
        out << "then, expected and seen differ in " << disagreement_;
        return out.str();
    }

    const StoreHistory &history_;
    std::optional<RedisServer> server_;
    std::string store_;
    test_support::ClientPtr publisher_;
    StoreContents contents_;
    StoreContents told_;  // to the application, by the client
    std::optional<StoreFollower> follower_;
    Model model_;

    std::vector<Processor> following_;  // in the order of their subscriptions
    std::vector<Deliver> due_;          // to the library since it was last compared
    bool lost_ = false;
    bool has_returned_ = false;  // and it has not been looked at what was missed
    size_t missed_ = 0;
    int32_t fences_ = 0;
    std::vector<size_t> latest_;  // events since then
    std::string disagreement_;
    std::vector<Heard> heard_;
};

}  // namespace

StorePlayed play(const StoreHistory &history, const test_support::StoreKind &kind) {
    StorePlayed played;
    std::thread([&] {
        try {
            played = StorePlayer(history, kind).play();
        } catch (const std::exception &error) {
            played.disagreement = error.what();
        }
    }).join();
    return played;
}

}  // namespace property
