#include "play.h"

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include <malloc.h>

#include "log.h"
#include "proxy.h"
#include "redis_server.h"
#include "subject.h"
#include "trel_cap/trel_cap.h"

namespace histories {

namespace {

using reliability::kFollowedUrl;
using reliability::kWrittenUrl;
using reliability::Subject;
using test_support::RedisServer;

constexpr int32_t kFirstNode = 0x101;
constexpr readiness::Card kInAdvance{.node = 0x201, .node_type = 3, .slotid = 20};

readiness::Card card_of(int number) {
    return {.node = kFirstNode + number % kCards, .node_type = 3, .slotid = 1 + number % kCards};
}

test_support::RedisOptions options_of(const std::string &program) {
    test_support::RedisOptions options;
    options.program = program;
    return options;
}

int descriptors() {
    int count = 0;
    for ([[maybe_unused]] const auto &each : std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

// A card as the store holds it.
struct Held {
    bool is_installed = false;
    bool is_passed = false;
    bool is_ready = false;

    bool lacks_something() const { return !is_installed || !is_passed || !is_ready; }
};

class Player {
public:
    explicit Player(const std::string &program) : server_(options_of(program)), proxy_(server_.socket_path()) {
        connect_publisher();
        publisher_->state(readiness::CardClass::kLine, true);
        publisher_->install(kInAdvance);
        publisher_->pass(kInAdvance);
        publisher_->ready_in_advance(kInAdvance);
        held_[kInAdvance.node] = {.is_installed = true, .is_passed = true, .is_ready = true};
        change_value();
        subject_ = std::make_unique<Subject>(proxy_.store_name(), *publisher_);
        watch();
        begin_window();
        // Only the library follows again after a loss, and not what the tests wait for.
        proxy_.cut();
        settle();
        record_.windows.clear();
        record_.before = level();
    }

    void act(const Step &step) {
        using What = Step::What;
        const readiness::Card card = card_of(step.number);
        switch (step.what) {
            case What::kBringUp:
                return bring_up(card);
            case What::kUnready:
                return held_[card.node].is_ready ? unready(card) : bring_up(card);
            case What::kDeny:
                return held_[card.node].is_installed ? deny(card) : bring_up(card);
            case What::kPull:
                return held_[card.node].is_installed ? pull(card) : bring_up(card);
            case What::kChange:
                return change_value();
            case What::kApplicationWrites:
                return subject_->application().run([this] { write(); });
            case What::kSettle:
                return settle();
            default:
                return fail(step);
        }
    }

    Record end() {
        settle();
        record_.after = level();
        subject_->application().run([this] {
            int32_t value = -1;
            trel_cap_ce_get_g_cap_int32(subject_->application().client(), kWrittenUrl, &value);
            record_.kept = value;
        });
        connect_publisher();
        std::ostringstream application;
        application << subject_->picture();
        record_.application = application.str();
        std::ostringstream store;
        store << Subject(server_.store_name(), *publisher_).picture();
        record_.store = store.str();
        reliability::take_lines(subject_->thread());
        reliability::take_lines(std::this_thread::get_id());
        return std::move(record_);
    }

private:
    void fail(const Step &step) {
        using What = Step::What;
        switch (step.what) {
            case What::kCut:
                return proxy_.cut();
            case What::kCutWithin:
                return proxy_.cut_after(step.number);
            case What::kCutAnswer:
                return proxy_.cut_next_answer();
            case What::kKillLink:
                server_.connection().must({"CLIENT", "KILL", "TYPE", "pubsub"});
                return;
            case What::kKillRequests:
                server_.connection().must({"CLIENT", "KILL", "TYPE", "normal"});
                return connect_publisher();
            case What::kRestart:
                server_.restart(RedisServer::Data::kKept);
                return connect_publisher();
            case What::kRestartEmpty:
                server_.restart(RedisServer::Data::kDropped);
                connect_publisher();
                return forget();
            default:
                server_.connection().must({"FLUSHALL"});
                return forget();
        }
    }

    // The store is empty, and those who publish the state of the class do so again.
    void forget() {
        for (auto &[node, held] : held_) {
            held = {};
            note(node);
        }
        window_.was_without_value = true;
        has_value_ = false;
        record_.confirmed = -1;
        publisher_->state(readiness::CardClass::kLine, true);
    }

    void connect_publisher() {
        publisher_.reset();
        publisher_ = std::make_unique<readiness::LocalPublisher>(server_.store_name());
        writer_.reset();
        writer_ = test_support::connect_client(server_.store_name(), {TREL_CAP_DB_CAPABILITIES});
    }

    // A card's record has changed.
    void note(int32_t node) {
        const Held &held = held_[node];
        NodeInStore &in_store = window_.nodes[node];
        in_store.was_installed |= held.is_installed;
        in_store.was_passed |= held.is_passed;
        in_store.was_ready |= held.is_ready;
        in_store.lacked_something |= held.lacks_something();
        ++in_store.writes;
    }

    // The record is in the store when what it is noted by is: it may be told at once.
    void bring_up(const readiness::Card &card) {
        Held &held = held_[card.node];
        held.is_installed = true;
        note(card.node);
        publisher_->install(card);
        held.is_passed = true;
        note(card.node);
        publisher_->pass(card);
        held.is_ready = true;
        note(card.node);
        publisher_->ready(card);
    }
    void unready(const readiness::Card &card) {
        held_[card.node].is_ready = false;
        note(card.node);
        publisher_->unready(card);
    }
    void deny(const readiness::Card &card) {
        held_[card.node].is_passed = false;
        note(card.node);
        publisher_->deny(card);
    }
    void pull(const readiness::Card &card) {
        held_[card.node] = {};
        for (int records = 3; records > 0; --records) {
            note(card.node);
        }
        publisher_->drop_readiness(card);
        publisher_->withdraw_check(card);
        publisher_->remove(card);
    }

    void change_value() {
        window_.values.insert(++value_);
        has_value_ = true;
        if (trel_cap_ce_set_g_cap_int32(writer_.get(), kFollowedUrl, value_) != 0) {
            throw std::runtime_error(std::string("the capability: ") + ox_mom_last_error());
        }
    }

    // On the application's thread.
    void write() {
        ++written_;
        const int32_t status = trel_cap_ce_set_g_cap_int32(subject_->application().client(), kWrittenUrl, written_);
        record_.confirmed = status == 0 ? written_ : record_.confirmed;
    }

    void watch() {
        readiness::Application &application = subject_->application();
        application.run([this, &application] {
            application.on_event = [this, behind = application.on_event](const readiness::Heard &heard) {
                behind(heard);
                if (heard.node) {
                    const CapNode *const entry = trel_cap_sw_node_search(*heard.node);
                    told_.push_back({.what = Told::What::kNode,
                                     .number = *heard.node,
                                     .ready = heard.ready != 0,
                                     .in_advance = entry != nullptr && entry->record.real_time == 0,
                                     .is_loaded = trel_cap_fe_ready_is_all_validated() != 0});
                }
            };
            application.on_reconnection = [this] { told_.push_back({.what = Told::What::kReturned}); };
            trel_cap_ce_subscribe_g_cap_int32_ext(application.client(), kFollowedUrl, on_value, this);
        });
    }

    static int32_t on_value(MomClient *, MomMsg *msg, void *player) {
        auto &self = *static_cast<Player *>(player);
        std::array<char, 64> url{};
        uint32_t length = 0;
        int32_t value = 0;
        const bool is_there = trel_cap_ce_get_g_cap_int32_by_pmsg(msg, url.size(), url.data(), &value, &length) == 0;
        self.told_.push_back({.what = is_there ? Told::What::kValue : Told::What::kGone, .number = value});
        self.latest_value_ = is_there ? value : -1;
        return 0;
    }

    void begin_window() {
        window_ = {};
        for (const auto &[node, held] : held_) {
            note(node);
            window_.nodes[node].writes = 0;
        }
        window_.was_without_value = !has_value_;
        if (has_value_) {
            window_.values.insert(value_);
        }
    }

    // Two values arrive, one after the other, without a loss between them: then so has all that was published before.
    void settle() {
        readiness::Application &application = subject_->application();
        int before = -1;
        do {
            proxy_.cut_after(-1);
            proxy_.cut_next_answers(0);
            change_value();
            arrive();
            before = application.reconnections();
            change_value();
            arrive();
        } while (application.reconnections() != before);
        application.run([this] { window_.told = std::exchange(told_, {}); });
        record_.windows.push_back(std::exchange(window_, {}));
        begin_window();
    }

    void arrive() {
        readiness::Application &application = subject_->application();
        if (!application.wait_until([&] { return latest_value_ == value_ && application.is_loaded(); })) {
            throw std::runtime_error("what was published does not arrive");
        }
    }

    // When all has arrived, and each database has been asked for something.
    Level level() {
        Level level;
        readiness::Application &application = subject_->application();
        application.run([&] {
            trel_cap_sub(application.client());
            MomClientStatus status{};
            status.size = sizeof status;
            ox_mom_client_status(application.client(), &status);
            level.record_subscriptions = status.record_subscriptions;
            level.field_subscriptions = status.field_subscriptions;
        });
        // What is confirmed anew by that scans both databases.
        settle();
        record_.windows.pop_back();
        level.descriptors = descriptors();
        return level;
    }

    RedisServer server_;
    mom_test::Proxy proxy_;
    std::unique_ptr<readiness::LocalPublisher> publisher_;
    test_support::ClientPtr writer_;
    std::map<int32_t, Held> held_;
    int32_t value_ = 0;
    bool has_value_ = false;
    int32_t written_ = 100;
    Window window_;
    Record record_;

    // The application's thread's.
    std::vector<Told> told_;
    int32_t latest_value_ = -1;

    std::unique_ptr<Subject> subject_;  // the last: its thread uses all of the above
};

}  // namespace

Record play(const History &history, const std::string &program) {
    const size_t bytes = mallinfo2().uordblks;
    Record record;
    {
        Player player(program);
        for (const Step &step : history) {
            player.act(step);
        }
        record = player.end();
    }
    record.before.bytes = bytes;
    record.after.bytes = mallinfo2().uordblks;
    return record;
}

}  // namespace histories
