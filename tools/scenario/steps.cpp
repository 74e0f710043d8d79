#include "scenario/steps.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "command_line/names.h"
#include "scenario/card_changes.h"
#include "scenario/expectation.h"
#include "scenario/random_changes.h"
#include "scenario/record_changes.h"

namespace scenario {

namespace {

// A file that goes beyond one of these is a mistake, or out to take the memory.
constexpr size_t kMost = 1'000'000;
constexpr int kDeepest = 16;
constexpr Time kLongest = std::chrono::hours(24 * 365);

class StepReader {
public:
    StepReader(const Cards &cards, Course &course) : cards_(cards), course_(course) {}

    void read_all(const Value &steps);

private:
    struct Action;

    void read(const Value &step);
    void each_card(const Fields &step, const char *action, void (*change)(Course &, const NamedCard &));
    void check(const Fields &step);
    void ready(const Fields &step);
    void scopes(const Fields &step, const char *action, bool ready);
    void flap(const Fields &step);
    void random(const Fields &step);
    void repeat(const Fields &step);

    static const std::vector<Action> &actions();

    const Cards &cards_;
    Course &course_;
    int depth_ = 0;
};

struct StepReader::Action {
    std::string name;
    std::vector<std::string> options;
    std::function<void(StepReader &, const Fields &)> read;
};

const std::vector<StepReader::Action> &StepReader::actions() {
    static const std::vector<Action> all = {
        {"insert", {}, [](auto &self, auto &step) { self.each_card(step, "insert", insert); }},
        {"remove", {}, [](auto &self, auto &step) { self.each_card(step, "remove", remove); }},
        {"check", {"result"}, [](auto &self, auto &step) { self.check(step); }},
        {"ready", {"real_time"}, [](auto &self, auto &step) { self.ready(step); }},
        {"unready", {}, [](auto &self, auto &step) { self.each_card(step, "unready", make_unready); }},
        {"withdraw", {}, [](auto &self, auto &step) { self.each_card(step, "withdraw", withdraw); }},
        {"scope_ready", {}, [](auto &self, auto &step) { self.scopes(step, "scope_ready", true); }},
        {"scope_unready", {}, [](auto &self, auto &step) { self.scopes(step, "scope_unready", false); }},
        {"capability", capability_options(),
         [](auto &self, auto &step) { change_capability(self.course_, step, self.cards_); }},
        {"set", {"fields"}, [](auto &self, auto &step) { set_record(self.course_, step); }},
        {"del", {}, [](auto &self, auto &step) { delete_records(self.course_, step.need("del")); }},
        {"flap", {"times", "every"}, [](auto &self, auto &step) { self.flap(step); }},
        {"random", {"seed", "over", "of", "cards"}, [](auto &self, auto &step) { self.random(step); }},
        {"repeat", {"steps"}, [](auto &self, auto &step) { self.repeat(step); }},
        {"wait", {}, [](auto &self, auto &step) { self.course_.wait(step.need("wait").time()); }},
        {"expect",
         {},
         [](auto &self, auto &step) { self.course_.expect(read_expected_events(step.need("expect"), self.cards_)); }},
    };
    return all;
}

void StepReader::read_all(const Value &steps) {
    for (const Value &step : steps.list()) {
        read(step);
    }
}

// A step is a map: an action with its options, and perhaps a time.
void StepReader::read(const Value &step) {
    course_.begin(step);
    auto members = step.map();
    const Action *found = nullptr;
    for (const auto &[key, value] : members) {
        const auto action = std::find_if(actions().begin(), actions().end(),
                                         [&, &name = key](const Action &each) { return each.name == name.text(); });
        if (action != actions().end() && found != nullptr) {
            key.fail("a step does one thing, and this one does " + found->name + " already");
        }
        found = action == actions().end() ? found : &*action;
    }
    if (found == nullptr) {
        std::vector<std::string> names;
        for (const Action &each : actions()) {
            names.push_back(each.name);
        }
        (members.empty() ? step : members.front().first).one_of(names);
        step.expected("an action");
    }
    std::vector<std::string> keys = found->options;
    keys.insert(keys.begin(), {found->name, "at"});
    const Fields fields(step, std::move(members), keys);
    if (const Value *time = fields.find("at")) {
        course_.wait_until(*time);
    }
    found->read(*this, fields);
}

void StepReader::each_card(const Fields &step, const char *action, void (*change)(Course &, const NamedCard &)) {
    for (const NamedCard *card : cards_.named(step.need(action))) {
        change(course_, *card);
    }
}

void StepReader::check(const Fields &step) {
    const std::string &result = step.need("result").one_of({"pass", "deny", "withdraw"});
    for (const NamedCard *card : cards_.named(step.need("check"))) {
        scenario::check(course_, *card, result);
    }
}

void StepReader::ready(const Fields &step) {
    const Value *real_time = step.find("real_time");
    const bool is_real_time = real_time == nullptr || real_time->truth();
    for (const NamedCard *card : cards_.named(step.need("ready"))) {
        make_ready(course_, *card, is_real_time);
    }
}

void StepReader::scopes(const Fields &step, const char *action, bool ready) {
    for (const Value &scope : step.need(action).list_or_one()) {
        change_scope(course_, scope.one_of(chassis::scope_names()), ready);
    }
}

// Not ready for half of each time, and ready for the other half.
void StepReader::flap(const Fields &step) {
    const std::vector<const NamedCard *> cards = cards_.named(step.need("flap"));
    const int32_t times = step.need("times").count();
    const Time half = step.need("every").time() / 2;
    for (int32_t i = 0; i < times; ++i) {
        for (const NamedCard *card : cards) {
            make_unready(course_, *card);
        }
        course_.wait(half);
        for (const NamedCard *card : cards) {
            make_ready(course_, *card, true);
        }
        course_.wait(half);
    }
}

void StepReader::random(const Fields &step) {
    RandomChanges changes;
    changes.count = step.need("random").count();
    changes.seed = static_cast<uint32_t>(step.need("seed").integer());
    if (const Value *over = step.find("over")) {
        changes.over = over->time();
    }
    if (const Value *kinds = step.find("of")) {
        for (const Value &kind : kinds->list_or_one()) {
            changes.kinds.push_back(kind.one_of(random_kinds()));
        }
    }
    const Value *cards = step.find("cards");
    changes.cards = cards == nullptr ? cards_.all() : cards_.named(*cards);
    if (changes.cards.empty()) {
        step.whole().fail("random changes take cards, and there are none");
    }
    add_random_changes(course_, changes);
}

void StepReader::repeat(const Fields &step) {
    const int32_t times = step.need("repeat").count();
    const Value &steps = step.need("steps");
    if (++depth_ > kDeepest) {
        step.whole().fail("repetitions stand in each other, " + std::to_string(kDeepest) + " deep at most");
    }
    const Time outer = course_.origin();
    for (int32_t i = 0; i < times && !steps.list().empty(); ++i) {
        course_.count_from(course_.now());
        read_all(steps);
    }
    course_.count_from(outer);
    --depth_;
}

}  // namespace

void Course::begin(const Value &step) {
    step_.emplace(step);
    if (++steps_ > kMost) {
        step.fail("a scenario has " + std::to_string(kMost) + " steps at most, repeated ones counted");
    }
}

void Course::wait(Time duration) {
    now_ += duration;
    if (now_ > kLongest) {
        step_->fail("a scenario lasts a year at most");
    }
}

void Course::wait_until(const Value &time) {
    const Time at = origin_ + time.time();
    if (at < now_) {
        time.fail("this time is over: the steps before it take " + time_text(now_ - origin_));
    }
    now_ = at;
}

Moment &Course::add_moment(std::string text) {
    if (timeline_.moments.size() == kMost) {
        step_->fail("a scenario has " + std::to_string(kMost) + " changes at most");
    }
    timeline_.moments.push_back(
        {.at = now_, .line = step_->line(), .text = std::move(text), .writes = {}, .expected = nullptr});
    return timeline_.moments.back();
}

void Course::add(std::string text, Write::Kind kind, record::Record record) {
    add_moment(std::move(text)).writes.push_back({kind, std::move(record)});
}

void Course::expect(Expectation expectation) {
    add_moment("expect").expected = std::make_shared<Expectation>(std::move(expectation));
}

Timeline Course::finish() && {
    timeline_.length = now_;
    return std::move(timeline_);
}

Timeline read_timeline(const Value &steps, const Cards &cards) {
    Course course;
    StepReader(cards, course).read_all(steps);
    return std::move(course).finish();
}

}  // namespace scenario
