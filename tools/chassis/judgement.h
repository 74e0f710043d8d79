// Why a card is ready or not, who has to act, and what applications are told of it: from the records of the store.
//
// A judgement speaks of an application that starts now, asks for every event and reads the store as it stands. One that
// has followed all changes may know more or less: it was told in the order in which things happened, and the deletion
// of a readiness record is told to it for line cards only.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "chassis/card.h"
#include "chassis/start_up.h"
#include "store/snapshot.h"

namespace chassis {

enum class Verdict {
    kReady,          // applications that follow its class are told that it is ready
    kInAdvance,      // the same, as installed in advance: its class is ready, the card is not yet in real time
    kNotReady,       // they are told that it is not, or nothing
    kContradictory,  // its records contradict each other: what is told depends on which of them is read last
};
std::string_view name_of(Verdict verdict);  // ready, ready in advance, not ready, ...
constexpr bool is_ready(Verdict verdict) { return verdict == Verdict::kReady || verdict == Verdict::kInAdvance; }

// The processes around the store, by what they do.
enum class Actor { kSlotWatcher, kChecker, kCardSoftware, kReadinessCalculation };
std::string_view name_of(Actor actor);  // the slot watcher, the application's checker, ...
// What it does, where its name does not say that: "writes card_info when ..."; else nothing.
std::string_view task_of(Actor actor);

struct Condition {
    // Why a record that is stored does not do.
    enum class Flaw {
        kNone,           // it does, or what it says is reason enough
        kOfAnotherNode,  // it names another node
        kWithoutValue,   // what is asked of it was never written
        kUnreadable,     // it does not decode
    };
    enum class Kind {
        kInstalled,   // its card is in its slot
        kChecked,     // the application's checker has looked at it
        kNotDenied,   // and not refused it
        kReady,       // the card's own software says that it is ready
        kRealTime,    // and in real time
        kClassReady,  // the card's class is: asked of cards that are ready and not yet in real time
        kOwnRecord,   // its readiness is told in the records of its class; listed only where it is not
        kOneVoice,    // its records say the same; listed only where they do not
    };
    Kind kind;
    bool met;
    bool asked;       // it stands between the card and its being told ready, as things are
    std::string key;  // the record that says so, or that would
    bool stored;      // there is that record
    Actor actor;      // who writes it
    std::vector<std::string> contradicted_by = {};  // of kOneVoice: the records that say something else
    std::vector<std::string> superfluous = {};      // of kOneVoice: those that may go, so that the rest agree
    Flaw flaw = Flaw::kNone;
    int32_t other_node = 0;  // of kOfAnotherNode: which

    bool is_missing() const { return asked && !met; }
};
std::string_view name_of(Condition::Kind kind);  // installed, checked, not denied, ready, real time, class ready, ...

struct Judgement {
    Card card;                            // as known_card() has it; of an unknown node, as usual
    std::optional<CardClass> card_class;  // nothing: of none, or none known yet; treated as line cards are
    std::optional<int32_t> told_type;     // the node type that the records tell; nothing: they tell none
    Verdict verdict = Verdict::kNotReady;
    std::vector<Condition> conditions;  // those that do not apply to the class are left out
    std::vector<Told> told;             // to an application that asks for every event
    std::vector<Told> told_to_own;      // to one that asks for those of the card's class alone
    std::vector<std::string> findings;  // what is odd in its records, as findings() has it
    // Who writes one of several has to say which: the model of the readiness record of its class that is read last.
    std::optional<int32_t> one_of_models;
    bool has_many_checks = false;
    bool is_known = false;          // some record names the node
    bool has_capabilities = false;  // of a node that is not known: the snapshot has some
};

// The types of record that judgements are made from.
std::vector<const record::RecordType *> judged_types();

Judgement judge(const store::Snapshot &snapshot, int32_t node);
// Every node that a record names: those that are not ready first, then by number.
std::vector<Judgement> judge_all(const store::Snapshot &snapshot);

// Whether the readiness of a class is published and on. That of line cards is the device's.
bool is_class_ready(const store::Snapshot &snapshot, CardClass card_class);
std::set<CardClass> ready_classes(const store::Snapshot &snapshot);

}  // namespace chassis
