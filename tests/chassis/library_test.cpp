// Judgements, and the library started on the same stores: whatever is stored, they agree.
#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "application.h"
#include "chassis/judgement.h"
#include "store/store.h"

namespace chassis_test {

using chassis::CardClass;
using chassis::Judgement;
using chassis::Verdict;
using record::Record;

namespace {

// A store as nobody should leave one, but somebody may: most of what is said of a node fits together, some does not.
class RandomStore {
public:
    explicit RandomStore(uint32_t seed) : random_(seed), name_("mem:random" + std::to_string(seed)), store_(name_) {
        for (const int32_t node : {-2147483647, -5, 0, 1, 2, 3, 9, 10, 17, 300, 2147483647}) {
            if (is_one_in(2)) {
                write_node(node);
            }
        }
        for (const char *scope : {"glb", "cm", "fab", "hps"}) {
            if (!is_one_in(4)) {
                store_.write(chassis::scope_ready(scope, !is_one_in(3)));
            }
        }
    }

    const std::string &name() const { return name_; }
    store::Snapshot snapshot() { return store::Snapshot::of(store_); }
    uint32_t some_events() { return static_cast<uint32_t>(random_()) & chassis::kAllEvents; }

private:
    bool is_one_in(uint32_t n) { return random_() % n == 0; }
    int32_t one_of(std::initializer_list<int32_t> values) {
        return *(values.begin() + static_cast<ptrdiff_t>(random_() % values.size()));
    }

    void write_node(int32_t node) {
        const chassis::Card usual = usual_card(*chassis::class_of(one_of({1, 2, 3, 3, 3, 5, 6, 7})), node);
        const int count = is_one_in(6) ? 2 : 1;
        for (int i = 0; i < count; ++i) {
            write_card(usual, i);
            write_check(usual, i);
            write_ready(usual, i);
        }
    }

    // The same card, but for what somebody got wrong.
    chassis::Card about(const chassis::Card &usual, int nth) {
        chassis::Card card = usual;
        if (is_one_in(8)) {
            card.node_type = one_of({0, 1, 2, 3, 4, 5, 6, 7, 9});
        }
        if (is_one_in(8)) {
            card.config_dev_type += 1;
        }
        card.sslotid = nth;
        return card;
    }

    void write_card(const chassis::Card &usual, int nth) {
        if (is_one_in(5)) {
            return;
        }
        Record record = card_info(about(usual, nth));
        if (is_one_in(10)) {
            Record without(record.type());
            for (const char *field : {"index.devid", "index.slotid", "index.sslotid", "card_nodeid"}) {
                without.set(field, record.get(field));
            }
            record = without;
        }
        store_.write(record);
    }

    void write_check(const chassis::Card &usual, int nth) {
        if (!is_one_in(4)) {
            store_.write(check_result(about(usual, nth), !is_one_in(4)));
        }
    }

    void write_ready(const chassis::Card &usual, int nth) {
        chassis::Card card = about(usual, nth);
        card.config_dev_type += nth;
        if (!is_one_in(6)) {
            write_ready_record(card, card.node_type);
        }
        if (is_one_in(4)) {  // in the record that other classes have
            write_ready_record(card, chassis::class_of(card.node_type) == CardClass::kControlModule ? 3 : 2);
        }
    }

    void write_ready_record(const chassis::Card &card, int32_t type_of_record) {
        chassis::Card other = card;
        other.node_type = type_of_record;
        Record record = node_ready(other, !is_one_in(4), !is_one_in(3));
        record.set("node_type", is_one_in(10) ? one_of({0, 1, 2, 3, 5, 6, 7}) : card.node_type);
        store_.write(record);
    }

