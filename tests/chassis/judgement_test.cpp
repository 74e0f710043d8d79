// Judgements: a test for each condition of each class, from the rules that applications are followed by.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "chassis/judgement.h"
#include "command_line/exit_status.h"

namespace chassis_test {

using chassis::Actor;
using chassis::Card;
using chassis::CardClass;
using chassis::Condition;
using chassis::Judgement;
using chassis::List;
using chassis::Verdict;
using record::Record;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = Condition::Kind;

namespace {

constexpr int32_t kLineCardNode = 3;
constexpr int32_t kFabricNode = 33;
constexpr int32_t kModuleNode = 1;
constexpr int32_t kHpsNode = 50;

// A chassis in which one card of each class is ready, and each class.
class Chassis {
public:
    Chassis() {
        for (const Card &each : {line_card, fabric, module, hps}) {
            put(card_info(each));
            put(node_ready(each, true, true));
        }
        put(check_result(line_card, true));
        for (const char *scope : {"glb", "cm", "fab", "hps"}) {
            put(chassis::scope_ready(scope, true));
        }
    }

    void put(const Record &record) { snapshot.put(record); }
    void take(const Record &record) { snapshot.erase(record.key()); }
    Judgement judge(const Card &card) const { return chassis::judge(snapshot, card.node); }

    const Card line_card = usual_card(CardClass::kLineCard, kLineCardNode);
    const Card fabric = usual_card(CardClass::kFabric, kFabricNode);
    const Card module = usual_card(CardClass::kControlModule, kModuleNode);
    const Card hps = usual_card(CardClass::kHps, kHpsNode);
    store::Snapshot snapshot;
};

std::vector<Kind> kinds_of(const Judgement &judgement) {
    std::vector<Kind> kinds;
    for (const Condition &each : judgement.conditions) {
        kinds.push_back(each.kind);
    }
    return kinds;
}

struct Missing {
    Kind kind;
    std::string key;
    bool stored;
    Actor actor;

