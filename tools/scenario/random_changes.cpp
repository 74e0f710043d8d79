#include "scenario/random_changes.h"

#include <algorithm>
#include <random>

#include "scenario/card_changes.h"

namespace scenario {

namespace {

// The standard's distributions differ between libraries, its generators do not.
class Lot {
public:
    explicit Lot(uint32_t seed) : generator_(seed) {}

    size_t below(size_t limit) { return generator_() % limit; }
    bool coin() { return below(2) == 1; }
    template <class T>
    const T &one_of(const std::vector<T> &choices) {
        return choices[below(choices.size())];
    }

private:
    std::mt19937 generator_;
};

void change_capability(Course &course, Lot &lot) {
    constexpr size_t kCapabilities = 16;
    constexpr size_t kValues = 1000;
    record::Record record(record::type_named("cap_table"));
    record.set("index.url", "/random/" + std::to_string(lot.below(kCapabilities)));
    record.set("int32_value", static_cast<int32_t>(lot.below(kValues)));
    std::string text = "capability " + record.key();
    course.add(std::move(text), Write::Kind::kSet, std::move(record));
}

struct Kind {
    const char *name;
    void (*change)(Course &, Lot &, const NamedCard &);
};

constexpr Kind kKinds[] = {
    {"insert", [](Course &course, Lot &, const NamedCard &card) { insert(course, card); }},
    {"remove", [](Course &course, Lot &, const NamedCard &card) { remove(course, card); }},
    {"check",
     [](Course &course, Lot &lot, const NamedCard &card) {
         check(course, card, lot.one_of<std::string>({"pass", "deny", "withdraw"}));
     }},
    {"ready", [](Course &course, Lot &lot, const NamedCard &card) { make_ready(course, card, lot.coin()); }},
    {"unready", [](Course &course, Lot &, const NamedCard &card) { make_unready(course, card); }},
    {"withdraw", [](Course &course, Lot &, const NamedCard &card) { withdraw(course, card); }},
    {"scope", [](Course &course, Lot &lot,
                 const NamedCard &) { change_scope(course, lot.one_of(chassis::scope_names()), lot.coin()); }},
    {"capability", [](Course &course, Lot &lot, const NamedCard &) { change_capability(course, lot); }},
};

}  // namespace

std::vector<std::string> random_kinds() {
    std::vector<std::string> names;
    for (const Kind &kind : kKinds) {
        names.emplace_back(kind.name);
    }
    return names;
}

void add_random_changes(Course &course, const RandomChanges &changes) {
    const std::vector<std::string> kinds = changes.kinds.empty() ? random_kinds() : changes.kinds;
    const Time begin = course.now();
    Lot lot(changes.seed);
    for (int32_t i = 1; i <= changes.count; ++i) {
        const std::string &name = lot.one_of(kinds);
        const auto *kind =
            std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind &each) { return each.name == name; });
        kind->change(course, lot, *lot.one_of(changes.cards));
        course.wait(begin + changes.over * i / changes.count - course.now());
    }
}

}  // namespace scenario