    std::mt19937 random_;
    std::string name_;
    store::Store store_;
};

uint32_t from_environment(const char *name, uint32_t otherwise) {
    const char *text = std::getenv(name);
    return text == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(text, nullptr, 10));
}

// What an application that asks for these events hears of nodes when it starts, by node.
std::map<int32_t, std::vector<Heard>> heard_at_start(const std::string &store, uint32_t asked_for) {
    std::map<int32_t, std::vector<Heard>> by_node;
    on_own_thread([&] {
        Application application(store, asked_for);
        for (const Heard &heard : application.heard()) {
            if (heard.node) {
                by_node[*heard.node].push_back(heard);
            }
        }
    });
    return by_node;
}

std::vector<Heard> as_heard(int32_t node, const std::vector<chassis::Told> &told) {
    std::vector<Heard> heard;
    for (const chassis::Told &each : told) {
        heard.push_back({.list = each.list, .event = each.event, .node = node, .ready = each.ready});
    }
    return heard;
}

std::map<int32_t, std::vector<Heard>> expected_at_start(const store::Snapshot &snapshot, uint32_t asked_for) {
    std::map<int32_t, std::vector<Heard>> expected;
    for (const auto &[node, records] : chassis::records_by_node(snapshot)) {
        auto heard = as_heard(node, chassis::told_at_start(records, chassis::ready_classes(snapshot), asked_for));
        if (!heard.empty()) {
            expected[node] = std::move(heard);
        }
    }
    return expected;
}

// The last word to those who follow the node's class.
bool is_announced(const Judgement &judgement, const std::vector<Heard> &heard) {
    const auto list = rules_of(judgement.card_class.value_or(CardClass::kLineCard)).list;
    bool ready = false;
    for (const Heard &each : heard) {
        ready = each.list == list ? each.ready : ready;
    }
    return ready;
}

struct Seen {
    std::map<Verdict, int> verdicts;
    std::map<chassis::Condition::Kind, int> missing;
};

void expect_agreement(uint32_t seed, Seen &seen) {
    SCOPED_TRACE("TREL_CAP_SEED=" + std::to_string(seed));
    RandomStore store(seed);
    const store::Snapshot snapshot = store.snapshot();
    const auto heard = heard_at_start(store.name(), chassis::kAllEvents);

    std::set<int32_t> announced;
    std::set<int32_t> judged_ready;
    for (const Judgement &judgement : chassis::judge_all(snapshot)) {
        const int32_t node = judgement.card.node;
        const auto of_node = heard.find(node);
        const std::vector<Heard> told = of_node == heard.end() ? std::vector<Heard>() : of_node->second;
        EXPECT_EQ(told, as_heard(node, judgement.told)) << "node " << node;
        ++seen.verdicts[judgement.verdict];
        for (const chassis::Condition &condition : judgement.conditions) {
            seen.missing[condition.kind] += condition.is_missing() ? 1 : 0;
        }
        if (judgement.verdict == Verdict::kContradictory) {
            continue;
        }
        if (is_announced(judgement, told)) {
            announced.insert(node);
        }
        if (is_ready(judgement.verdict)) {
            judged_ready.insert(node);
        }
    }
    EXPECT_EQ(announced, judged_ready);

    for (const uint32_t asked_for : {0x03U, 0x18U, 0x24U, 0xc0U, store.some_events(), store.some_events()}) {
        EXPECT_EQ(heard_at_start(store.name(), asked_for), expected_at_start(snapshot, asked_for))
            << "asked for " << asked_for;
    }
}

// Every judgement of a random store is the library's: an application that starts hears of each node exactly the events,
// in the order, that the judgement lists, whichever events it asks for; and the nodes whose last word to those who
// follow their class is "ready" are those that are judged ready. Left out of the latter are contradictory ones.
TEST(TheLibrary, AgreesWithTheJudgementOfRandomStores) {
    const uint32_t first = from_environment("TREL_CAP_SEED", 1);
    const uint32_t count = from_environment("TREL_CAP_SEEDS", 300);
    Seen seen;
    for (uint32_t seed = first; seed < first + count && !testing::Test::HasFailure(); ++seed) {
        expect_agreement(seed, seen);
    }
    if (count < 100) {
        return;
    }
    for (const Verdict each : {Verdict::kReady, Verdict::kInAdvance, Verdict::kNotReady, Verdict::kContradictory}) {
        EXPECT_GT(seen.verdicts[each], 20) << name_of(each);
    }
    using Kind = chassis::Condition::Kind;
    for (const Kind each : {Kind::kInstalled, Kind::kChecked, Kind::kNotDenied, Kind::kReady, Kind::kRealTime,
                            Kind::kClassReady, Kind::kOwnRecord, Kind::kOneVoice}) {
        EXPECT_GT(seen.missing[each], 20) << name_of(each);
    }
}

}  // namespace

}  // namespace chassis_test