    bool operator==(const Missing &) const = default;
};

std::vector<Missing> missing_in(const Judgement &judgement) {
    std::vector<Missing> missing;
    for (const Condition &each : judgement.conditions) {
        if (each.is_missing()) {
            missing.push_back({each.kind, each.key, each.stored, each.actor});
        }
    }
    return missing;
}

// Its last event, to those who follow the list: ready, not ready, or nothing.
std::string last_word(const Judgement &judgement, List list) {
    std::string word = "nothing";
    for (const chassis::Told &each : judgement.told) {
        if (each.list == list) {
            word = std::string(each.ready ? "ready" : "not ready") + (each.in_advance ? " in advance" : "");
        }
    }
    return word;
}

TEST(Judgements, OfReadyCardsMissNothing) {
    const Chassis chassis;
    for (const Card &card : {chassis.line_card, chassis.fabric, chassis.module, chassis.hps}) {
        const Judgement judgement = chassis.judge(card);
        EXPECT_EQ(judgement.verdict, Verdict::kReady) << card.node;
        EXPECT_THAT(missing_in(judgement), IsEmpty()) << card.node;
        EXPECT_EQ(last_word(judgement, rules_of(*judgement.card_class).list), "ready") << card.node;
    }
}

TEST(Judgements, AskEachClassForItsOwnConditionsOnly) {
    const Chassis chassis;
    EXPECT_THAT(kinds_of(chassis.judge(chassis.line_card)),
                ElementsAre(Kind::kInstalled, Kind::kChecked, Kind::kNotDenied, Kind::kReady, Kind::kRealTime,
                            Kind::kClassReady));
    for (const Card &card : {chassis.fabric, chassis.hps}) {
        EXPECT_THAT(kinds_of(chassis.judge(card)),
                    ElementsAre(Kind::kInstalled, Kind::kReady, Kind::kRealTime, Kind::kClassReady));
    }
    EXPECT_THAT(kinds_of(chassis.judge(chassis.module)), ElementsAre(Kind::kInstalled, Kind::kReady));
}

TEST(Judgements, MissTheCardOfEachClass) {
    Chassis chassis;
    for (const Card &card : {chassis.line_card, chassis.fabric, chassis.module, chassis.hps}) {
        const std::string key = card_info(card).key();
        chassis.take(card_info(card));
        const Judgement judgement = chassis.judge(card);
        EXPECT_EQ(judgement.verdict, Verdict::kNotReady);
        EXPECT_THAT(missing_in(judgement), ElementsAre(Missing{Kind::kInstalled, key, false, Actor::kSlotWatcher}));
        EXPECT_NE(last_word(judgement, rules_of(*judgement.card_class).list), "ready");
    }
}

TEST(Judgements, TakeACardThatDoesNotSayWhatItIsForNone) {
    Chassis chassis;
    Record record(record::type_named("card_info"));
    record.set("index.slotid", chassis.line_card.slotid);
    record.set("card_nodeid", chassis.line_card.node);
    chassis.put(record);
    EXPECT_THAT(missing_in(chassis.judge(chassis.line_card)),
                ElementsAre(Missing{Kind::kInstalled, record.key(), true, Actor::kSlotWatcher}));
}

TEST(Judgements, MissTheCheckOfLineCardsOnly) {
    Chassis chassis;
    chassis.take(check_result(chassis.line_card, true));
    const Judgement judgement = chassis.judge(chassis.line_card);
    EXPECT_EQ(judgement.verdict, Verdict::kNotReady);
    EXPECT_THAT(missing_in(judgement), ElementsAre(Missing{Kind::kChecked, check_result(chassis.line_card, true).key(),
                                                           false, Actor::kChecker}));
    EXPECT_THAT(judgement.told, IsEmpty());
}

TEST(Judgements, TellOfADenial) {
    Chassis chassis;
    chassis.put(check_result(chassis.line_card, false));
    const Judgement judgement = chassis.judge(chassis.line_card);
    EXPECT_EQ(judgement.verdict, Verdict::kNotReady);
    EXPECT_THAT(
        missing_in(judgement),
        ElementsAre(Missing{Kind::kNotDenied, check_result(chassis.line_card, false).key(), true, Actor::kChecker}));
    EXPECT_EQ(last_word(judgement, List::kLineCards), "not ready");
}

TEST(Judgements, DoNotMindADenialOfOtherClasses) {
    Chassis chassis;
    for (const Card &card : {chassis.fabric, chassis.module, chassis.hps}) {
        chassis.put(check_result(card, false));
        EXPECT_EQ(chassis.judge(card).verdict, Verdict::kReady) << card.node;
    }
}

TEST(Judgements, AskForNoCheckOfNodeType1AndForOneOf6) {
    for (const int32_t type : {1, 6}) {
        Chassis chassis;
        Card card = usual_card(CardClass::kLineCard, 9);
        card.node_type = type;
        chassis.put(card_info(card));
        chassis.put(node_ready(card, true, true));
        EXPECT_EQ(chassis.judge(card).verdict, type == 1 ? Verdict::kReady : Verdict::kNotReady) << type;
    }
}

TEST(Judgements, MissTheReadinessOfEachClass) {
    Chassis chassis;
    for (const Card &card : {chassis.line_card, chassis.fabric, chassis.module, chassis.hps}) {
        const std::string key = node_ready(card, true, true).key();
        chassis.put(node_ready(card, false, true));
        const Judgement judgement = chassis.judge(card);
        EXPECT_EQ(judgement.verdict, Verdict::kNotReady);
        EXPECT_THAT(missing_in(judgement), ElementsAre(Missing{Kind::kReady, key, true, Actor::kCardSoftware}));
        EXPECT_EQ(last_word(judgement, rules_of(*judgement.card_class).list), "not ready");

        chassis.take(node_ready(card, true, true));
        const Judgement without = chassis.judge(card);
        ASSERT_FALSE(missing_in(without).empty());
        EXPECT_EQ(missing_in(without)[0], (Missing{Kind::kReady, key, false, Actor::kCardSoftware}));
        EXPECT_THAT(without.told, IsEmpty());
    }
}

// Not ready at all, so that none is announced in advance.
TEST(Judgements, MissRealTimeButOfControlModules) {
    Chassis chassis;
    for (const Card &card : {chassis.line_card, chassis.fabric, chassis.hps}) {
        const std::string key = node_ready(card, true, true).key();
        chassis.put(node_ready(card, false, false));
        EXPECT_THAT(missing_in(chassis.judge(card)),
                    ElementsAre(Missing{Kind::kReady, key, true, Actor::kCardSoftware},
                                Missing{Kind::kRealTime, key, true, Actor::kCardSoftware}));
    }
    chassis.put(node_ready(chassis.module, true, false));
    EXPECT_EQ(chassis.judge(chassis.module).verdict, Verdict::kReady);
}

TEST(Judgements, AnnounceInAdvanceWhatIsReadyButNotInRealTime) {
    Chassis chassis;
    for (const Card &card : {chassis.line_card, chassis.fabric, chassis.hps}) {
        chassis.put(node_ready(card, true, false));
        const Judgement judgement = chassis.judge(card);
        EXPECT_EQ(judgement.verdict, Verdict::kInAdvance);
        EXPECT_THAT(missing_in(judgement), IsEmpty());
        EXPECT_EQ(last_word(judgement, rules_of(*judgement.card_class).list), "ready in advance");
    }
}

TEST(Judgements, MissTheClassOfWhatWouldBeAnnouncedInAdvance) {
    Chassis chassis;
    for (const Card &card : {chassis.line_card, chassis.fabric, chassis.hps}) {
        const chassis::ClassRules &rules = rules_of(*chassis::class_of(card.node_type));
        chassis.put(node_ready(card, true, false));
        chassis.put(chassis::scope_ready(rules.scope, false));
        EXPECT_THAT(
            missing_in(chassis.judge(card)),
            ElementsAre(Missing{Kind::kClassReady, std::string(rules.state_type), true, Actor::kReadinessCalculation}));
        chassis.take(chassis::scope_ready(rules.scope, false));
        EXPECT_THAT(missing_in(chassis.judge(card)),
                    ElementsAre(Missing{Kind::kClassReady, std::string(rules.state_type), false,
                                        Actor::kReadinessCalculation}));
        EXPECT_EQ(chassis.judge(card).verdict, Verdict::kNotReady);
    }
}

TEST(Judgements, DoNotAskTheClassOfCardsInRealTime) {
    Chassis chassis;
    for (const char *scope : {"glb", "cm", "fab", "hps"}) {
        chassis.put(chassis::scope_ready(scope, false));
    }
    for (const Card &card : {chassis.line_card, chassis.fabric, chassis.module, chassis.hps}) {
        EXPECT_EQ(chassis.judge(card).verdict, Verdict::kReady) << card.node;
    }
}

TEST(Judgements, AnnounceADeniedCardInAdvance) {
    Chassis chassis;
    chassis.put(check_result(chassis.line_card, false));
    chassis.put(node_ready(chassis.line_card, true, false));
    EXPECT_EQ(chassis.judge(chassis.line_card).verdict, Verdict::kInAdvance);
}

TEST(Judgements, AnnounceLineCardsOfType3OnlyInAdvance) {
    for (const int32_t type : {1, 6}) {
        Chassis chassis;
        Card card = chassis.line_card;
        card.node_type = type;
        chassis.put(card_info(card));
        chassis.put(node_ready(card, true, false));
        const Judgement judgement = chassis.judge(card);
        EXPECT_THAT(missing_in(judgement), ElementsAre(Missing{Kind::kRealTime, node_ready(card, true, true).key(),
                                                               true, Actor::kCardSoftware}));
    }
}

// The walk that announces fabric cards waits for those who ask for control modules' nodes.
TEST(Judgements, TellFabricCardsInAdvanceToThoseOnlyWhoFollowControlModules) {
    Chassis chassis;
    chassis.put(node_ready(chassis.fabric, true, false));
    const Judgement judgement = chassis.judge(chassis.fabric);
    EXPECT_EQ(judgement.verdict, Verdict::kInAdvance);
    EXPECT_THAT(judgement.told_to_own, IsEmpty());
}

TEST(Judgements, TellThoseWhoFollowLineCardsOfFabricCardsToo) {
    const Chassis chassis;
    EXPECT_EQ(last_word(chassis.judge(chassis.fabric), List::kLineCards), "ready");
    EXPECT_EQ(last_word(chassis.judge(chassis.module), List::kLineCards), "nothing");
    EXPECT_EQ(last_word(chassis.judge(chassis.hps), List::kLineCards), "nothing");
}

TEST(Judgements, GoByTheTypeInTheReadinessRecord) {
    Chassis chassis;
    for (const Card &card : {chassis.fabric, chassis.hps}) {
        Record record = node_ready(card, true, true);
        record.set("node_type", int32_t{3});
        chassis.put(record);
        EXPECT_THAT(missing_in(chassis.judge(card)),
                    ElementsAre(Missing{Kind::kOwnRecord, record.key(), true, Actor::kCardSoftware}));
    }
    Record record = node_ready(chassis.line_card, true, true);
    record.set("node_type", int32_t{7});
    chassis.put(record);
    EXPECT_THAT(missing_in(chassis.judge(chassis.line_card)),
                ElementsAre(Missing{Kind::kOwnRecord, record.key(), true, Actor::kCardSoftware}));
}

TEST(Judgements, MissAControlModulesOwnRecord) {
    Chassis chassis;
    chassis.take(node_ready(chassis.module, true, true));
    Card as_line_card = chassis.module;
    as_line_card.node_type = 3;
    Record record = node_ready(as_line_card, true, true);
    record.set("node_type", int32_t{2});
    chassis.put(record);
    EXPECT_THAT(missing_in(chassis.judge(chassis.module)),
                ElementsAre(Missing{Kind::kOwnRecord, record.key(), true, Actor::kCardSoftware}));

    // Both, and the other overwrites: it is announced in advance after all.
    chassis.put(node_ready(chassis.module, false, false));
    record.set("real_time", false);
    chassis.put(record);
    const Judgement both = chassis.judge(chassis.module);
    EXPECT_EQ(both.verdict, Verdict::kInAdvance);
    EXPECT_EQ(last_word(both, List::kControlModules), "ready in advance");
}

TEST(Judgements, OfSeveralModelsThatSayTheSameAreCertain) {
    Chassis chassis;
    Card other = chassis.line_card;
    other.config_dev_type += 1;
    chassis.put(node_ready(other, true, true));
    EXPECT_EQ(chassis.judge(chassis.line_card).verdict, Verdict::kReady);
}

TEST(Judgements, AreContradictoryWhereRecordsAre) {
    Chassis chassis;
    Card other = chassis.line_card;
    other.config_dev_type += 1;
    chassis.put(node_ready(other, false, true));
    const Judgement judgement = chassis.judge(chassis.line_card);
    EXPECT_EQ(judgement.verdict, Verdict::kContradictory);
    const Condition &condition = judgement.conditions.back();
    EXPECT_EQ(condition.kind, Kind::kOneVoice);
    EXPECT_EQ(condition.key, node_ready(other, false, true).key());
    EXPECT_THAT(condition.contradicted_by, ElementsAre(node_ready(chassis.line_card, true, true).key()));
}

TEST(Judgements, OfANodeThatNobodyNamesKnowNothing) {
    const Judgement judgement = chassis::judge(Chassis().snapshot, 4711);
    EXPECT_FALSE(judgement.is_known);
    EXPECT_EQ(judgement.verdict, Verdict::kNotReady);
    EXPECT_EQ(judgement.card.node, 4711);
    EXPECT_THAT(judgement.told, IsEmpty());
}

TEST(Judgements, OfAllBeginWithWhatIsNotReady) {
    Chassis chassis;
    chassis.take(check_result(chassis.line_card, true));
    chassis.put(node_ready(chassis.hps, false, true));
    std::vector<int32_t> nodes;
    for (const Judgement &each : chassis::judge_all(chassis.snapshot)) {
        nodes.push_back(each.card.node);
    }
    EXPECT_THAT(nodes, ElementsAre(kLineCardNode, kHpsNode, kModuleNode, kFabricNode));
}

TEST(Judgements, SayWhatTheCardIs) {
    Chassis chassis;
    Card card = chassis.line_card;
    card.name = "NI-24";
    card.slotid = 7;
    card.is_online = false;
    chassis.take(card_info(chassis.line_card));
    chassis.put(card_info(card));
    const Card known = chassis.judge(card).card;
    EXPECT_EQ(known.name, "NI-24");
    EXPECT_EQ(known.slotid, 7);
    EXPECT_FALSE(known.is_online);
    EXPECT_EQ(known.config_dev_type, 900);
    EXPECT_EQ(known.node_type, 3);
}

}  // namespace

}  // namespace chassis_test
